// Reading a file's partitions and header metadata, and placing its sets in tree order.
#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <unordered_map>

#include "../Checking/EssenceRules.h"
#include "../Checking/SetRules.h"
#include "../Checking/Walk.h"
#include "../KLV/ByteSource.h"
#include "../KLV/Labels.h"
#include "../KLV/Packets.h"
#include "../Values/BigEndian.h"
#include "../Values/Decoding.h"
#include "FileMetaDictionary.h"
#include "SourceReading.h"
#include "Velmar/MXF/Checking/Rules.h"
#include "Velmar/MXF/Model/FileRefused.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/MXF/Reading/EditJournal.h"
#include "Velmar/MXF/Reading/Reader.h"
#include "Velmar/MXF/Values/Text.h"
#include "Velmar/SDK/MetaMetadata/Visitors/MetaElementVisitor.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace Velmar::MXF::Reading {

using namespace Model;
using namespace Values;
using namespace KLV;
using namespace Checking;

namespace {

namespace MM = SDK::MetaMetadata;

constexpr std::uint64_t kMaxRunIn = 65535;
// No primer or local set of a real file comes near these; a length read from a file is checked
// against them before anything is allocated for it.
constexpr std::uint64_t kMaxLocalSet = 16 << 20;

[[noreturn]] void refuse(const char* rule, std::uint64_t offset, const std::string& message,
                         int line = __builtin_LINE()) {
    throw FileRefused(rule, offset, message, __FILE__, line);
}

std::string utf8(const XMLCh* text) {
    return SDK::Utils::toUtf8(text).c_str();
}

class Reader {
  public:
    Reader(ByteSource& source, const MM::Dictionary& dictionary, const ReadOptions& options)
        : source_(source),
          dictionary_(dictionary),
          options_(options),
          decoder_(dictionary.typeDefinitions()) {}

    // The header partition and its header metadata come first, in file order, so that a
    // refusal names the first fault in the file; only then are offsets from the random index
    // pack or the footer trusted. Where a later partition holds the header metadata to read
    // (the first closed complete one), it is read instead.
    HeaderMetadata read() {
        result_.fileSize = source_.size();
        findRunIn();
        const Partition header = readPartition(result_.runIn);
        if (headLost_) {
            result_.findings.push_back(
                {"header-missing", result_.runIn, "", std::nullopt, "",
                 std::string("no header partition: the file begins with a ") + header.kindName() +
                     " partition (written at " + std::to_string(header.thisPartition) +
                     " of the file it came from), its head lost; that partition is read, and "
                     "nothing is walked"});
        }
        if (header.headerByteCount != 0) {
            readHeaderMetadata(header);
        }
        if (headLost_) {
            // Offsets in the packs count from a header partition that is not here: no other
            // partition can be found by them, nor checked by a walk.
            result_.partitions.push_back(header);
        } else if (options_.walk) {
            walkFile(source_, result_);  // every partition, in file order
            if (!result_.walk->truncatedAt) {
                footerMissing(header);
            }
        } else {
            readPartitions(header);
        }
        const Partition& holder = headerMetadataPartition();
        if (holder.offset != header.offset) {
            primer_.clear();
            fileOrder_.clear();
            darkSets_.clear();
            unread_.clear();
            metadataFindings_.clear();
            readHeaderMetadata(holder);
        }
        result_.findings.insert(result_.findings.end(), metadataFindings_.begin(),
                                metadataFindings_.end());
        resolveItems();
        placeInTreeOrder();
        checkEssenceAgainstMetadata(result_, result_.sets);
        for (Finding& finding : result_.findings) {
            finding.severity = std::max(finding.severity, ruleSeverity(finding.rule));
        }
        return std::move(result_);
    }

  private:
    // The header partition pack lies within the first 64 KiB.
    void findRunIn() {
        const std::uint64_t span = std::min<std::uint64_t>(source_.size(), kMaxRunIn + 16);
        std::vector<std::uint8_t> start(static_cast<std::size_t>(span));
        if (span < 16 || !source_.read(0, start.data(), start.size())) {
            refuse("no-partition", 0, "no header partition pack in the first 64 KiB");
        }
        // Where there is no header pack: a body or footer pack that is the first packet of the
        // file (no SMPTE label before it), as a file whose head was lost begins.
        std::optional<std::size_t> other;
        bool labelBefore = false;
        for (std::size_t at = 0; at + 16 <= start.size(); ++at) {
            const Bytes16 key = bytes16(start.data() + at);
            if (isPartitionKey(key) && key[13] == 0x02) {
                result_.runIn = at;
                return;
            }
            if (!other && !labelBefore && isPartitionKey(key) &&
                (key[13] == 0x03 || key[13] == 0x04)) {
                other = at;
            }
            labelBefore = labelBefore || isSMPTELabel(key);
        }
        if (!other) {
            refuse("no-partition", 0, "no header partition pack in the first 64 KiB");
        }
        // A file whose head is lost (a transfer that lost its start, a recovery tool's output):
        // the partition it begins with is read, its header metadata too where it has some.
        result_.runIn = *other;
        headLost_ = true;
    }

