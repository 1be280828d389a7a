// Every rule a read or a walk checks, a row each: its name, the severity of its findings and
// what a finding of it says. Refusals (FileRefused) name their rules too, and stand apart.
#include "Velmar/MXF/Checking/Rules.h"

#include <string_view>

namespace Velmar::MXF::Checking {

using Model::Severity;

namespace {

struct Rule {
    std::string_view name;
    Severity severity;
    const char* says;
};

constexpr Rule kRules[] = {
    // The header metadata read.
    {"interrupted-edit", Severity::Error,
     "an edit in place was cut short: its journal is beside the file"},
    {"truncated", Severity::Error, "the file ends after its header metadata, or inside a packet"},
    {"footer-missing", Severity::Error, "no partition pack where the header says the footer is"},
    {"header-missing", Severity::Error,
     "the file begins with a body or footer partition: its head is lost"},
    {"trailing-bytes", Severity::Error,
     "bytes after the footer partition's last packet that are no packet"},
    {"dangling-reference", Severity::Error, "a strong reference to no set"},
    {"wrong-target", Severity::Error, "a reference to a set the element may not refer to"},
    {"duplicate-instance-uid", Severity::Error, "two sets of one InstanceUID"},
    {"reference-cycle", Severity::Error, "a set that refers back to one that holds it"},
    {"no-preface", Severity::Error, "the header metadata has no Preface"},
    {"bad-size", Severity::Error, "a value whose size does not fit its type"},
    {"required-missing", Severity::Warning, "a required item is not there"},
    {"not-an-attribute", Severity::Warning, "an item the set's definition does not have"},
    {"unknown-tag", Severity::Warning, "a local tag the primer does not map"},
    {"unknown-enumeration-value", Severity::Warning, "a number the enumeration does not list"},
    {"non-conformant-key", Severity::Warning, "a local set keyed with another registry designator"},
    {"invalid-text", Severity::Warning, "text bytes not valid in their encoding"},
    {"unknown-set", Severity::Info, "a set the dictionary does not know"},
    {"unknown-element", Severity::Info, "an element the dictionary does not know"},
    // The walk.
    {"length-past-end", Severity::Error, "a packet's length runs past the end of the file"},
    {"partition-chain", Severity::Error, "a partition pack not where it or another says"},
    {"random-index", Severity::Error, "the random index pack does not list the partitions"},
    {"index-segment", Severity::Error, "an index table segment that does not hold together"},
    {"index-coverage", Severity::Error, "index table segments with a gap or an overlap"},
    {"index-offset", Severity::Error, "an index entry that does not land on its essence"},
    {"index-byte-count", Severity::Error, "constant-size edit units that do not fill the essence"},
    {"essence-track", Severity::Error, "essence and tracks whose track numbers do not match"},
    {"kag-alignment", Severity::Warning, "a packet off its partition's KAG grid"},
    {"essence-container", Severity::Warning, "an essence container the header partition omits"},
};

}  // namespace

Severity ruleSeverity(const std::string& rule) {
    for (const Rule& r : kRules) {
        if (r.name == rule) {
            return r.severity;
        }
    }
    return Severity::Error;
}

}  // namespace Velmar::MXF::Checking
