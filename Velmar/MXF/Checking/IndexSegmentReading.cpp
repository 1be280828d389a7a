// An index table segment decoded: its items by their fixed local tags, its delta and index
// entry arrays checked against the bytes that hold them.
#include <optional>
#include <string>

#include "../Values/BigEndian.h"
#include "Velmar/MXF/Model/FileRefused.h"
#include "Velmar/MXF/Values/Text.h"
#include "WalkRules.h"

namespace Velmar::MXF::Checking {

using namespace Model;
using namespace Values;
using namespace KLV;

namespace {

constexpr std::uint64_t kMaxIndexSegment = 16 << 20;

[[noreturn]] void refuse(const char* rule, std::uint64_t offset, const std::string& message,
                         int line = __builtin_LINE()) {
    throw FileRefused(rule, offset, message, __FILE__, line);
}

class IndexSegmentReader {
  public:
    IndexSegmentReader(ByteSource& source, std::vector<Finding>& findings)
        : source_(source), findings_(findings) {}

    IndexSegment readIndexSegment(const KLVHeader& header) {
        const std::vector<std::uint8_t> v =
            readValue(source_, header, kMaxIndexSegment, "bad-local-set", "an index table segment");
        IndexSegment segment;
        segment.offset = header.offset;
        for (std::size_t at = 0; at < v.size();) {
            if (v.size() - at < 4) {
                refuse("bad-local-set", header.valueOffset + at, "an item past its segment");
            }
            const auto tag = static_cast<std::uint16_t>(bigEndian(v.data() + at, 2));
            const std::size_t length = static_cast<std::size_t>(bigEndian(v.data() + at + 2, 2));
            if (length > v.size() - at - 4) {
                refuse("bad-local-set", header.valueOffset + at,
                       "an item of " + std::to_string(length) + " bytes past its segment");
            }
            readIndexItem(segment, tag, v.data() + at + 4, length, header.valueOffset + at);
            at += 4 + length;
        }
        return segment;
    }

  private:
    void readIndexItem(IndexSegment& segment, std::uint16_t tag, const std::uint8_t* b,
                       std::size_t length, std::uint64_t offset) {
        auto number = [&](std::size_t size) -> std::optional<std::uint64_t> {
            if (length != size) {
                const std::uint8_t tagBytes[2] = {static_cast<std::uint8_t>(tag >> 8),
                                                  static_cast<std::uint8_t>(tag & 0xff)};
                find("index-segment", offset,
                     "item " + dottedHex(tagBytes, 2) + " of " + std::to_string(length) +
                         " bytes, where " + std::to_string(size) + " were due");
                return std::nullopt;
            }
            return bigEndian(b, size);
        };
        switch (tag) {
            case 0x3f0b:
                if (const auto rate = number(8)) {
                    segment.editRateNumerator = static_cast<std::int32_t>(*rate >> 32);
                    segment.editRateDenominator = static_cast<std::int32_t>(*rate & 0xffffffff);
                }
                break;
            case 0x3f0c:
                if (const auto start = number(8)) {
                    segment.startPosition = static_cast<std::int64_t>(*start);
                }
                break;
            case 0x3f0d:
                if (const auto duration = number(8)) {
                    segment.duration = static_cast<std::int64_t>(*duration);
                }
                break;
            case 0x3f05:
                if (const auto count = number(4)) {
                    segment.editUnitByteCount = static_cast<std::uint32_t>(*count);
                }
                break;
            case 0x3f06:
                if (const auto sid = number(4)) {
                    segment.indexSID = static_cast<std::uint32_t>(*sid);
                }
                break;
            case 0x3f07:
                if (const auto sid = number(4)) {
                    segment.bodySID = static_cast<std::uint32_t>(*sid);
                }
                break;
            case 0x3f08:
                if (const auto count = number(1)) {
                    segment.sliceCount = static_cast<std::uint8_t>(*count);
                }
                break;
            case 0x3f0e:
                if (const auto count = number(1)) {
                    segment.posTableCount = static_cast<std::uint8_t>(*count);
                }
                break;
            case 0x3f09:
                readDeltaEntries(segment, b, length, offset);
                break;
            case 0x3f0a:
                readIndexEntries(segment, b, length, offset);
                break;
            default:
                break;  // InstanceUID and later additions
        }
    }

    // A batch's count and item size, checked against the bytes there; nothing when they lie.
    std::optional<std::size_t> batch(const std::uint8_t* b, std::size_t length, std::size_t least,
                                     std::uint64_t offset, const char* what,
                                     std::size_t& itemSize) {
        if (length < 8) {
            find("index-segment", offset, std::string(what) + " shorter than its batch header");
            return std::nullopt;
        }
        const std::uint64_t count = bigEndian(b, 4);
        itemSize = static_cast<std::size_t>(bigEndian(b + 4, 4));
        if (count == 0 && length == 8) {
            if (itemSize < least) {  // empty, of a wrong item size: readers take it as empty
                find("index-segment", offset,
                     std::string(what) + " that is empty, of entries of " +
                         std::to_string(itemSize) + " bytes (at least " + std::to_string(least) +
                         " are due)");
                findings_.back().severity = Severity::Warning;
            }
            return std::nullopt;
        }
        if (itemSize < least || (length - 8) % itemSize != 0 || (length - 8) / itemSize != count) {
            find("index-segment", offset,
                 std::string(what) + ": " + std::to_string(count) + " entries of " +
                     std::to_string(itemSize) + " bytes in " + std::to_string(length - 8) +
                     " bytes");
            return std::nullopt;
        }
        return static_cast<std::size_t>(count);
    }

    void readDeltaEntries(IndexSegment& segment, const std::uint8_t* b, std::size_t length,
                          std::uint64_t offset) {
        std::size_t size = 0;
        const auto count = batch(b, length, 6, offset, "a delta entry array", size);
        for (std::size_t i = 0; count && i < *count; ++i) {
            const std::uint8_t* e = b + 8 + i * size;
            segment.deltaEntries.push_back({static_cast<std::int8_t>(e[0]), e[1],
                                            static_cast<std::uint32_t>(bigEndian(e + 2, 4))});
        }
    }

    void readIndexEntries(IndexSegment& segment, const std::uint8_t* b, std::size_t length,
                          std::uint64_t offset) {
        std::size_t size = 0;
        const auto count = batch(b, length, 11, offset, "an index entry array", size);
        for (std::size_t i = 0; count && i < *count; ++i) {
            const std::uint8_t* e = b + 8 + i * size;
            segment.entries.push_back({static_cast<std::int8_t>(e[0]),
                                       static_cast<std::int8_t>(e[1]), e[2], bigEndian(e + 3, 8)});
        }
    }

    void find(const char* rule, std::uint64_t offset, std::string message) {
        findings_.push_back({rule, offset, "", std::nullopt, "", std::move(message)});
    }

    ByteSource& source_;
    std::vector<Finding>& findings_;
};

}  // namespace

IndexSegment readIndexSegment(ByteSource& source, const KLVHeader& header,
                              std::vector<Finding>& findings) {
    return IndexSegmentReader(source, findings).readIndexSegment(header);
}

}  // namespace Velmar::MXF::Checking