    Partition readPartition(std::uint64_t offset) { return readPartitionPack(source_, offset); }

    bool partitionAt(std::uint64_t offset) {
        Bytes16 key;
        return offset <= source_.size() && source_.size() - offset >= 16 &&
               source_.read(offset, key.data(), 16) && isPartitionKey(key);
    }

    // The random index pack, where the file ends in one: its last four bytes give its length.
    bool readRandomIndex() {
        const std::uint64_t size = source_.size();
        std::uint8_t tail[4];
        if (size < result_.runIn + 20 || !source_.read(size - 4, tail, 4)) {
            return false;
        }
        const std::uint64_t length = bigEndian(tail, 4);
        if (length < 20 || length > size - result_.runIn) {
            return false;
        }
        Bytes16 key;
        if (!source_.read(size - length, key.data(), 16) || !isRandomIndexKey(key)) {
            return false;
        }
        result_.randomIndex = readRandomIndexPack(source_, readKLVHeader(source_, size - length));
        return true;
    }

    void readPartitions(const Partition& header) {
        const std::uint64_t runIn = result_.runIn;
        std::map<std::uint64_t, Partition> found{{runIn, header}};
        // A pack past the header metadata that cannot be read is a finding, never a refusal:
        // the header metadata is there to read. One that runs past the end was cut short.
        auto add = [&](std::uint64_t relative) {
            if (relative > source_.size() - runIn) {
                return false;
            }
            const std::uint64_t at = runIn + relative;
            if (found.count(at) == 0) {
                try {
                    found.emplace(at, readPartition(at));
                } catch (const FileRefused& refusal) {
                    const std::string rule = refusal.rule();
                    const bool cut = rule == "truncated" || rule == "length-past-end";
                    result_.findings.push_back({cut ? "truncated" : "partition-chain",
                                                cut ? source_.size() : at, "", std::nullopt, "",
                                                "the partition pack at " + std::to_string(at) +
                                                    ": " +
                                                    SDK::Utils::toUtf8(refusal.message()).c_str() +
                                                    (cut ? ": the file was cut short" : "")});
                    return true;  // named where a pack is: no other finding for it
                }
            }
            return true;
        };
        if (readRandomIndex()) {
            // An entry that names no partition is stepped over: the others still hold.
            for (const RandomIndexEntry& entry : *result_.randomIndex) {
                if (!partitionAt(runIn + entry.byteOffset) || !add(entry.byteOffset)) {
                    result_.findings.push_back(
                        {"random-index", source_.size(), "", std::nullopt, "",
                         "the random index pack names offset " + std::to_string(entry.byteOffset) +
                             ", where no partition pack is"});
                }
            }
        } else if (header.footerPartition != 0 && partitionAt(runIn + header.footerPartition)) {
            // Back from the footer: each partition names the one before it, always earlier.
            std::uint64_t at = header.footerPartition;
            std::set<std::uint64_t> seen;
            while (at != 0 && seen.insert(at).second && partitionAt(runIn + at)) {
                add(at);
                if (found.count(runIn + at) == 0) {
                    break;  // a pack that could not be read names nothing before it
                }
                const std::uint64_t previous = found.at(runIn + at).previousPartition;
                if (previous >= at) {
                    break;
                }
                at = previous;
            }
        } else if (header.footerPartition == 0) {
            walkForPartitions(found);
        }
        for (auto& entry : found) {
            result_.partitions.push_back(entry.second);
        }
        footerMissing(header);
        endsWhole();
    }

