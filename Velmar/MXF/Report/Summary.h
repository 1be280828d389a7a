#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/SDK/MetaMetadata/Dictionary.h"

namespace Velmar::MXF::Report {

struct Rational {
    std::int64_t numerator = 0;
    std::int64_t denominator = 0;
};

// A track of a file package, with what its descriptor says of the essence.
struct TrackSummary {
    std::uint32_t trackID = 0;
    std::uint32_t trackNumber = 0;
    std::string kind;     // "picture", "sound", "data", "timecode", else empty
    std::string essence;  // the coding's name, else the essence container's; else empty
    std::string detail;   // "720 × 576", "48000 Hz, 2 channels, 24 bits"; else empty
    std::optional<Rational> editRate;
    std::optional<std::int64_t> duration;  // in edit units
};

// What a person asks of a file first: its operational pattern, how long it runs, its tracks
// and what wrote it. Each is empty where the header metadata does not say.
struct FileSummary {
    std::string operationalPattern;      // the label's name, else its dotted bytes
    std::string operationalPatternCode;  // "OP1a" ... "OP3c", "OPAtom"; else empty
    std::optional<Rational> editRate;
    std::optional<std::int64_t> duration;  // in edit units of editRate
    std::vector<TrackSummary> tracks;      // of the file packages, in tree order
    std::string writer;                    // supplier and product of the latest Identification
    std::string version;                   // its version string

    // "00:01:00:00 (1500 edit units at 25/1)", or empty; edit units past a second as ":ff",
    // or at audio rates as milliseconds ("00:00:00.734 (35232 edit units at 48000/1)").
    std::string durationText() const;
    // "00:01:00:00", or the edit units where there is no rate; empty without a duration.
    std::string durationClock() const;
    // The tracks' essence in one line, tracks alike once with their count:
    // "picture: MPEG-2 422P-ML 720 × 576; sound ×4: ...".
    std::string essenceText() const;
};

// From the header metadata read; the dictionary, where given, names labels that are registered
// only as a family (a coding label whose last bytes vary).
FileSummary summarize(const Model::HeaderMetadata& header,
                      const SDK::MetaMetadata::Dictionary* dictionary = nullptr);

}  // namespace Velmar::MXF::Report
