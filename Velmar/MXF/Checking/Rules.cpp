#include "Velmar/MXF/Checking/Rules.h"

namespace Velmar::MXF::Checking {

using namespace Model;

Severity ruleSeverity(const std::string& rule) {
    // Tolerated by readers: a rule broken where the meaning is still clear.
    static const char* const kWarnings[] = {
        "required-missing",          "non-conformant-key", "not-an-attribute",  "unknown-tag",
        "unknown-enumeration-value", "kag-alignment",      "essence-container", "invalid-text"};
    // Only unknown to the dictionary: nothing wrong with the file for that.
    static const char* const kInfo[] = {"unknown-set", "unknown-element"};
    for (const char* r : kWarnings) {
        if (rule == r) {
            return Severity::Warning;
        }
    }
    for (const char* r : kInfo) {
        if (rule == r) {
            return Severity::Info;
        }
    }
    return Severity::Error;
}

}  // namespace Velmar::MXF::Checking