    // A file ends in its random index pack, else in the last packet of its footer partition.
    // Where it ends in neither, the packets after the footer pack are stepped over to the first
    // that is none, so that a read without the walk says so too: one cut short is a file cut
    // short; bytes that are no packet at all (a copy that ran on, a disk image's zeros) are
    // trailing bytes. The footer's packets are few.
    void endsWhole() {
        if (result_.randomIndex || result_.partitions.empty() ||
            result_.partitions.back().kind != Partition::Kind::Footer) {
            return;
        }
        const std::uint64_t size = source_.size();
        std::uint64_t at = result_.partitions.back().packEnd;
        bool cut = false;
        try {
            while (at < size) {
                const KLVHeader packet = readKLVHeader(source_, at);
                if (packet.end() > size) {
                    cut = true;
                    break;
                }
                at = packet.end();
            }
        } catch (const FileRefused& refusal) {
            // Fewer bytes left than a key holds: cut in a key only where they begin as one.
            static const std::uint8_t kLabel[4] = {0x06, 0x0e, 0x2b, 0x34};
            std::uint8_t head[4] = {};
            const std::size_t left =
                static_cast<std::size_t>(std::min<std::uint64_t>(4, size - at));
            const std::string rule = refusal.rule();
            cut =
                rule == "length-past-end" || (rule == "truncated" && source_.read(at, head, left) &&
                                              std::equal(head, head + left, kLabel));
        }
        if (cut) {
            result_.findings.push_back({"truncated", size, "", std::nullopt, "",
                                        "the file ends at " + std::to_string(size) +
                                            " inside the packet at " + std::to_string(at) +
                                            ", after its footer partition: it was cut short"});
        } else if (at < size) {
            result_.findings.push_back(
                {"trailing-bytes", at, "", std::nullopt, "",
                 std::to_string(size - at) + " bytes from " + std::to_string(at) +
                     " to the file's end are no packet: the file does not end with its footer "
                     "partition or a random index pack"});
        }
    }

    // A footer past the file's end is a file cut short (the walk reports where it ends in a
    // packet); one within it where no pack is, a footer missing.
    void footerMissing(const Partition& header) {
        const std::uint64_t size = source_.size();
        if (header.footerPartition != 0 && header.footerPartition >= size - result_.runIn) {
            if (!result_.walk || !result_.walk->truncatedAt) {
                result_.findings.push_back(
                    {"truncated", size, "", std::nullopt, "",
                     "the file ends at " + std::to_string(size) +
                         ", before the footer partition its header names at " +
                         std::to_string(header.footerPartition) + ": it was cut short"});
            }
        } else if (header.footerPartition != 0 &&
                   !partitionAt(result_.runIn + header.footerPartition)) {
            result_.findings.push_back({"footer-missing", std::nullopt, "", std::nullopt, "",
                                        "the header partition names a footer at " +
                                            std::to_string(header.footerPartition) +
                                            ", where no partition pack is"});
        }
    }

    // A file that names no footer (one still being written): every packet is stepped over by
    // its length to find the partition packs.
    void walkForPartitions(std::map<std::uint64_t, Partition>& found) {
        std::uint64_t at = found.begin()->second.packEnd;
        while (at < source_.size()) {
            // Dark sets of the header metadata among them: any key is stepped over.
            const KLVHeader header = readKLVHeader(source_, at, Keys::Any);
            if (isPartitionKey(header.key) && found.count(at) == 0) {
                found.emplace(at, readPartition(at));
            }
            at = header.end();
        }
    }

    const Partition& headerMetadataPartition() {
        using Metadata = ReadOptions::Metadata;
        const std::vector<Partition>& all = result_.partitions;
        const Partition* chosen = nullptr;
        if (options_.partition) {
            for (const Partition& p : all) {
                chosen = p.offset == *options_.partition ? &p : chosen;
            }
        }
        if (chosen != nullptr && chosen->headerByteCount != 0) {
            return *chosen;
        }
        chosen = nullptr;
        if (options_.metadata == Metadata::Header && !all.empty() &&
            all.front().kind == Partition::Kind::Header) {
            chosen = &all.front();
        } else if (options_.metadata == Metadata::Footer) {
            for (const Partition& p : all) {
                chosen = p.headerByteCount != 0 ? &p : chosen;  // the last that has some
            }
        } else if (options_.metadata == Metadata::Body) {
            for (const Partition& p : all) {
                if (chosen == nullptr && p.kind == Partition::Kind::Body &&
                    p.headerByteCount != 0) {
                    chosen = &p;
                }
            }
        }
        if (chosen != nullptr && chosen->headerByteCount != 0) {
            return *chosen;
        }
        for (const Partition& p : result_.partitions) {
            if (p.closed && p.complete && p.headerByteCount != 0) {
                return p;
            }
        }
        for (const Partition& p : result_.partitions) {
            if (p.headerByteCount != 0) {
                return p;
            }
        }
        refuse("no-header-metadata", result_.runIn, "no partition holds header metadata");
    }

