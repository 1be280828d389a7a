// The facts of a file a person reads before anything else, found by item labels so that any
// dictionary's names do.
#include "Velmar/MXF/Report/Summary.h"

#include <algorithm>
#include <cstdio>

#include "../KLV/Labels.h"
#include "Velmar/MXF/Values/Text.h"

namespace Velmar::MXF::Report {

using namespace Model;
using namespace Values;
using namespace KLV;

namespace L = ItemLabels;

namespace {

std::optional<std::int64_t> integer(const Item* item) {
    if (item == nullptr || !item->value) {
        return std::nullopt;
    }
    if (item->value->kind() == Value::Kind::Unsigned) {
        return static_cast<std::int64_t>(item->value->asUnsigned());
    }
    if (item->value->kind() == Value::Kind::Signed) {
        return item->value->asSigned();
    }
    return std::nullopt;
}

std::optional<Rational> rational(const Item* item) {
    if (item == nullptr || !item->value || item->value->kind() != Value::Kind::List ||
        item->value->asList().size() != 2) {
        return std::nullopt;
    }
    const auto& parts = item->value->asList();
    auto part = [](const Value& v) -> std::optional<std::int64_t> {
        if (v.kind() == Value::Kind::Signed) {
            return v.asSigned();
        }
        if (v.kind() == Value::Kind::Unsigned) {
            return static_cast<std::int64_t>(v.asUnsigned());
        }
        return std::nullopt;
    };
    const auto n = part(parts[0]);
    const auto d = part(parts[1]);
    if (!n || !d) {
        return std::nullopt;
    }
    return Rational{*n, *d};
}

std::string text(const Item* item) {
    return item != nullptr && item->value && item->value->kind() == Value::Kind::Text
               ? item->value->asText()
               : std::string();
}

// A label's name: the value's where registered, else that of the longest registered label the
// bytes begin with (trailing bytes zeroed), else its dotted bytes.
std::string labelName(const Item* item, const SDK::MetaMetadata::Dictionary* dictionary) {
    if (item == nullptr || !item->value) {
        return {};
    }
    const Value& v = *item->value;
    if (v.kind() == Value::Kind::Label) {
        return v.labelName().empty() ? v.labelSymbol() : v.labelName();
    }
    if (dictionary != nullptr && item->bytes.size() == 16) {
        SDK::MetaMetadata::LabelBytes label{};
        std::copy(item->bytes.begin(), item->bytes.end(), label.begin());
        for (std::size_t zeroed = 15; zeroed >= 12; --zeroed) {
            if (label[zeroed] == 0) {
                continue;
            }
            label[zeroed] = 0;
            if (const auto* family = dictionary->typeDefinitions().label(label)) {
                return std::string(family->name.empty() ? family->symbol : family->name);
            }
        }
    }
    return v.kind() == Value::Kind::Text ? v.asText() : std::string();
}

bool isKey(const LocalSet& set, std::uint8_t kind) {
    // Packages: 06.0e.2b.34.02.53.01.01.0d.01.01.01.01.01.{36 material, 37 source}.00
    return set.key[8] == 0x0d && set.key[9] == 0x01 && set.key[10] == 0x01 && set.key[11] == 0x01 &&
           set.key[12] == 0x01 && set.key[13] == 0x01 && set.key[14] == kind;
}

std::string trackKind(const Item* definition) {
    if (definition == nullptr || definition->bytes.size() != 16) {
        return {};
    }
    const std::uint8_t* b = definition->bytes.data();
    // 06.0e.2b.34.04.01.01.xx.01.03.02.{01 timecode, 02 essence}.{01 picture, 02 sound, 03 data}
    if (b[8] != 0x01 || b[9] != 0x03 || b[10] != 0x02) {
        return {};
    }
    if (b[11] == 0x01) {
        return "timecode";
    }
    if (b[11] == 0x02) {
        switch (b[12]) {
            case 0x01:
                return "picture";
            case 0x02:
                return "sound";
            case 0x03:
                return "data";
            default:
                break;
        }
    }
    return {};
}

// The set's subtree: the sets after it deeper than it, in tree order.
std::size_t subtreeEnd(const std::vector<LocalSet>& sets, std::size_t at) {
    std::size_t end = at + 1;
    while (end < sets.size() && sets[end].depth > sets[at].depth) {
        ++end;
    }
    return end;
}

const Item* firstInSubtree(const std::vector<LocalSet>& sets, std::size_t at, std::size_t end,
                           const std::uint8_t* label) {
    for (std::size_t i = at; i < end; ++i) {
        if (const Item* item = itemOf(sets[i], label)) {
            return item;
        }
    }
    return nullptr;
}

std::string pictureSize(const LocalSet& d) {
    auto width = integer(itemOf(d, L::DisplayWidth));
    auto height = integer(itemOf(d, L::DisplayHeight));
    if (!width || !height) {
        width = integer(itemOf(d, L::StoredWidth));
        height = integer(itemOf(d, L::StoredHeight));
    }
    if (!width || !height) {
        return {};
    }
    // A field's height, where each frame is stored as two fields.
    const std::string layout = text(itemOf(d, L::FrameLayout));
    const bool fields = layout == "SeparateFields" || layout == "MixedFields" ||
                        layout == "SegmentedFrame" || layout == "SEPARATE_FIELDS";
    return std::to_string(*width) + " × " + std::to_string(fields ? 2 * *height : *height);
}

std::string soundDetail(const LocalSet& d) {
    std::string detail;
    auto add = [&detail](const std::string& part) {
        detail += (detail.empty() ? "" : ", ") + part;
    };
    if (const auto rate = rational(itemOf(d, L::AudioSampleRate)); rate && rate->denominator != 0) {
        if (rate->numerator % rate->denominator == 0) {
            add(std::to_string(rate->numerator / rate->denominator) + " Hz");
        } else {
            add(std::to_string(rate->numerator) + "/" + std::to_string(rate->denominator) + " Hz");
        }
    }
    if (const auto channels = integer(itemOf(d, L::ChannelCount))) {
        add(std::to_string(*channels) + (*channels == 1 ? " channel" : " channels"));
    }
    if (const auto bits = integer(itemOf(d, L::QuantizationBits))) {
        add(std::to_string(*bits) + " bits");
    }
    return detail;
}

// The descriptor of a track: the one linked to its ID, else the package's only one.
const LocalSet* descriptorOf(const std::vector<const LocalSet*>& descriptors,
                             std::uint32_t trackID) {
    for (const LocalSet* d : descriptors) {
        if (const auto linked = integer(itemOf(*d, L::LinkedTrackID));
            linked && *linked == trackID) {
            return d;
        }
    }
    return descriptors.size() == 1 ? descriptors.front() : nullptr;
}

std::vector<TrackSummary> tracksOf(const std::vector<LocalSet>& sets, std::size_t package,
                                   const SDK::MetaMetadata::Dictionary* dictionary) {
    const std::size_t end = subtreeEnd(sets, package);
    std::vector<const LocalSet*> descriptors;
    for (std::size_t i = package + 1; i < end; ++i) {
        if (itemOf(sets[i], L::EssenceContainer) != nullptr &&
            itemOf(sets[i], L::FileDescriptors) == nullptr) {
            descriptors.push_back(&sets[i]);
        }
    }
    std::vector<TrackSummary> tracks;
    for (std::size_t i = package + 1; i < end; ++i) {
        if (sets[i].depth != sets[package].depth + 1) {
            continue;
        }
        const auto id = integer(itemOf(sets[i], L::TrackID));
        if (!id) {
            continue;
        }
        const std::size_t trackEnd = subtreeEnd(sets, i);
        TrackSummary track;
        track.trackID = static_cast<std::uint32_t>(*id);
        track.trackNumber =
            static_cast<std::uint32_t>(integer(itemOf(sets[i], L::TrackNumber)).value_or(0));
        track.editRate = rational(itemOf(sets[i], L::EditRate));
        track.kind = trackKind(firstInSubtree(sets, i + 1, trackEnd, L::DataDefinition));
        track.duration = integer(firstInSubtree(sets, i + 1, trackEnd, L::Duration));
        if (const LocalSet* d = descriptorOf(descriptors, track.trackID)) {
            if (track.kind == "timecode") {
                // a timecode track describes no essence of its own
            } else if (const Item* coding = itemOf(*d, L::PictureCoding)) {
                track.essence = labelName(coding, dictionary);
            } else if (const Item* sound = itemOf(*d, L::SoundCoding)) {
                track.essence = labelName(sound, dictionary);
            }
            if (track.kind != "timecode" && track.essence.empty()) {
                track.essence = labelName(itemOf(*d, L::EssenceContainer), dictionary);
            }
            if (track.kind == "picture") {
                track.detail = pictureSize(*d);
            } else if (track.kind == "sound") {
                track.detail = soundDetail(*d);
            }
        }
        tracks.push_back(std::move(track));
    }
    return tracks;
}

// The generalized operational patterns by their item and package complexity, and OP-Atom.
std::string patternCode(const std::uint8_t* label) {
    // 06.0e.2b.34.04.01.01.xx.0d.01.02.01.{item 01-03, or 10 for OP-Atom}.{package 01-03}...
    if (label[8] != 0x0d || label[9] != 0x01 || label[10] != 0x02 || label[11] != 0x01) {
        return {};
    }
    if (label[12] == 0x10) {
        return "OPAtom";
    }
    if (label[12] >= 1 && label[12] <= 3 && label[13] >= 1 && label[13] <= 3) {
        return "OP" + std::to_string(label[12]) + static_cast<char>('a' + label[13] - 1);
    }
    return {};
}

std::string twoDigits(std::int64_t n) {
    char text[24];
    std::snprintf(text, sizeof text, "%02lld", static_cast<long long>(n));
    return text;
}

}  // namespace

std::string FileSummary::durationText() const {
    if (!duration) {
        return {};
    }
    std::string units = std::to_string(*duration) + " edit units";
    if (!editRate || editRate->numerator <= 0 || editRate->denominator <= 0 || *duration < 0) {
        return units;
    }
    const std::string rate =
        std::to_string(editRate->numerator) + "/" + std::to_string(editRate->denominator);
    // Whole seconds and the edit units past them, at the rate rounded to whole units a second.
    const std::int64_t perSecond =
        (editRate->numerator + editRate->denominator / 2) / editRate->denominator;
    if (perSecond <= 0) {
        return units + " at " + rate;
    }
    const std::int64_t seconds = *duration / perSecond;
    const std::int64_t rest = *duration % perSecond;
    std::string clock = twoDigits(seconds / 3600) + ":" + twoDigits(seconds / 60 % 60) + ":" +
                        twoDigits(seconds % 60);
    if (perSecond > 100) {
        // An audio sample rate: milliseconds tell more than a count of samples.
        char millis[32];
        std::snprintf(
            millis, sizeof millis, ".%03d",
            static_cast<int>(static_cast<double>(rest) * 1000 / static_cast<double>(perSecond)));
        clock += millis;
    } else {
        clock += ":" + twoDigits(rest);
    }
    return clock + " (" + units + " at " + rate + ")";
}

std::string FileSummary::durationClock() const {
    const std::string text = durationText();
    const std::size_t detail = text.find(" (");
    return detail == std::string::npos ? text : text.substr(0, detail);
}

std::string FileSummary::essenceText() const {
    // Tracks alike are said once, with their count: "sound ×4: ...".
    std::vector<std::pair<std::string, std::string>> lines;  // kind, essence and detail
    std::vector<std::size_t> counts;
    for (const TrackSummary& t : tracks) {
        if (t.kind == "timecode" || (t.essence.empty() && t.detail.empty())) {
            continue;
        }
        std::string what = t.essence;
        if (!t.detail.empty()) {
            what += (what.empty() ? "" : " ") + t.detail;
        }
        const std::pair<std::string, std::string> line{t.kind.empty() ? "track" : t.kind, what};
        const auto same = std::find(lines.begin(), lines.end(), line);
        if (same == lines.end()) {
            lines.push_back(line);
            counts.push_back(1);
        } else {
            ++counts[static_cast<std::size_t>(same - lines.begin())];
        }
    }
    std::string out;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        out += (out.empty() ? "" : "; ") + lines[i].first +
               (counts[i] > 1 ? " ×" + std::to_string(counts[i]) : "") + ": " + lines[i].second;
    }
    return out;
}

