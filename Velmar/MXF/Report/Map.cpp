#include "Map.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <ostream>
#include <set>

#include "Html.h"

namespace Velmar::MXF::Report {

using namespace Model;

namespace {

// More bands than this are not told apart on a screen; the page stays small.
constexpr std::size_t kMaxBands = 240;

const char* const kTrackColours[] = {"#43a047", "#fb8c00", "#00897b", "#c0ca33",
                                     "#f4511e", "#6d4c41", "#5e35b1", "#00acc1"};
constexpr std::size_t kTrackColourCount = sizeof kTrackColours / sizeof *kTrackColours;

const char* kindLabel(const std::string& kind) {
    static const std::map<std::string, const char*> labels = {{"runIn", "run-in"},
                                                              {"partitionPack", "partition pack"},
                                                              {"headerMetadata", "header metadata"},
                                                              {"indexTable", "index table"},
                                                              {"essence", "essence"},
                                                              {"genericStream", "generic stream"},
                                                              {"fill", "fill"},
                                                              {"randomIndex", "random index pack"},
                                                              {"other", "other packets"},
                                                              {"cut", "cut short"},
                                                              {"mixed", "folded"}};
    const auto it = labels.find(kind);
    return it == labels.end() ? "other packets" : it->second;
}

std::string hex8(std::uint32_t n) {
    char text[12];
    std::snprintf(text, sizeof text, "%08x", n);
    return text;
}

std::string percent(double value) {
    char text[24];
    std::snprintf(text, sizeof text, "%.3f%%", std::clamp(value, 0.0, 100.0));
    return text;
}

struct Band {
    std::string kind;  // a region's kind name, or "mixed"
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
    std::uint64_t packets = 0;
    std::uint32_t bodySID = 0;
    std::vector<Region::TrackBytes> tracks;
    std::uint64_t otherTrackBytes = 0;
    std::map<std::string, std::uint64_t> folded;  // bytes by kind, where regions were folded
    double weight = 0;
    double left = 0;  // percent
    double width = 0;
};

std::vector<Region> partitionRegions(const HeaderMetadata& header) {
    std::vector<Region> regions;
    std::uint64_t at = 0;
    for (const Partition& p : header.partitions) {
        if (p.offset > at) {
            regions.push_back({Region::Kind::Other, at, p.offset - at, 0, 0, {}, 0});
        }
        if (p.offset < at) {
            continue;  // out of order: drawn where it was first passed
        }
        regions.push_back(
            {Region::Kind::PartitionPack, p.offset, p.packEnd - p.offset, 1, 0, {}, 0});
        at = p.packEnd;
    }
    if (header.fileSize > at) {
        regions.push_back({Region::Kind::Other, at, header.fileSize - at, 0, 0, {}, 0});
    }
    return regions;
}

std::vector<Band> bandsOf(const std::vector<Region>& regions) {
    const std::size_t group = (regions.size() + kMaxBands - 1) / kMaxBands;
    std::vector<Band> bands;
    for (std::size_t i = 0; i < regions.size(); i += std::max<std::size_t>(group, 1)) {
        const std::size_t end = std::min(regions.size(), i + std::max<std::size_t>(group, 1));
        Band band;
        band.kind = regions[i].kindName();
        band.offset = regions[i].offset;
        band.bodySID = regions[i].bodySID;
        for (std::size_t j = i; j < end; ++j) {
            const Region& r = regions[j];
            band.size = r.offset + r.size - band.offset;
            band.packets += r.packets;
            band.folded[r.kindName()] += r.size;
            if (band.kind != r.kindName()) {
                band.kind = "mixed";
            }
            for (const Region::TrackBytes& t : r.tracks) {
                auto it = std::find_if(
                    band.tracks.begin(), band.tracks.end(),
                    [&t](const Region::TrackBytes& b) { return b.trackNumber == t.trackNumber; });
                if (it != band.tracks.end()) {
                    it->bytes += t.bytes;
                } else if (band.tracks.size() < Region::kMaxTracks) {
                    band.tracks.push_back(t);
                } else {
                    band.otherTrackBytes += t.bytes;
                }
            }
            band.otherTrackBytes += r.otherTrackBytes;
        }
        if (end - i == 1) {
            band.folded.clear();
        }
        band.weight = 1 + std::log2(1 + static_cast<double>(band.size));
        bands.push_back(std::move(band));
    }
    double total = 0;
    for (const Band& b : bands) {
        total += b.weight;
    }
    double left = 0;
    for (Band& b : bands) {
        b.left = 100 * left / total;
        b.width = 100 * b.weight / total;
        left += b.weight;
    }
    return bands;
}

// Where an offset falls on the folded scale, in percent of the bar.
double place(const std::vector<Band>& bands, std::uint64_t offset) {
    const auto after =
        std::upper_bound(bands.begin(), bands.end(), offset,
                         [](std::uint64_t at, const Band& band) { return at < band.offset; });
    if (after == bands.begin()) {
        return 0;
    }
    const Band& band = *(after - 1);
    if (offset >= band.offset + band.size) {
        return band.left + band.width;
    }
    return band.left + band.width * static_cast<double>(offset - band.offset) /
                           static_cast<double>(std::max<std::uint64_t>(band.size, 1));
}

std::string bandInfo(const Band& b) {
    std::string info = std::string(kindLabel(b.kind)) + " · bytes " + grouped(b.offset) + " to " +
                       grouped(b.offset + b.size - (b.size != 0)) + " (" + sizeText(b.size);
    if (b.size >= 1000) {
        info += ", " + grouped(b.size) + " bytes";
    }
    info += ")";
    if (b.packets != 0) {
        info += " · " + grouped(b.packets) + (b.packets == 1 ? " packet" : " packets");
    }
    if (b.bodySID != 0 && b.folded.empty()) {
        info += " · BodySID " + std::to_string(b.bodySID);
    }
    for (const auto& [kind, bytes] : b.folded) {
        info += " · " + std::string(kindLabel(kind)) + " " + sizeText(bytes);
    }
    for (const Region::TrackBytes& t : b.tracks) {
        info += " · track " + hex8(t.trackNumber) + " " + sizeText(t.bytes);
    }
    if (b.otherTrackBytes != 0) {
        info += " · more tracks " + sizeText(b.otherTrackBytes);
    }
    return info;
}

// Essence of several tracks is striped in proportion to each track's bytes.
std::string essenceStyle(const Band& b, const std::map<std::uint32_t, std::size_t>& colours) {
    if (b.kind != "essence" || b.tracks.empty()) {
        return {};
    }
    if (b.tracks.size() == 1) {
        return "background:" + std::string(kTrackColours[colours.at(b.tracks[0].trackNumber)]) +
               ";";
    }
    std::uint64_t total = b.otherTrackBytes;
    for (const auto& t : b.tracks) {
        total += t.bytes;
    }
    std::string style = "background:linear-gradient(to bottom";
    double at = 0;
    for (const auto& t : b.tracks) {
        const double next = at + 100.0 * static_cast<double>(t.bytes) /
                                     static_cast<double>(std::max<std::uint64_t>(total, 1));
        const char* colour = kTrackColours[colours.at(t.trackNumber)];
        style += "," + std::string(colour) + " " + percent(at) + " " + percent(next);
        at = next;
    }
    return style + ");";
}

const char* partitionLabel(const Partition& p) {
    switch (p.kind) {
        case Partition::Kind::Header:
            return "header";
        case Partition::Kind::Body:
            return "body";
        case Partition::Kind::Footer:
            return "footer";
        case Partition::Kind::GenericStream:
            return "generic stream";
    }
    return "body";
}

}  // namespace

void writeMap(std::ostream& out, const HeaderMetadata& header, const std::vector<MapMark>& marks) {
    const std::vector<Region> regions = header.walk && !header.walk->regions.empty()
                                            ? header.walk->regions
                                            : partitionRegions(header);
    const std::vector<Band> bands = bandsOf(regions);

    std::map<std::uint32_t, std::size_t> colours;  // track number to colour, in number order
    for (const Region& r : regions) {
        for (const auto& t : r.tracks) {
            colours.emplace(t.trackNumber, 0);
        }
    }
    std::size_t next = 0;
    for (auto& [number, colour] : colours) {
        colour = next++ % kTrackColourCount;
    }

    out << "<div class=\"map\" role=\"group\" aria-label=\"The file along its bytes\">\n"
           "<div class=\"parts\" aria-hidden=\"true\">";
    for (std::size_t i = 0; i < header.partitions.size(); ++i) {
        const Partition& p = header.partitions[i];
        const std::uint64_t end =
            i + 1 < header.partitions.size() ? header.partitions[i + 1].offset : header.fileSize;
        const double left = place(bands, p.offset);
        const double right = std::max(left, place(bands, std::max(end, p.offset)));
        std::string label = partitionLabel(p);
        if (p.bodySID != 0) {
            label += " SID " + std::to_string(p.bodySID);
        }
        out << "<span class=\"part\" style=\"left:" << percent(left)
            << ";width:" << percent(right - left) << "\" title=\""
            << escape(label + " partition, " + p.statusName() + ", at " + grouped(p.offset) +
                      ", header metadata " + grouped(p.headerByteCount) + " bytes, index " +
                      grouped(p.indexByteCount) + " bytes, KAG " + std::to_string(p.kagSize))
            << "\">" << escape(label) << "</span>";
    }
    out << "</div>\n<div class=\"bar\">";
    for (std::size_t i = 0; i < bands.size(); ++i) {
        const Band& b = bands[i];
        const std::string info = bandInfo(b);
        out << "<a class=\"band k-" << b.kind << "\" id=\"b" << i << "\" href=\"#b" << i
            << "\" tabindex=\"" << (i == 0 ? 0 : -1) << "\" style=\"width:" << percent(b.width)
            << ";" << essenceStyle(b, colours) << "\" title=\"" << escape(info) << "\"></a>";
    }
    out << "</div>\n<div class=\"marks\">";
    // Marks near one another are set side by side by the page's script, which knows widths.
    for (const MapMark& m : marks) {
        out << "<a class=\"mark " << severityName(m.severity) << "\" id=\"m-" << m.anchor
            << "\" href=\"#" << m.anchor << "\" style=\"left:" << percent(place(bands, m.offset))
            << "\" title=\"" << escape(m.title) << "\" aria-label=\"" << escape(m.title)
            << "\"></a>";
    }
    out << "</div>\n</div>\n<p id=\"map-info\" aria-live=\"polite\">Point at a band, or move "
           "along the bar with the arrow keys, for its offsets and size.</p>\n"
           "<div class=\"legend\">";
    std::set<std::string> kinds;
    for (const Band& b : bands) {
        if (kinds.insert(b.kind).second && !(b.kind == "essence" && !colours.empty())) {
            out << "<span><span class=\"sw k-" << b.kind << "\"></span>" << kindLabel(b.kind)
                << "</span>";
        }
    }
    for (const auto& [number, colour] : colours) {
        out << "<span><span class=\"sw\" style=\"background:" << kTrackColours[colour]
            << "\"></span>essence, track " << hex8(number) << "</span>";
    }
    out << "</div>\n";
}

}  // namespace Velmar::MXF::Report