    void readHeaderMetadata(const Partition& partition) {
        std::uint64_t at = partition.packEnd;
        KLVHeader header = readKLVHeader(source_, at);
        while (isFillKey(header.key)) {
            at = header.end();
            header = readKLVHeader(source_, at);
        }
        if (!isPrimerKey(header.key)) {
            refuse("bad-primer", at, "no primer pack where the header metadata starts");
        }
        // A byte count past the file's end is a file cut short: what is there is read, in
        // order, so that a fault before the cut is named first.
        const std::uint64_t left = source_.size() - at;
        const bool cut = partition.headerByteCount > left;
        const std::uint64_t end = cut ? source_.size() : at + partition.headerByteCount;
        readPrimer(partition, header, end);
        at = header.end();
        while (at < end) {
            // A private key (an AUID holding a UUID, say) is a dark set, stepped over by its
            // length; only a length that cannot be stepped over is refused.
            header = readKLVHeader(source_, at, Keys::Any);
            if (header.end() > end) {
                refuse("bad-local-set", at,
                       "a packet of " + std::to_string(header.length) +
                           " bytes that runs past the header metadata's end at " +
                           std::to_string(end));
            }
            if (isFillKey(header.key)) {
            } else if (isLocalSetKey(header.key)) {
                fileOrder_.push_back(readLocalSet(header));
            } else if (isNonConformantSetKey(header.key) && parsesAsLocalSet(header)) {
                fileOrder_.push_back(readLocalSet(header));
                metadataFindings_.push_back(
                    {"non-conformant-key", header.offset, "", std::nullopt, "",
                     "a local set whose key has the registry designator " +
                         dottedHex(header.key.data() + 5, 1) +
                         " where 53 is due: " + dottedHex(header.key.data(), 16)});
            } else if (!isSMPTELabel(header.key) && parsesAsLocalSet(header)) {
                // Kept until the file's metadictionary says whether it defines the class.
                darkSets_.insert(header.offset);
                fileOrder_.push_back(readLocalSet(header));
                keepUnread(header);
            } else if (!isSMPTELabel(header.key)) {
                metadataFindings_.push_back(darkSet(header.offset, header.key));
                keepUnread(header);
            } else {
                metadataFindings_.push_back(
                    {"unknown-set", header.offset, "", std::nullopt, "",
                     "a packet that is no local set: " + dottedHex(header.key.data(), 16)});
                keepUnread(header);
            }
            at = header.end();
        }
        if (cut) {
            refuse("truncated", source_.size(),
                   "the file ends in the header metadata, whose byte count of " +
                       std::to_string(partition.headerByteCount) + " runs " +
                       std::to_string(partition.headerByteCount - left) + " bytes past it");
        }
    }

    void readPrimer(const Partition& partition, const KLVHeader& header, std::uint64_t end) {
        if (header.end() > end) {
            refuse("bad-primer", header.offset, "the primer pack runs past the header metadata");
        }
        const std::vector<std::uint8_t> v =
            readValue(source_, header, end - header.valueOffset, "bad-primer", "a primer pack");
        const std::uint64_t count = v.size() >= 8 ? bigEndian(v.data(), 4) : 0;
        const std::uint64_t itemSize = v.size() >= 8 ? bigEndian(v.data() + 4, 4) : 0;
        if (v.size() < 8 || itemSize != 18 || (v.size() - 8) % 18 != 0 ||
            (v.size() - 8) / 18 != count) {
            refuse("bad-primer", header.offset,
                   "the batch says " + std::to_string(count) + " entries of " +
                       std::to_string(itemSize) + " bytes in " +
                       std::to_string(v.size() < 8 ? 0 : v.size() - 8) +
                       " bytes (entries are 18 bytes)");
        }
        result_.primer = Primer{};  // another partition's, read before, gives way
        result_.primer.partitionOffset = partition.offset;
        result_.primer.offset = header.offset;
        result_.primer.key = header.key;
        result_.primer.lengthSize =
            static_cast<std::uint8_t>(header.valueOffset - header.offset - 16);
        for (std::size_t at = 8; at < v.size(); at += 18) {
            const auto tag = static_cast<std::uint16_t>(bigEndian(v.data() + at, 2));
            if (!primer_.emplace(tag, bytes16(v.data() + at + 2)).second) {
                refuse("bad-primer", header.valueOffset + at,
                       "local tag " + dottedHex(v.data() + at, 2) + " is mapped twice");
            }
            result_.primer.entries.emplace_back(tag, bytes16(v.data() + at + 2));
        }
    }

    // A packet of the header metadata that may end up in no set, whole (within the header
    // metadata's bounds, checked before).
    void keepUnread(const KLVHeader& header) {
        UnreadPacket packet;
        packet.offset = header.offset;
        packet.bytes.resize(static_cast<std::size_t>(header.end() - header.offset));
        if (!source_.read(header.offset, packet.bytes.data(), packet.bytes.size())) {
            refuse("bad-local-set", header.offset, "a packet that cannot be read whole");
        }
        unread_.push_back(std::move(packet));
    }

    static Finding darkSet(std::uint64_t offset, const Bytes16& key) {
        return {"unknown-set",
                offset,
                "",
                std::nullopt,
                "",
                "a dark set, whose key is no SMPTE label: " + dottedHex(key.data(), 16)};
    }

