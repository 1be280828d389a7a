// Index tables held against the essence the walk met: their segments in sequence, their entries
// on the elements, their constant edit units filling the container.
#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <tuple>

#include "../KLV/Labels.h"
#include "WalkRules.h"

namespace Velmar::MXF::Checking {

using namespace Model;
using namespace KLV;

namespace {

// How the essence lies: its runs by stream offset, and whether a container is a clip, each
// worked out once when first asked.
class EssenceLayout {
  public:
    explicit EssenceLayout(const WalkFacts& walk) : walk_(walk) {}

    // How the essence is wrapped, by the labels the header partition names (a generic multiple
    // mapping or encryption says nothing; labels that disagree say nothing either).
    Wrapping labelledWrapping() const {
        Wrapping found = Wrapping::Unknown;
        if (!walk_.result.partitions.empty()) {
            for (const Bytes16& label : walk_.result.partitions.front().essenceContainers) {
                const Wrapping w = wrappingOf(label);
                if (w != Wrapping::Unknown && found != Wrapping::Unknown && w != found) {
                    return Wrapping::Unknown;
                }
                if (w != Wrapping::Unknown) {
                    found = w;
                }
            }
        }
        return found;
    }

    // Where the labels do not say, what the file holds does: a container of one element is a
    // clip where more than one edit unit is indexed inside it, or where it is measured at all.
    // Both counted once for the walk, not once a segment: many partitions and many segments
    // never cost their product.
    bool isClip(std::uint32_t bodySID, std::size_t entries) {
        if (!labelled_) {
            labelled_ = labelledWrapping();
            for (const EssenceRun& run : walk_.runs) {
                elementsOf_[run.bodySID] += run.elements;
            }
        }
        if (*labelled_ != Wrapping::Unknown) {
            return *labelled_ == Wrapping::Clip;
        }
        const auto elements = elementsOf_.find(bodySID);
        return elements != elementsOf_.end() && elements->second == 1 && entries != 1;
    }

    // The run of an essence container holding a stream offset, where the walk found one: by
    // halving among the container's runs, sorted once, so that a file of many partitions and
    // long index tables costs their sizes' product in no step.
    const EssenceRun* runAt(std::uint32_t bodySID, std::uint64_t stream) {
        if (byStream_.empty() && !walk_.runs.empty()) {
            byStream_ = walk_.runs;
            std::sort(
                byStream_.begin(), byStream_.end(), [](const EssenceRun& a, const EssenceRun& b) {
                    return std::tie(a.bodySID, a.streamStart) < std::tie(b.bodySID, b.streamStart);
                });
        }
        // The last run of this container starting at or before the stream offset.
        auto after = std::upper_bound(
            byStream_.begin(), byStream_.end(), std::make_pair(bodySID, stream),
            [](const std::pair<std::uint32_t, std::uint64_t>& key, const EssenceRun& run) {
                return key < std::make_pair(run.bodySID, run.streamStart);
            });
        if (after == byStream_.begin()) {
            return nullptr;
        }
        const EssenceRun& run = *std::prev(after);
        if (run.bodySID == bodySID && stream - run.streamStart < run.fileEnd - run.fileStart) {
            return &run;
        }
        return nullptr;
    }

