// A file's page: what it is, where its bytes lie, what is wrong with it and its metadata tree.
#include <algorithm>
#include <ostream>

#include "Html.h"
#include "Map.h"
#include "Tree.h"
#include "Velmar/MXF/Report/Report.h"
#include "Velmar/MXF/Values/Text.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace Velmar::MXF::Report {

using namespace Model;
using namespace Values;

namespace {

std::string baseName(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

void writeCounts(std::ostream& out, const std::size_t counts[3]) {
    if (counts[0] + counts[1] + counts[2] == 0) {
        out << "<span class=\"badge none\">no findings</span>";
        return;
    }
    const char* words[3][2] = {{"error", "errors"}, {"warning", "warnings"}, {"info", "info"}};
    for (int s = 0; s < 3; ++s) {
        if (counts[s] != 0) {
            out << "<a class=\"badge " << severityName(static_cast<Severity>(s))
                << "\" href=\"#findings\">" << counts[s] << " " << words[s][counts[s] == 1 ? 0 : 1]
                << "</a>";
        }
    }
}

void writeSummary(std::ostream& out, const FileSummary& summary) {
    out << "<dl class=\"facts\">";
    auto fact = [&out](const char* term, const std::string& value) {
        if (!value.empty()) {
            out << "<dt>" << term << "</dt><dd>" << escape(value) << "</dd>";
        }
    };
    fact("Operational pattern",
         summary.operationalPatternCode.empty() || summary.operationalPattern.empty()
             ? summary.operationalPatternCode + summary.operationalPattern
             : summary.operationalPatternCode + " (" + summary.operationalPattern + ")");
    fact("Duration", summary.durationText());
    if (summary.editRate) {
        fact("Edit rate", std::to_string(summary.editRate->numerator) + "/" +
                              std::to_string(summary.editRate->denominator));
    }
    fact("Written by", summary.writer + (summary.version.empty() ? "" : " " + summary.version));
    out << "</dl>\n";
    if (summary.tracks.empty()) {
        return;
    }
    out << "<table class=\"grid tracks\"><thead><tr><th class=\"num\">Track</th><th>Number</th>"
           "<th>Kind</th><th>Essence</th><th>Picture or sound</th><th>Edit rate</th>"
           "<th class=\"num\">Duration</th></tr></thead><tbody>\n";
    for (const TrackSummary& t : summary.tracks) {
        char number[12];
        std::snprintf(number, sizeof number, "%08x", t.trackNumber);
        out << "<tr><td class=\"num\">" << t.trackID << "</td><td><code>" << number
            << "</code></td><td>" << escape(t.kind) << "</td><td>" << escape(t.essence)
            << "</td><td>" << escape(t.detail) << "</td><td>"
            << (t.editRate ? std::to_string(t.editRate->numerator) + "/" +
                                 std::to_string(t.editRate->denominator)
                           : std::string())
            << "</td><td class=\"num\">" << (t.duration ? std::to_string(*t.duration) : "")
            << "</td></tr>\n";
    }
    out << "</tbody></table>\n";
}

void writeFindings(std::ostream& out, const HeaderMetadata& header,
                   const std::vector<std::size_t>& order, const TreeIndex& index) {
    out << "<section id=\"findings\" aria-labelledby=\"findings-h\"><h2 id=\"findings-h\">"
           "Findings</h2>\n";
    if (order.empty()) {
        out << "<p>None: nothing the reader checks is wrong with this file.</p></section>\n";
        return;
    }
    out << "<table class=\"grid\"><thead><tr><th>Severity</th><th>Rule</th><th>Set</th>"
           "<th>Item</th><th class=\"num\">Offset</th><th>Message</th></tr></thead><tbody>\n";
    for (const std::size_t i : order) {
        const Finding& f = header.findings[i];
        const LocalSet* set = f.setOffset ? index.setAt(*f.setOffset) : nullptr;
        const Item* item = nullptr;
        if (set != nullptr && f.tag) {
            for (const Item& candidate : set->items) {
                if (candidate.tag == *f.tag) {
                    item = &candidate;
                    break;
                }
            }
        }
        const char* severity = severityName(f.severity);
        out << "<tr id=\"f" << i << "\"><td class=\"sev-" << severity << "\">" << severity
            << "</td><td><code>" << escape(f.rule) << "</code></td><td>";
        if (set != nullptr) {
            // A set the dictionary does not name goes by its key, as the tree shows it.
            const std::string name = !f.setName.empty() ? f.setName
                                     : !set->name().empty()
                                         ? set->name()
                                         : dottedHex(set->key.data(), set->key.size());
            out << "<a href=\"#" << setAnchor(*set) << "\">" << escape(name) << "</a>";
        } else {
            out << escape(f.setName);
        }
        out << "</td><td>";
        const std::string itemName = f.itemName.empty() && f.tag ? tagText(*f.tag) : f.itemName;
        if (item != nullptr) {
            out << "<a href=\"#" << itemAnchor(*item) << "\">" << escape(itemName) << "</a>";
        } else {
            out << escape(itemName);
        }
        out << "</td><td class=\"num\">";
        if (f.setOffset) {
            out << "<a href=\"#m-f" << i << "\" title=\"on the map\">" << grouped(*f.setOffset)
                << "</a>";
        }
        out << "</td><td>" << escape(f.message) << "</td></tr>\n";
    }
    out << "</tbody></table></section>\n";
}

void writeTop(std::ostream& out, const std::string& file, std::uint64_t size) {
    writeHead(out, baseName(file) + " · MXF report");
    out << "<header class=\"page\"><h1>" << escapePath(baseName(file)) << "</h1>\n<p class=\"sub\">"
        << escapePath(file) << " · " << sizeText(size)
        << (size >= 1000 ? " (" + grouped(size) + " bytes)" : std::string()) << "</p>\n";
}

}  // namespace

void writePage(std::ostream& out, const std::string& file, const HeaderMetadata& header,
               const SDK::MetaMetadata::Dictionary* dictionary) {
    // Findings by severity, each in the reader's order within its severity.
    std::vector<std::size_t> order(header.findings.size());
    std::size_t counts[3] = {0, 0, 0};
    for (std::size_t i = 0; i < order.size(); ++i) {
        order[i] = i;
        ++counts[static_cast<int>(header.findings[i].severity)];
    }
    std::stable_sort(order.begin(), order.end(), [&header](std::size_t a, std::size_t b) {
        return header.findings[a].severity < header.findings[b].severity;
    });

    writeTop(out, file, header.fileSize);
    writeSummary(out, summarize(header, dictionary));
    out << "<p class=\"counts\">";
    writeCounts(out, counts);
    out << "</p>\n<nav class=\"toc\" aria-label=\"Sections\"><a href=\"#map\">Map</a>"
           "<a href=\"#findings\">Findings</a><a href=\"#tree\">Header metadata</a></nav>\n"
           "</header>\n<main>\n<section id=\"map\" aria-labelledby=\"map-h\"><h2 id=\"map-h\">Map"
           "</h2>\n";
    std::vector<MapMark> marks;
    for (const std::size_t i : order) {
        const Finding& f = header.findings[i];
        if (f.setOffset) {
            marks.push_back({*f.setOffset, f.severity, "f" + std::to_string(i),
                             std::string(severityName(f.severity)) + " " + f.rule + " at " +
                                 grouped(*f.setOffset) + ": " + f.message});
        }
    }
    writeMap(out, header, marks);
    out << "</section>\n";
    const TreeIndex index(header);
    writeFindings(out, header, order, index);
    out << "<section id=\"tree\" aria-labelledby=\"tree-h\"><h2 id=\"tree-h\">Header metadata"
        << "</h2>\n<p class=\"meta\">" << header.sets.size() << " sets, read from the "
        << "partition at " << grouped(header.primer.partitionOffset) << "</p>\n"
        << "<div class=\"tools\"><button type=\"button\" id=\"expand-all\">Expand all</button>"
           "<button type=\"button\" id=\"collapse-all\">Collapse all</button></div>\n";
    writeTree(out, header, index);
    out << "</section>\n</main>\n";
    writeTail(out, kPageScript);
}

void writeRefusedPage(std::ostream& out, const std::string& file, std::uint64_t size,
                      const FileRefused& refusal) {
    const std::string message = SDK::Utils::toUtf8(refusal.message()).c_str();
    writeTop(out, file, size);
    out << "<p class=\"counts\"><span class=\"badge error\">refused</span></p>\n</header>\n"
           "<main>\n<section id=\"refusal\" aria-labelledby=\"refusal-h\"><h2 id=\"refusal-h\">"
           "Refused</h2>\n<div class=\"refusal\" role=\"alert\"><p><strong>"
        << escape(refusal.rule()) << "</strong> at offset " << grouped(refusal.offset()) << ": "
        << escape(message)
        << "</p><p>The file's structure cannot be read past this point, so it has no map of "
           "its packets and no metadata tree.</p></div>\n</section>\n"
           "<section id=\"map\" aria-labelledby=\"map-h\"><h2 id=\"map-h\">Map</h2>\n";
    HeaderMetadata whole;
    whole.fileSize = size;
    writeMap(out, whole,
             {{refusal.offset(), Severity::Error, "refusal",
               std::string(refusal.rule()) + " at " + grouped(refusal.offset()) + ": " + message}});
    out << "</section>\n</main>\n";
    writeTail(out, kPageScript);
}

}  // namespace Velmar::MXF::Report