    // Whether the value is a run of 2-byte tags and 2-byte lengths that ends where it does.
    bool parsesAsLocalSet(const KLVHeader& header) {
        if (header.length > kMaxLocalSet) {
            return false;
        }
        const std::vector<std::uint8_t> v =
            readValue(source_, header, kMaxLocalSet, "bad-local-set", "a local set");
        std::size_t at = 0;
        while (v.size() - at >= 4) {
            const std::size_t length = static_cast<std::size_t>(bigEndian(v.data() + at + 2, 2));
            if (length > v.size() - at - 4) {
                return false;
            }
            at += 4 + length;
        }
        return at == v.size();
    }

    LocalSet readLocalSet(const KLVHeader& header) {
        const std::vector<std::uint8_t> v =
            readValue(source_, header, kMaxLocalSet, "bad-local-set", "a local set");
        LocalSet set;
        set.offset = header.offset;
        set.key = header.key;
        set.lengthSize = static_cast<std::uint8_t>(header.valueOffset - header.offset - 16);
        for (std::size_t at = 0; at < v.size();) {
            if (v.size() - at < 4) {
                refuse("bad-local-set", header.valueOffset + at, "an item past its set");
            }
            const std::size_t length = static_cast<std::size_t>(bigEndian(v.data() + at + 2, 2));
            if (length > v.size() - at - 4) {
                refuse("bad-local-set", header.valueOffset + at,
                       "an item of " + std::to_string(length) + " bytes past its set");
            }
            Item item;
            item.offset = header.valueOffset + at;
            item.tag = static_cast<std::uint16_t>(bigEndian(v.data() + at, 2));
            item.bytes.assign(v.begin() + static_cast<std::ptrdiff_t>(at + 4),
                              v.begin() + static_cast<std::ptrdiff_t>(at + 4 + length));
            set.items.push_back(std::move(item));
            at += 4 + length;
        }
        return set;
    }

    Finding& find(LocalSet& set, std::string rule, const Item* item, std::string message) {
        Finding finding{std::move(rule), set.offset, set.name(),
                        std::nullopt,    "",         std::move(message)};
        if (item != nullptr) {
            finding.tag = item->tag;
            finding.itemName = item->name();
        }
        result_.findings.push_back(std::move(finding));
        return result_.findings.back();
    }

    // An item the file's metadictionary defines: named and typed by it, decoded where its type
    // is a registered one or one the metadictionary gives as an integer, string or reference;
    // what is found of it is only that the dictionary lacks it.
    void readFileDefined(LocalSet& set, Item& item, const FileMetaDictionary::Property& defined,
                         const FileMetaDictionary& meta) {
        const MM::TypeDefinitions& types = dictionary_.typeDefinitions();
        Decoded decoded;
        std::string typeName = dottedHex(defined.type.data(), 16);
        Bytes16 typeId = defined.type;
        for (int depth = 0; depth < 8; ++depth) {  // renames of renames, bounded
            if (const MM::TypeDefinition* registered = types.type(typeId.data())) {
                typeName = depth == 0 ? std::string(registered->symbol) : typeName;
                item.type = registered;
                decoded = decoder_.decode(nullptr, registered, item.bytes);
                noteStrongReferences(item, *registered);
                break;
            }
            const FileMetaDictionary::Type* type = meta.type(typeId);
            if (type == nullptr) {
                break;
            }
            typeName = depth == 0 ? type->name : typeName;
            const std::vector<std::uint8_t>& b = item.bytes;
            using Kind = FileMetaDictionary::Type::Kind;
            if (type->kind == Kind::Rename && type->renamed) {
                typeId = *type->renamed;
                continue;
            }
            if (type->kind == Kind::Integer && type->size >= 1 && type->size <= 8) {
                if (b.size() != type->size) {
                    decoded.badSize = std::to_string(b.size()) + " bytes where " + type->name +
                                      " has " + std::to_string(type->size);
                } else if (type->isSigned) {
                    const unsigned shift = 64 - 8 * type->size;
                    decoded.value = Value::signedInteger(
                        static_cast<std::int64_t>(bigEndian(b.data(), b.size()) << shift) >> shift);
                } else {
                    decoded.value = Value::unsignedInteger(bigEndian(b.data(), b.size()));
                }
            } else if (type->kind == Kind::String) {
                bool replaced = false;
                decoded.value =
                    Value::text(decodeText(b.data(), b.size(), TextEncoding::UTF16BE, replaced));
            } else if ((type->kind == Kind::StrongReference || type->kind == Kind::WeakReference) &&
                       b.size() == 16) {
                if (type->kind == Kind::StrongReference) {
                    fileReferences_[&item] = {b};
                }
                decoded.value =
                    Value::text(type->kind == Kind::StrongReference ? uuidText(bytes16(b.data()))
                                                                    : dottedHex(b.data(), 16));
            }
            break;
        }
        item.fileDefinition = FileDefinition{defined.name, typeName};
        item.value = std::move(decoded.value);
        find(set, "unknown-element", &item,
             "the dictionary has no element " + dottedHex(item.label->data(), 16) +
                 "; the file's metadictionary defines it as " + defined.name)
            .severity = Severity::Info;
        if (!decoded.badSize.empty()) {
            find(set, "bad-size", &item, decoded.badSize).severity = Severity::Info;
        }
    }

