#pragma once

// What a reader or a check says is wrong with a file that can still be read.
#include <cstdint>
#include <optional>
#include <string>

namespace Velmar::MXF::Model {

// How much a finding weighs: a structural or reference fault a reader may fail on, a rule broken
// that readers tolerate, or what is only unknown to the dictionary (dark, or defined by the
// file itself). Ordered from the gravest.
enum class Severity { Error, Warning, Info };

const char* severityName(Severity severity);  // "error", "warning", "info"

// Something wrong with a file that can still be read: each with its rule, the set (its offset
// and name) and item (its tag and name) where that applies, and a message.
struct Finding {
    std::string rule;
    std::optional<std::uint64_t> setOffset;
    std::string setName;
    std::optional<std::uint16_t> tag;
    std::string itemName;
    std::string message;
    // The rule's, or milder where the reader knows more (an item the file itself defines).
    Severity severity = Severity::Error;
};

}  // namespace Velmar::MXF::Model