FileSummary summarize(const HeaderMetadata& header,
                      const SDK::MetaMetadata::Dictionary* dictionary) {
    FileSummary summary;
    const auto& sets = header.sets;
    if (!sets.empty() && isPrefaceKey(sets.front().key)) {
        const Item* op = itemOf(sets.front(), L::OperationalPattern);
        summary.operationalPattern = labelName(op, dictionary);
        if (op != nullptr && op->bytes.size() == 16) {
            summary.operationalPatternCode = patternCode(op->bytes.data());
        }
    }
    if (summary.operationalPattern.empty() && !header.partitions.empty()) {
        const Bytes16& op = header.partitions.front().operationalPattern;
        const auto* registered =
            dictionary != nullptr ? dictionary->typeDefinitions().label(op.data()) : nullptr;
        summary.operationalPattern =
            registered != nullptr ? std::string(registered->name) : dottedHex(op.data(), op.size());
        summary.operationalPatternCode = patternCode(op.data());
    }
    for (const LocalSet& set : sets) {
        if (itemOf(set, L::ApplicationName) != nullptr) {
            const std::string supplier = text(itemOf(set, L::ApplicationSupplierName));
            const std::string product = text(itemOf(set, L::ApplicationName));
            summary.writer = supplier + (supplier.empty() || product.empty() ? "" : " ") + product;
            summary.version = text(itemOf(set, L::ApplicationVersionString));
        }
    }
    // The material package's first picture track sets the duration; else its first sound
    // track, else its first track with a duration.
    const TrackSummary* timing = nullptr;
    std::vector<TrackSummary> material;
    for (std::size_t i = 0; i < sets.size(); ++i) {
        const bool isMaterial = isKey(sets[i], 0x36);
        if (!isMaterial && !(isKey(sets[i], 0x37) || itemOf(sets[i], L::PackageID) != nullptr)) {
            continue;
        }
        if (isMaterial) {
            if (material.empty()) {
                material = tracksOf(sets, i, dictionary);
            }
        } else if (itemOf(sets[i], L::EssenceDescription) != nullptr) {
            for (TrackSummary& t : tracksOf(sets, i, dictionary)) {
                summary.tracks.push_back(std::move(t));
            }
        }
    }
    for (const char* kind : {"picture", "sound", ""}) {
        for (const TrackSummary& t : material.empty() ? summary.tracks : material) {
            if (timing == nullptr && t.duration && (t.kind == kind || *kind == '\0') &&
                t.kind != "timecode") {
                timing = &t;
            }
        }
    }
    if (timing != nullptr) {
        summary.editRate = timing->editRate;
        summary.duration = timing->duration;
    }
    return summary;
}

}  // namespace Velmar::MXF::Report