    // A file-defined item of a registered strong reference type, or of an array or set of
    // them: the sets it owns are its children in the tree, as a registered item's are.
    void noteStrongReferences(const Item& item, const MM::TypeDefinition& type) {
        const MM::TypeDefinitions& types = dictionary_.typeDefinitions();
        const MM::TypeDefinition* resolved = types.resolve(type);
        if (resolved == nullptr) {
            return;
        }
        const std::vector<std::uint8_t>& b = item.bytes;
        if (resolved->kind == MM::TypeKind::StrongReference && b.size() == 16) {
            fileReferences_[&item] = {b};
            return;
        }
        const MM::TypeDefinition* base =
            resolved->base && (resolved->kind == MM::TypeKind::VariableArray ||
                               resolved->kind == MM::TypeKind::Set)
                ? types.type(*resolved->base)
                : nullptr;
        base = base ? types.resolve(*base) : nullptr;
        if (base == nullptr || base->kind != MM::TypeKind::StrongReference || b.size() < 8 ||
            bigEndian(b.data() + 4, 4) != 16 || (b.size() - 8) % 16 != 0 ||
            (b.size() - 8) / 16 != bigEndian(b.data(), 4)) {
            return;
        }
        std::vector<std::vector<std::uint8_t>>& references = fileReferences_[&item];
        for (std::size_t at = 8; at < b.size(); at += 16) {
            references.emplace_back(b.begin() + static_cast<std::ptrdiff_t>(at),
                                    b.begin() + static_cast<std::ptrdiff_t>(at + 16));
        }
    }

    // Tags below 8000 are static: the same in every file, so the dictionary may know them.
    const SDK::Types::UniversalLabel* staticTag(std::uint16_t tag) const {
        if (tag == 0 || tag >= 0x8000) {
            return nullptr;
        }
        return dictionary_.universalLabel(SDK::Types::LocalTag(tag));
    }

    static std::string elementName(const MM::MetaElement* element) {
        return element == nullptr ? std::string() : utf8(element->getProperty(u"name"));
    }

    void resolveItems() {
        const FileMetaDictionary meta(fileOrder_, [&](std::uint16_t tag) -> std::optional<Bytes16> {
            const auto mapped = primer_.find(tag);
            if (mapped != primer_.end()) {
                return mapped->second;
            }
            const SDK::Types::UniversalLabel* known = staticTag(tag);
            return known ? std::optional<Bytes16>(bytes16(known->bytes())) : std::nullopt;
        });
        // Dark sets whose class the file does not define stay dark: stepped over, unread, and
        // kept whole; those it defines are sets of the tree.
        std::set<std::uint64_t> readAsSets;
        if (!darkSets_.empty()) {
            std::vector<LocalSet> kept;
            for (LocalSet& set : fileOrder_) {
                if (darkSets_.count(set.offset) != 0 && meta.className(set.key) == nullptr) {
                    result_.findings.push_back(darkSet(set.offset, set.key));
                } else {
                    readAsSets.insert(set.offset);
                    kept.push_back(std::move(set));
                }
            }
            fileOrder_ = std::move(kept);
        }
        for (UnreadPacket& packet : unread_) {
            if (readAsSets.count(packet.offset) == 0) {
                result_.unreadPackets.push_back(std::move(packet));
            }
        }
        unread_.clear();
        for (LocalSet& set : fileOrder_) {
            set.definition = dictionary_.findMetaMetadataSet(SDK::KLV::Key(set.key.data()));
            if (set.definition == nullptr) {
                const std::string* defined = meta.className(set.key);
                if (defined != nullptr) {
                    set.fileDefinition = FileDefinition{*defined, ""};
                }
                find(set, "unknown-set", nullptr,
                     "the dictionary has no set " + dottedHex(set.key.data(), 16) +
                         (defined ? "; the file's metadictionary defines it as " + *defined
                                  : std::string()));
            }
            SetDefinitionRules definitionRules(set);
            for (Item& item : set.items) {
                const auto mapped = primer_.find(item.tag);
                std::optional<Bytes16> label;
                if (mapped != primer_.end()) {
                    label = mapped->second;
                } else if (const SDK::Types::UniversalLabel* known = staticTag(item.tag)) {
                    // A static tag the primer left out: the dictionary says what it stands for.
                    label = bytes16(known->bytes());
                    find(set, "unknown-tag", &item,
                         "local tag " + tagText(item.tag) +
                             " is not in the primer; read as the dictionary's static tag of " +
                             dottedHex(label->data(), 16));
                } else if (const FileMetaDictionary::Property* p = meta.propertyByTag(item.tag)) {
                    label = p->identification;
                    find(set, "unknown-tag", &item,
                         "local tag " + tagText(item.tag) +
                             " is not in the primer; the file's metadictionary gives it to " +
                             p->name)
                        .severity = Severity::Info;
                } else {
                    find(set, "unknown-tag", &item,
                         "local tag " + tagText(item.tag) + " is not in the primer");
                    continue;
                }
                item.label = label;
                if (isInstanceUIDLabel(*label) && item.bytes.size() == 16) {
                    set.instanceUID = bytes16(item.bytes.data());
                    instanceItems_[&set] = &item;
                }
                item.element =
                    dictionary_.findMetaElement(SDK::Types::UniversalLabel(label->data()));
                if (item.element == nullptr) {
                    const FileMetaDictionary::Property* defined = meta.property(*label);
                    if (defined == nullptr) {
                        find(set, "unknown-element", &item,
                             "the dictionary has no element " + dottedHex(label->data(), 16));
                        continue;
                    }
                    readFileDefined(set, item, *defined, meta);
                    continue;
                }
                definitionRules.itemRead(item, result_.findings);
                item.type = dictionary_.typeOf(*item.element);
                Decoded decoded = decoder_.decode(item.element, item.type, item.bytes);
                if (!decoded.badSize.empty()) {
                    find(set, "bad-size", &item, decoded.badSize);
                }
                if (!decoded.unknownEnumeration.empty()) {
                    find(set, "unknown-enumeration-value", &item, decoded.unknownEnumeration);
                }
                if (!decoded.invalidText.empty()) {
                    find(set, "invalid-text", &item, decoded.invalidText);
                }
                item.value = std::move(decoded.value);
            }
            definitionRules.setRead(result_.findings);
        }
        for (std::size_t i = 0; i < fileOrder_.size(); ++i) {
            LocalSet& set = fileOrder_[i];
            if (set.instanceUID && !byInstance_.emplace(*set.instanceUID, i).second) {
                find(set, "duplicate-instance-uid", instanceItems_.at(&set),
                     "InstanceUID " + uuidText(*set.instanceUID) + " is also the set's at " +
                         std::to_string(fileOrder_[byInstance_.at(*set.instanceUID)].offset));
            }
        }
    }