  private:
    const WalkFacts& walk_;
    std::vector<EssenceRun> byStream_;  // by container and stream offset, made when first asked
    std::optional<Wrapping> labelled_;  // the labels' wrapping, and elements by BodySID, made
    std::map<std::uint32_t, std::uint64_t> elementsOf_;  // when first asked for
};

}  // namespace

// The segments of an index table follow each other without gap or overlap.
void checkIndexCoverage(const WalkFacts& walk) {
    std::map<std::uint32_t, std::vector<const IndexSegment*>> tables;
    for (const IndexSegment& segment : walk.segments) {
        tables[segment.indexSID].push_back(&segment);
    }
    for (auto& [sid, table] : tables) {
        std::stable_sort(table.begin(), table.end(),
                         [](const IndexSegment* a, const IndexSegment* b) {
                             return a->startPosition < b->startPosition;
                         });
        for (std::size_t i = 1; i < table.size(); ++i) {
            const IndexSegment& before = *table[i - 1];
            const IndexSegment& segment = *table[i];
            const std::int64_t expected = before.startPosition + before.duration;
            if (segment.startPosition != expected) {
                walk.find("index-coverage", segment.offset,
                          std::string("the segment starts at edit unit ") +
                              std::to_string(segment.startPosition) +
                              ", where the one before (at " + std::to_string(before.offset) +
                              ") ends at " + std::to_string(expected) +
                              (segment.startPosition > expected ? ": a gap" : ": an overlap"));
            }
        }
    }
}

// Each entry's stream offset lands on the key of an essence element of its container where
// the essence is frame wrapped, and inside the clip's value, in order, where it is a clip.
void checkIndexEntries(const WalkFacts& walk) {
    EssenceLayout layout(walk);
    for (const IndexSegment& segment : walk.segments) {
        const bool clip = layout.isClip(segment.bodySID, segment.entries.size());
        std::uint64_t previous = 0;
        for (std::size_t i = 0; i < segment.entries.size(); ++i) {
            const std::uint64_t stream = segment.entries[i].streamOffset;
            const EssenceRun* run = layout.runAt(segment.bodySID, stream);
            if (run == nullptr && walk.truncated) {
                break;  // the essence it points at was cut off
            }
            const std::optional<std::uint64_t> at =
                run ? std::optional<std::uint64_t>(run->fileStart + (stream - run->streamStart))
                    : std::nullopt;
            std::string fault;
            if (!at) {
                fault = ", which no essence of that container reaches";
            } else if (clip) {
                // The clip's key (where a writer indexes the element) or inside its value.
                if (*at >= run->firstValueOffset + run->firstValueLength) {
                    fault = ", outside the clip's value (file offset " + std::to_string(*at) + ")";
                } else if (i != 0 && stream < previous) {
                    fault = ", before the entry ahead of it (" + std::to_string(previous) + ")";
                }
            } else {
                Bytes16 key{};
                if (walk.source.size() - *at < 16 || !walk.source.read(*at, key.data(), 16) ||
                    !(isEssenceKey(key) || isSMPTELabel(key)) || isFillKey(key)) {
                    fault = ", where no essence element starts (file offset " +
                            std::to_string(*at) + ")";
                }
            }
            if (!fault.empty()) {
                walk.find("index-offset", segment.offset,
                          "entry " + std::to_string(i) + " gives stream offset " +
                              std::to_string(stream) + " of BodySID " +
                              std::to_string(segment.bodySID) + fault);
                break;  // one per segment: the rest are likely off alike
            }
            previous = stream;
        }
    }
}

// A table of constant-size edit units: its essence holds whole edit units, as many as its
// segments' durations say where they say any. A clip (one element) is counted by its
// value, frames by the container's bytes, fill included.
void checkConstantSizes(const WalkFacts& walk) {
    EssenceLayout layout(walk);
    std::map<std::uint32_t, std::vector<const IndexSegment*>> tables;
    for (const IndexSegment& segment : walk.segments) {
        if (segment.editUnitByteCount != 0) {
            tables[segment.indexSID].push_back(&segment);
        }
    }
    for (const auto& [sid, table] : tables) {
        const IndexSegment& first = *table.front();
        std::uint64_t bytes = 0;
        std::uint64_t elements = 0;
        std::uint64_t clip = 0;
        for (const EssenceRun& run : walk.runs) {
            if (run.bodySID == first.bodySID) {
                bytes += run.fileEnd - run.fileStart;
                elements += run.elements;
                clip = run.firstValueLength;
            }
        }
        if (elements == 0) {
            continue;  // no essence here to measure
        }
        // A frame's edit unit counts each element's key and length; a clip's only its value.
        const bool clipped = layout.isClip(first.bodySID, 0);
        const std::uint64_t measured = clipped ? clip : bytes;
        std::uint64_t duration = 0;
        for (const IndexSegment* segment : table) {
            if (segment->editUnitByteCount != first.editUnitByteCount) {
                walk.find("index-byte-count", segment->offset,
                          "EditUnitByteCount " + std::to_string(segment->editUnitByteCount) +
                              " where the table's first segment says " +
                              std::to_string(first.editUnitByteCount));
            }
            duration += segment->duration > 0 ? static_cast<std::uint64_t>(segment->duration) : 0;
        }
        const std::uint64_t unit = first.editUnitByteCount;
        const std::string what = clipped ? "the clip's value" : "the essence container";
        auto fits = [&](std::uint64_t size) {
            return size % unit == 0 && (duration == 0 || size / unit == duration);
        };
        // One element under a frame wrapping label is a clip to some writers: it fits if
        // either measure does.
        if (elements == 1 && (fits(clip) || fits(bytes))) {
            continue;
        }
        if (duration != 0 && (measured % unit != 0 || measured / unit != duration)) {
            walk.find("index-byte-count", first.offset,
                      std::to_string(duration) + " edit units of " + std::to_string(unit) +
                          " bytes, where " + what + " holds " + std::to_string(measured) +
                          " bytes");
        } else if (duration == 0 && measured % unit != 0) {
            walk.find("index-byte-count", first.offset,
                      what + " holds " + std::to_string(measured) + " bytes, no whole number of " +
                          std::to_string(unit) + "-byte edit units");
        }
    }
}

}  // namespace Velmar::MXF::Checking
