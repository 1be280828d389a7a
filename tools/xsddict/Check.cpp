#include "Check.h"

#include <ostream>

#include "Json.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace xsddict {

namespace Loading = Velmar::SDK::MetaMetadata::Loading;

namespace {

std::string text(const Velmar::SDK::WString& value) {
    const Velmar::SDK::String utf8 = Velmar::SDK::Utils::toUtf8(value);
    return std::string(utf8.data(), utf8.size());
}

std::string place(const std::string& file, unsigned long line) {
    return file.empty() ? std::string("?") : file + ":" + std::to_string(line);
}

std::string jsonOrNull(const std::string& value) {
    return value.empty() ? "null" : jsonString(value);
}

std::string pathOrNull(const std::string& path) {
    return path.empty() ? "null" : jsonPath(path);
}

}  // namespace

void CheckFindings::report(const Loading::LoadDiagnostic& diagnostic) {
    findings_.push_back(
        Finding{Loading::diagnosticKindName(diagnostic.kind), text(diagnostic.message),
                text(diagnostic.declaration), diagnostic.position.file.c_str(),
                diagnostic.position.line, text(diagnostic.set), text(diagnostic.other),
                diagnostic.otherPosition.file.c_str(), diagnostic.otherPosition.line});
}

void printFindings(const std::vector<Finding>& findings, std::ostream& out) {
    for (const Finding& finding : findings) {
        out << place(finding.file, finding.line) << ": " << finding.rule << ": " << finding.message;
        if (!finding.other.empty() && !finding.otherFile.empty()) {
            out << " (" << finding.other << " is at " << place(finding.otherFile, finding.otherLine)
                << ")";
        }
        out << "\n";
    }
    out << findings.size() << (findings.size() == 1 ? " finding" : " findings") << "\n";
}

void writeFindingsJson(const std::string& schema, const std::vector<Finding>& findings,
                       std::ostream& out) {
    out << "{\n  \"schema\": " << jsonPath(schema) << ",\n  \"findings\": [";
    for (std::size_t i = 0; i < findings.size(); ++i) {
        const Finding& f = findings[i];
        out << (i ? ",\n" : "\n") << "    {\"rule\": " << jsonString(f.rule)
            << ", \"message\": " << jsonString(f.message)
            << ", \"declaration\": " << jsonString(f.declaration)
            << ", \"file\": " << pathOrNull(f.file)
            << ", \"line\": " << (f.file.empty() ? "null" : std::to_string(f.line))
            << ", \"set\": " << jsonOrNull(f.set) << ", \"other\": " << jsonOrNull(f.other)
            << ", \"otherFile\": " << pathOrNull(f.otherFile)
            << ", \"otherLine\": " << (f.otherFile.empty() ? "null" : std::to_string(f.otherLine))
            << "}";
    }
    out << (findings.empty() ? "],\n" : "\n  ],\n") << "  \"count\": " << findings.size()
        << "\n}\n";
}

}  // namespace xsddict