    // A set a strong reference leads to, and the item that holds the reference.
    struct Child {
        std::size_t set;
        const Item* item;
    };

    // The sets an item's strong references lead to, checking each against the dictionary.
    std::vector<Child> children(std::size_t index) {
        std::vector<Child> targets;
        LocalSet& set = fileOrder_[index];
        for (const Item& item : set.items) {
            const auto byFile = fileReferences_.find(&item);
            if (item.element == nullptr && byFile == fileReferences_.end()) {
                continue;
            }
            MM::Visitors::GetMetaElementVisitor<MM::MetaReferenceHolder> reference;
            if (item.element != nullptr) {
                item.element->accept(reference);
            }
            for (const auto& uid : item.element != nullptr
                                       ? strongReferences(*item.element, item.bytes)
                                       : byFile->second) {
                const auto target = byInstance_.find(bytes16(uid.data()));
                if (target == byInstance_.end() && bytes16(uid.data()) == Bytes16{}) {
                    // Some writers put a nil reference where the item should be left out.
                    Finding& f = find(set, "dangling-reference", &item,
                                      "a nil reference (all zero), which refers to no set");
                    f.severity = Severity::Warning;
                    continue;
                }
                if (target == byInstance_.end()) {
                    find(set, "dangling-reference", &item,
                         "no set has InstanceUID " + uuidText(bytes16(uid.data())));
                    continue;
                }
                const LocalSet& to = fileOrder_[target->second];
                // A set the dictionary does not know is unknown-set already; what it is, the
                // dictionary cannot tell, so the reference to it is not found wrong.
                if (reference.result() != nullptr && to.definition != nullptr) {
                    const auto& keys = reference.result()->targetSets();
                    if (std::find(keys.begin(), keys.end(), to.definition->key()) == keys.end()) {
                        find(set, "wrong-target", &item,
                             to.name() + " is not among the sets " + elementName(item.element) +
                                 " may refer to");
                    }
                }
                targets.push_back({target->second, &item});
            }
        }
        return targets;
    }

