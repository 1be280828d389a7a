// The index of many files' pages: a row per file, sortable and filterable in the page.
#include <cmath>
#include <cstdio>
#include <ostream>

#include "Html.h"
#include "Velmar/MXF/Report/Report.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace Velmar::MXF::Report {

using namespace Model;

namespace {

// One form for every file, whatever its rate, so that the column reads down:
// hours:minutes:seconds.milliseconds (the page gives the edit units and the rate).
std::string clockText(double seconds) {
    const auto millis = static_cast<long long>(std::llround(seconds * 1000));
    char text[48];
    std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld.%03lld", millis / 3600000,
                  millis / 60000 % 60, millis / 1000 % 60, millis % 1000);
    return text;
}

}  // namespace

IndexRow indexRow(const std::string& name, const std::string& page, const HeaderMetadata& header,
                  const SDK::MetaMetadata::Dictionary* dictionary) {
    IndexRow row;
    row.name = name;
    row.page = page;
    row.size = header.fileSize;
    row.summary = summarize(header, dictionary);
    for (const Finding& f : header.findings) {
        (f.severity == Severity::Error     ? row.errors
         : f.severity == Severity::Warning ? row.warnings
                                           : row.info) += 1;
    }
    return row;
}

IndexRow refusedIndexRow(const std::string& name, const std::string& page, std::uint64_t size,
                         const FileRefused& refusal) {
    IndexRow row;
    row.name = name;
    row.page = page;
    row.size = size;
    row.refusal = std::string(refusal.rule()) + " at offset " + std::to_string(refusal.offset()) +
                  ": " + SDK::Utils::toUtf8(refusal.message()).c_str();
    return row;
}

void writeIndex(std::ostream& out, const std::string& title, const std::vector<IndexRow>& rows) {
    std::size_t refused = 0, errors = 0, warnings = 0;
    for (const IndexRow& r : rows) {
        refused += !r.refusal.empty();
        errors += r.errors != 0;
        warnings += r.errors == 0 && r.warnings != 0;
    }
    writeHead(out, title + " · MXF reports");
    out << "<header class=\"page\"><h1>" << escapePath(title) << "</h1>\n<p class=\"sub\">"
        << rows.size() << (rows.size() == 1 ? " file" : " files") << " · " << refused
        << " refused · " << errors << " with errors · " << warnings
        << " with warnings and no error</p>\n</header>\n<main>\n"
           "<div class=\"filters\"><label>Filter <input type=\"search\" id=\"filter\" "
           "placeholder=\"name, pattern, essence, writer…\"></label><label>Show <select "
           "id=\"only\"><option value=\"all\">all files</option><option value=\"refused\">"
           "refused</option><option value=\"errors\">with errors</option><option "
           "value=\"warnings\">with errors or warnings</option><option value=\"clean\">without "
           "errors or warnings</option></select></label><span id=\"shown\" aria-live=\"polite\">"
           "</span></div>\n<table class=\"grid\" id=\"files\"><thead><tr>"
           "<th><button type=\"button\">File</button></th>"
           "<th class=\"num\"><button type=\"button\">Size</button></th>"
           "<th><button type=\"button\">Operational pattern</button></th>"
           "<th class=\"num\"><button type=\"button\">Duration</button></th>"
           "<th><button type=\"button\">Essence</button></th>"
           "<th><button type=\"button\">Written by</button></th>"
           "<th class=\"num\"><button type=\"button\">Errors</button></th>"
           "<th class=\"num\"><button type=\"button\">Warnings</button></th>"
           "<th class=\"num\"><button type=\"button\">Info</button></th>"
           "<th><button type=\"button\">Status</button></th></tr></thead><tbody>\n";
    for (const IndexRow& r : rows) {
        const bool isRefused = !r.refusal.empty();
        const FileSummary& s = r.summary;
        // Durations sort in seconds, so that files of different rates compare.
        double seconds = -1;
        if (s.duration && s.editRate && s.editRate->numerator > 0 && s.editRate->denominator > 0) {
            seconds = static_cast<double>(*s.duration) *
                      static_cast<double>(s.editRate->denominator) /
                      static_cast<double>(s.editRate->numerator);
        }
        out << "<tr" << (isRefused ? " class=\"refused\"" : "") << " data-refused=\""
            << (isRefused ? 1 : 0) << "\" data-errors=\"" << r.errors << "\" data-warnings=\""
            << r.warnings << "\"><td><a href=\"" << href(r.page) << "\">" << escapePath(r.name)
            << "</a></td><td class=\"num\" data-v=\"" << r.size << "\">" << sizeText(r.size)
            << "</td><td title=\"" << escape(s.operationalPattern) << "\">"
            << escape(s.operationalPatternCode.empty() ? s.operationalPattern
                                                       : s.operationalPatternCode)
            << "</td><td class=\"num\" data-v=\"" << seconds << "\" title=\""
            << escape(s.durationText()) << "\">"
            << escape(seconds >= 0 ? clockText(seconds) : s.durationClock()) << "</td><td>"
            << escape(s.essenceText()) << "</td><td>"
            << escape(s.writer + (s.version.empty() ? "" : " " + s.version))
            << "</td><td class=\"num\" data-v=\"" << r.errors << "\">" << r.errors
            << "</td><td class=\"num\" data-v=\"" << r.warnings << "\">" << r.warnings
            << "</td><td class=\"num\" data-v=\"" << r.info << "\">" << r.info << "</td><td>"
            << (isRefused ? "<span class=\"sev-error\">refused</span>: " + escape(r.refusal)
                          : std::string("read"))
            << "</td></tr>\n";
    }
    out << "</tbody></table>\n</main>\n";
    writeTail(out, kIndexScript);
}

}  // namespace Velmar::MXF::Report