    // Depth first from the root; a set is placed once, at its first reference, and a reference
    // to an ancestor is a cycle, not followed. A stack of its own: nesting has no bound.
    void walk(std::size_t root, std::vector<bool>& placed) {
        struct Frame {
            std::size_t set;
            std::vector<Child> children;
            std::size_t next = 0;
        };
        std::vector<Frame> stack;
        std::vector<bool> onStack(fileOrder_.size(), false);
        auto place = [&](std::size_t index, const std::optional<Bytes16>& parent) {
            placed[index] = true;
            onStack[index] = true;
            LocalSet copy = fileOrder_[index];
            copy.depth = stack.size();
            copy.parent = parent;
            result_.sets.push_back(std::move(copy));
            stack.push_back({index, children(index)});
        };
        place(root, std::nullopt);
        while (!stack.empty()) {
            Frame& frame = stack.back();
            if (frame.next == frame.children.size()) {
                onStack[frame.set] = false;
                stack.pop_back();
                continue;
            }
            const Child& next = frame.children[frame.next++];
            const std::size_t child = next.set;
            if (onStack[child]) {
                LocalSet& from = fileOrder_[frame.set];
                find(from, "reference-cycle", next.item,
                     "a reference back to " + fileOrder_[child].name() + " at " +
                         std::to_string(fileOrder_[child].offset) + ", which holds this set");
            } else if (!placed[child]) {
                place(child, fileOrder_[frame.set].instanceUID);
            }
        }
    }

    void placeInTreeOrder() {
        std::vector<bool> placed(fileOrder_.size(), false);
        std::size_t preface = fileOrder_.size();
        for (std::size_t i = 0; i < fileOrder_.size() && preface == fileOrder_.size(); ++i) {
            if (isPrefaceKey(fileOrder_[i].key)) {
                preface = i;
            }
        }
        if (preface == fileOrder_.size()) {
            result_.findings.push_back(
                {"no-preface", std::nullopt, "", std::nullopt, "", "the header has no Preface"});
        } else {
            walk(preface, placed);
        }
        for (std::size_t i = 0; i < fileOrder_.size(); ++i) {
            if (!placed[i]) {
                walk(i, placed);
            }
        }
    }

    ByteSource& source_;
    const MM::Dictionary& dictionary_;
    const ReadOptions& options_;
    bool headLost_ = false;  // the file begins with a body or footer partition
    ItemDecoder decoder_;    // of every item read, remembering the types it looked up
    HeaderMetadata result_;
    std::unordered_map<std::uint16_t, Bytes16> primer_;
    std::vector<LocalSet> fileOrder_;
    std::unordered_map<Bytes16, std::size_t, Bytes16Hash> byInstance_;
    std::unordered_map<const LocalSet*, const Item*> instanceItems_;  // each set's InstanceUID
    std::vector<Finding> metadataFindings_;  // of the header metadata read, after the partitions
    std::set<std::uint64_t> darkSets_;       // sets of private keys read, by offset
    std::vector<UnreadPacket> unread_;       // packets that may be in no set, whole
    // The references of items the file's metadictionary types as strong references.
    std::unordered_map<const Item*, std::vector<std::vector<std::uint8_t>>> fileReferences_;
};

}  // namespace

std::optional<ReadOptions::Metadata> metadataPartitionNamed(std::string_view name) {
    using Metadata = ReadOptions::Metadata;
    return name == "header"   ? std::optional<Metadata>(Metadata::Header)
           : name == "footer" ? std::optional<Metadata>(Metadata::Footer)
           : name == "body"   ? std::optional<Metadata>(Metadata::Body)
           : name == "auto"   ? std::optional<Metadata>(Metadata::FirstClosedComplete)
                              : std::nullopt;
}

HeaderMetadata readHeaderMetadata(const char* path, const MM::Dictionary& dictionary) {
    return readHeaderMetadata(path, dictionary, ReadOptions{});
}

HeaderMetadata readHeaderMetadata(const std::uint8_t* data, std::size_t size,
                                  const MM::Dictionary& dictionary) {
    return readHeaderMetadata(data, size, dictionary, ReadOptions{});
}

HeaderMetadata readHeaderMetadata(const char* path, const MM::Dictionary& dictionary,
                                  const ReadOptions& options) {
    FileSource source(path);
    HeaderMetadata header = Reader(source, dictionary, options).read();
    // Said first: what follows was read from a file an edit may have left half written.
    if (std::optional<Finding> interrupted = interruptedEdit(path)) {
        interrupted->severity = ruleSeverity(interrupted->rule);
        header.findings.insert(header.findings.begin(), std::move(*interrupted));
    }
    return header;
}

HeaderMetadata readHeaderMetadata(ByteSource& source, const MM::Dictionary& dictionary,
                                  const ReadOptions& options) {
    return Reader(source, dictionary, options).read();
}

HeaderMetadata readHeaderMetadata(const std::uint8_t* data, std::size_t size,
                                  const MM::Dictionary& dictionary, const ReadOptions& options) {
    MemorySource source(data, size);
    return Reader(source, dictionary, options).read();
}

}  // namespace Velmar::MXF::Reading
