// Header metadata into a file: each copy replaced where it stands, or the file laid out anew
// with more room, and the result read back before (as it would be) and after it is written.
#include "Velmar/MXF/Writing/FileWriting.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <set>

#include "../KLV/Labels.h"
#include "../KLV/Packets.h"
#include "../Reading/SourceReading.h"
#include "../Values/BigEndian.h"
#include "Velmar/MXF/Model/FileRefused.h"
#include "Velmar/MXF/Reading/EditJournal.h"
#include "Velmar/MXF/Values/Text.h"
#include "Velmar/MXF/Writing/CopyEditing.h"
#include "Velmar/MXF/Writing/HeaderMetadataWriting.h"
#include "Velmar/SDK/Utils/StringConversion.h"

namespace Velmar::MXF::Writing {

using namespace Model;
using namespace Values;
using namespace KLV;
using namespace Reading;

NoRoom::NoRoom(const std::string& message, std::uint64_t needed, const char* sourceFile,
               int sourceLine)
    : EditRefused(message, sourceFile, sourceLine), needed_(needed) {}

NoRoom::~NoRoom() = default;

WriteFailed::WriteFailed(const std::string& message, const char* sourceFile, int sourceLine)
    : EditRefused(message, sourceFile, sourceLine) {}

WriteFailed::~WriteFailed() = default;

namespace {

namespace MM = SDK::MetaMetadata;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint64_t kLeastFill = 17;  // a key and a one-byte length
constexpr std::uint32_t kMostKAG = 1u << 20;
constexpr std::uint64_t kStep = 64u << 20;  // bytes copied between starts of writing back

[[noreturn]] void failed(const std::string& message) {
    throw WriteFailed(message, __FILE__, __LINE__);
}

// A fill packet of exactly `size` bytes (at least kLeastFill), its value zero.
Bytes fillPacket(const Bytes16& key, std::uint64_t size) {
    Bytes out(key.begin(), key.end());
    for (const std::size_t lengthBytes : {0u, 3u, 7u, 8u}) {
        const std::uint64_t header = 16 + 1 + lengthBytes;
        if (size < header) {
            continue;
        }
        const std::uint64_t length = size - header;
        if (lengthBytes == 0 ? length < 0x80
                             : lengthBytes == 8 || length >> (8 * lengthBytes) == 0) {
            if (lengthBytes == 0) {
                out.push_back(static_cast<std::uint8_t>(length));
            } else {
                out.push_back(static_cast<std::uint8_t>(0x80 | lengthBytes));
                out.resize(out.size() + lengthBytes);
                storeBigEndian(out.data() + out.size() - lengthBytes, length, lengthBytes);
            }
            out.resize(static_cast<std::size_t>(size), 0);
            return out;
        }
    }
    return out;  // not reached for size >= kLeastFill
}

// A copy of the header metadata in the file: its partition, where it starts (the primer) and
// the room it has (the partition's header byte count), and the fill key its writer used.
struct Copy {
    std::uint64_t partition = 0;  // the pack's offset in the file
    std::uint64_t start = 0;
    std::uint64_t size = 0;
    Bytes16 fillKey{0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x02,
                    0x03, 0x01, 0x02, 0x10, 0x01, 0x00, 0x00, 0x00};
};

std::vector<Copy> copiesOf(ByteSource& source, const HeaderMetadata& read) {
    std::vector<Copy> copies;
    for (const Partition& partition : read.partitions) {
        if (partition.headerByteCount == 0) {
            continue;
        }
        Copy copy;
        copy.partition = partition.offset;
        KLVHeader klv = readKLVHeader(source, partition.packEnd);
        while (isFillKey(klv.key)) {
            klv = readKLVHeader(source, klv.end());
        }
        if (!isPrimerKey(klv.key)) {
            failed("the partition at " + std::to_string(partition.offset) +
                   " has no primer pack where its header metadata starts");
        }
        copy.start = klv.offset;
        copy.size = partition.headerByteCount;
        if (copy.size > source.size() - copy.start) {
            failed("the header metadata of the partition at " + std::to_string(partition.offset) +
                   " runs past the file's end");
        }
        // The fill its writer used, where the copy ends in one.
        for (std::uint64_t at = copy.start; at < copy.start + copy.size;) {
            const KLVHeader packet = readKLVHeader(source, at, Keys::Any);
            if (isFillKey(packet.key)) {
                copy.fillKey = packet.key;
            }
            if (packet.end() <= at) {
                break;
            }
            at = packet.end();
        }
        copies.push_back(copy);
    }
    return copies;
}

// A stretch of the source replaced by other bytes.
struct Edit {
    std::uint64_t start = 0;
    std::uint64_t end = 0;
    Bytes bytes;
};

// The file as it will be: stretches of the source and the bytes that replace others, readable
// before a byte of it is written.
class Layout : public ByteSource {
  public:
    struct Piece {
        std::uint64_t at = 0;  // in the new file
        std::uint64_t length = 0;
        std::uint64_t from = 0;  // in the source, where `edit` is none
        const Edit* edit = nullptr;
    };

    Layout(ByteSource& source, const std::vector<Edit>& edits) : source_(source) {
        std::uint64_t from = 0, at = 0;
        for (const Edit& edit : edits) {
            if (edit.start > from) {
                pieces_.push_back({at, edit.start - from, from, nullptr});
                at += edit.start - from;
            }
            if (!edit.bytes.empty()) {
                pieces_.push_back({at, edit.bytes.size(), 0, &edit});
                at += edit.bytes.size();
            }
            from = edit.end;
        }
        if (source.size() > from) {
            pieces_.push_back({at, source.size() - from, from, nullptr});
            at += source.size() - from;
        }
        size_ = at;
    }

    std::uint64_t size() const override { return size_; }

    bool read(std::uint64_t offset, std::uint8_t* into, std::size_t size) override {
        if (offset > size_ || size > size_ - offset) {
            return false;
        }
        auto piece = std::upper_bound(pieces_.begin(), pieces_.end(), offset,
                                      [](std::uint64_t o, const Piece& p) { return o < p.at; });
        --piece;
        while (size > 0) {
            const std::uint64_t within = offset - piece->at;
            const std::size_t take =
                static_cast<std::size_t>(std::min<std::uint64_t>(size, piece->length - within));
            if (piece->edit != nullptr) {
                std::memcpy(into, piece->edit->bytes.data() + within, take);
            } else if (!source_.read(piece->from + within, into, take)) {
                return false;
            }
            into += take;
            offset += take;
            size -= take;
            ++piece;
        }
        return true;
    }

    const std::vector<Piece>& pieces() const { return pieces_; }

  private:
    ByteSource& source_;
    std::vector<Piece> pieces_;
    std::uint64_t size_ = 0;
};

// Findings as what they say about which set and item, so that a file laid out anew (its
// offsets moved) compares with its source.
std::multiset<std::string> findingKeys(const HeaderMetadata& read) {
    std::multiset<std::string> keys;
    for (const Finding& f : read.findings) {
        keys.insert(f.rule + "|" + f.setName + "|" + f.itemName);
    }
    return keys;
}

std::string newFinding(const HeaderMetadata& before, const HeaderMetadata& after) {
    std::multiset<std::string> had = findingKeys(before);
    for (const Finding& f : after.findings) {
        const auto found = had.find(f.rule + "|" + f.setName + "|" + f.itemName);
        if (found == had.end()) {
            return f.rule + ": " + f.message;
        }
        had.erase(found);
    }
    return {};
}

class Descriptor {
  public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return fd_; }

  private:
    int fd_;
};

void writeAll(int fd, const std::uint8_t* data, std::size_t size, std::uint64_t offset,
              const std::string& path) {
    while (size > 0) {
        const ssize_t done = ::pwrite(fd, data, size, static_cast<off_t>(offset));
        if (done < 0 && errno == EINTR) {
            continue;
        }
        if (done <= 0) {
            failed("cannot write " + path + ": " + std::strerror(errno));
        }
        data += done;
        size -= static_cast<std::size_t>(done);
        offset += static_cast<std::uint64_t>(done);
    }
}

// The source's bytes into the new file: by the kernel where it can, else through a buffer.
void copyRange(int from, std::uint64_t fromOffset, int to, std::uint64_t toOffset,
               std::uint64_t length, const std::string& path) {
    bool kernel = true;
    while (length > 0 && kernel) {
        loff_t in = static_cast<loff_t>(fromOffset), out = static_cast<loff_t>(toOffset);
        // In steps whose writing back starts at once: the sync before the rename then finds
        // little left to write, and the disk works while the copy goes on.
        const ssize_t done =
            ::copy_file_range(from, &in, to, &out,
                              static_cast<std::size_t>(std::min<std::uint64_t>(length, kStep)), 0);
        if (done < 0 && errno == EINTR) {
            continue;
        }
        if (done <= 0) {
            kernel = false;
            break;
        }
        ::sync_file_range(to, static_cast<off_t>(toOffset), done, SYNC_FILE_RANGE_WRITE);
        fromOffset += static_cast<std::uint64_t>(done);
        toOffset += static_cast<std::uint64_t>(done);
        length -= static_cast<std::uint64_t>(done);
    }
    std::vector<std::uint8_t> buffer(1 << 20);
    while (length > 0) {
        const std::size_t take =
            static_cast<std::size_t>(std::min<std::uint64_t>(length, buffer.size()));
        const ssize_t got = ::pread(from, buffer.data(), take, static_cast<off_t>(fromOffset));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            failed("cannot read the source: " + std::string(std::strerror(errno)));
        }
        writeAll(to, buffer.data(), static_cast<std::size_t>(got), toOffset, path);
        fromOffset += static_cast<std::uint64_t>(got);
        toOffset += static_cast<std::uint64_t>(got);
        length -= static_cast<std::uint64_t>(got);
    }
}

void step(const WriteOptions& options, const char* name) {
    if (options.beforeStep) {
        options.beforeStep(name);
    }
}

std::string folderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

bool sameFile(const std::string& a, const std::string& b) {
    struct stat first {
    }, second{};
    return ::stat(a.c_str(), &first) == 0 && ::stat(b.c_str(), &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

// A new file is written beside OUT as ".OUT.xsddict-PID-XXXXXX" and renamed when whole.
std::string outputPattern(const std::string& output) {
    const std::size_t slash = output.rfind('/');
    return folderOf(output) + "/." +
           (slash == std::string::npos ? output : output.substr(slash + 1)) + ".xsddict-";
}

// What stopped runs left behind: files named PATTERN + PID + "-XXXXXX" of a process that is no
// more. Never another program's file, nor one a running xsddict is writing.
void removeStale(const std::string& pattern) {
    const std::string folder = folderOf(pattern);
    const std::string prefix = pattern.substr(pattern.rfind('/') + 1);
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(::opendir(folder.c_str()), &::closedir);
    if (!entries) {
        return;
    }
    while (const dirent* entry = ::readdir(entries.get())) {
        const std::string name = entry->d_name;
        if (name.compare(0, prefix.size(), prefix) != 0) {
            continue;
        }
        char* end = nullptr;
        const long pid = std::strtol(name.c_str() + prefix.size(), &end, 10);
        if (pid > 0 && end != nullptr && *end == '-' && std::strlen(end) == 7 &&
            ::kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH) {
            ::unlink((folder + "/" + name).c_str());
        }
    }
}

// A file written whole under a temporary name (PATTERN + PID + "-XXXXXX") before it is renamed.
std::string temporaryName(const std::string& pattern) {
    return pattern + std::to_string(::getpid()) + "-XXXXXX";
}

bool syncFolderOf(const std::string& path) {
    const Descriptor folder(::open(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return folder.get() >= 0 && ::fsync(folder.get()) == 0;
}

// The journal written beside the file before the file changes: whole under a temporary name,
// synced, renamed, and its folder synced, so that a journal is there whole or not at all.
void writeJournal(const std::string& file, const EditJournal& journal) {
    const std::string path = editJournalPath(file);
    const std::vector<std::uint8_t> bytes = editJournalBytes(journal);
    std::string temporary = temporaryName(path + "-");
    std::vector<char> name(temporary.begin(), temporary.end());
    name.push_back('\0');
    const Descriptor fd(::mkostemp(name.data(), O_CLOEXEC));
    if (fd.get() < 0) {
        failed("cannot write the journal " + path + ": " + std::strerror(errno) +
               "; the file is as it was");
    }
    temporary = name.data();
    try {
        writeAll(fd.get(), bytes.data(), bytes.size(), 0, temporary);
        if (::fsync(fd.get()) != 0 || ::rename(temporary.c_str(), path.c_str()) != 0) {
            failed("cannot write the journal " + path + ": " + std::strerror(errno));
        }
    } catch (const WriteFailed& e) {
        ::unlink(temporary.c_str());
        failed(SDK::Utils::toUtf8(e.message()).c_str() + std::string("; the file is as it was"));
    }
    if (!syncFolderOf(path)) {
        const int error = errno;
        ::unlink(path.c_str());
        failed("cannot sync the journal " + path + ": " + std::strerror(error) +
               "; the file is as it was");
    }
}

// The journal's old bytes back in the file, and the file's size as it was; then synced.
bool rollBack(const std::string& file, const EditJournal& journal) {
    const Descriptor fd(::open(file.c_str(), O_WRONLY | O_CLOEXEC));
    if (fd.get() < 0) {
        return false;
    }
    try {
        for (const EditJournal::Region& region : journal.regions) {
            writeAll(fd.get(), region.bytes.data(), region.bytes.size(), region.offset, file);
        }
    } catch (const WriteFailed&) {
        return false;
    }
    return ::ftruncate(fd.get(), static_cast<off_t>(journal.fileSize)) == 0 &&
           ::fsync(fd.get()) == 0;
}

// The journal removed once the file is whole (the edit's, or the old one put back).
bool removeJournal(const std::string& file) {
    const std::string path = editJournalPath(file);
    return (::unlink(path.c_str()) == 0 || errno == ENOENT) && syncFolderOf(path);
}

// How far what was at this offset of the file moves where the copies get these rooms.
std::uint64_t movedBy(const std::vector<Copy>& copies, const std::vector<std::uint64_t>& rooms,
                      std::uint64_t fileOffset) {
    std::uint64_t by = 0;
    for (std::size_t i = 0; i < copies.size(); ++i) {
        if (copies[i].start + copies[i].size <= fileOffset) {
            by += rooms[i] - copies[i].size;
        }
    }
    return by;
}

// The partition packs and random index pack of a file laid out anew, their offsets moved by
// what the copies before them grew.
void movePacks(ByteSource& source, const HeaderMetadata& read, const std::vector<Copy>& copies,
               const std::vector<std::uint64_t>& rooms, std::vector<Edit>& edits) {
    const auto moved = [&](std::uint64_t fileOffset) { return movedBy(copies, rooms, fileOffset); };
    for (const Partition& partition : read.partitions) {
        const KLVHeader klv = readKLVHeader(source, partition.offset);
        if (klv.length < 40) {
            continue;
        }
        Edit edit{klv.offset, klv.end(), Bytes(static_cast<std::size_t>(klv.end() - klv.offset))};
        if (!source.read(klv.offset, edit.bytes.data(), edit.bytes.size())) {
            failed("cannot read the partition pack at " + std::to_string(partition.offset));
        }
        std::uint8_t* value = edit.bytes.data() + (klv.valueOffset - klv.offset);
        const auto shift = [&](std::size_t field) {
            const std::uint64_t old = bigEndian(value + field, 8);
            if (old != 0 || field == 8) {
                storeBigEndian(value + field, old + moved(old + read.runIn), 8);
            }
        };
        shift(8);   // ThisPartition
        shift(16);  // PreviousPartition (0 for the header's own)
        shift(24);  // FooterPartition (0 where unknown)
        for (std::size_t i = 0; i < copies.size(); ++i) {
            if (copies[i].partition == partition.offset) {
                storeBigEndian(value + 32, rooms[i], 8);  // HeaderByteCount
            }
        }
        edits.push_back(std::move(edit));
    }
    if (read.randomIndex) {
        std::uint8_t tail[4];
        const std::uint64_t size = source.size();
        if (!source.read(size - 4, tail, 4)) {
            failed("cannot read the random index pack");
        }
        const KLVHeader klv = readKLVHeader(source, size - bigEndian(tail, 4));
        Edit edit{klv.offset, klv.end(), Bytes(static_cast<std::size_t>(klv.end() - klv.offset))};
        if (!source.read(klv.offset, edit.bytes.data(), edit.bytes.size())) {
            failed("cannot read the random index pack");
        }
        std::uint8_t* value = edit.bytes.data() + (klv.valueOffset - klv.offset);
        for (std::uint64_t at = 0; at + 16 <= klv.length; at += 12) {
            const std::uint64_t old = bigEndian(value + at + 4, 8);
            storeBigEndian(value + at + 4, old + moved(old + read.runIn), 8);
        }
        edits.push_back(std::move(edit));
    }
}

// Whether edited header metadata differs from what was read in what a walk holds the essence
// against: the sets there are, and the items that tie tracks and packages to the essence.
bool changesWhatTheWalkReads(const HeaderMetadata& read, const HeaderMetadata& edited) {
    static const std::uint8_t* const kRead[] = {
        ItemLabels::TrackNumber,     ItemLabels::EssenceContainer, ItemLabels::GenericStreamID,
        ItemLabels::LinkedPackageID, ItemLabels::PackageID,        ItemLabels::EssenceDescription,
        ItemLabels::FileDescriptors, ItemLabels::TrackID,          ItemLabels::LinkedTrackID};
    const auto readByWalk = [](const Item& item) {
        return item.label && std::any_of(std::begin(kRead), std::end(kRead), [&](const auto* l) {
                   return sameLabel(item.label->data(), l);
               });
    };
    if (read.sets.size() != edited.sets.size()) {
        return true;
    }
    for (std::size_t s = 0; s < read.sets.size(); ++s) {
        const LocalSet& a = read.sets[s];
        const LocalSet& b = edited.sets[s];
        if (a.instanceUID != b.instanceUID || !sameLabel(a.key.data(), b.key.data())) {
            return true;
        }
        std::vector<std::pair<Bytes16, const Bytes*>> x, y;
        for (const Item& item : a.items) {
            if (readByWalk(item)) {
                x.emplace_back(*item.label, &item.bytes);
            }
        }
        for (const Item& item : b.items) {
            if (readByWalk(item)) {
                y.emplace_back(*item.label, &item.bytes);
            }
        }
        if (x.size() != y.size() ||
            !std::equal(x.begin(), x.end(), y.begin(), [](const auto& p, const auto& q) {
                return p.first == q.first && *p.second == *q.second;
            })) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::string headerMetadataDifference(const HeaderMetadata& a, const HeaderMetadata& b) {
    if (a.sets.size() != b.sets.size()) {
        return std::to_string(a.sets.size()) + " sets against " + std::to_string(b.sets.size());
    }
    for (std::size_t s = 0; s < a.sets.size(); ++s) {
        const LocalSet& x = a.sets[s];
        const LocalSet& y = b.sets[s];
        const std::string where = "set " + std::to_string(s + 1) + " (" + x.name() + ")";
        if (!sameLabel(x.key.data(), y.key.data()) || x.instanceUID != y.instanceUID ||
            x.depth != y.depth) {
            return where + " against " + y.name() +
                   (y.instanceUID ? " " + uuidText(*y.instanceUID) : std::string());
        }
        if (x.items.size() != y.items.size()) {
            return where + " has " + std::to_string(x.items.size()) + " items against " +
                   std::to_string(y.items.size());
        }
        for (std::size_t i = 0; i < x.items.size(); ++i) {
            const Item& p = x.items[i];
            const Item& q = y.items[i];
            if (p.label != q.label || (!p.label && p.tag != q.tag) || p.bytes != q.bytes) {
                return where + ", item " + std::to_string(i + 1) + " (" + p.name() + ") against " +
                       q.name() + " of " + std::to_string(q.bytes.size()) + " bytes";
            }
        }
    }
    return {};
}

namespace {

// What one copy holds and will hold. The copy read is given the edited header metadata;
// every other copy the same where it held the same, else the edit carried into it as it stands
// (an open copy keeps what its writer knew then; only what the edit changes changes).
struct Form {
    HeaderMetadata read;
    HeaderMetadata written;
    bool carried = false;  // not the copy the edit was made to
    bool changes = false;
    Bytes metadata;  // written's bytes, where it changes
};

std::vector<Form> formsOf(ByteSource& source, const std::vector<Copy>& copies,
                          const HeaderMetadata& before, const HeaderMetadata& header,
                          const MM::Dictionary& dictionary) {
    // What the edit made of the copy read, worked out once for every copy that held the same.
    const bool editChanges = !headerMetadataDifference(before, header).empty() ||
                             header.unreadPackets.size() != before.unreadPackets.size();
    const Bytes edited = editChanges ? writeHeaderMetadata(header, dictionary) : Bytes();
    std::vector<Form> forms(copies.size());
    for (std::size_t i = 0; i < copies.size(); ++i) {
        Form& form = forms[i];
        form.carried = copies[i].partition != before.primer.partitionOffset;
        if (form.carried) {
            ReadOptions options;
            options.partition = copies[i].partition;
            form.read = readHeaderMetadata(source, dictionary, options);
        }
        if (!form.carried || contentDifference(form.read, before).empty()) {
            if (!form.carried) {
                form.read = before;
            }
            form.written = header;
            form.changes = editChanges;
            form.metadata = edited;
        } else {
            form.written = form.read;
            form.changes = carryEdit(before, header, form.written);
            if (form.changes) {
                form.metadata = writeHeaderMetadata(form.written, dictionary);
            }
        }
    }
    return forms;
}

// The file as it will be (or is) read back: each copy written holds what it was given, and
// has no finding it had not. The copy read is held to the edited header metadata in tree
// order; a copy the edit was carried into, set by set in any order (its new sets are placed
// by the reading).
void checkCopies(ByteSource& written, const std::vector<Copy>& copies,
                 const std::vector<std::uint64_t>& rooms, const std::vector<Form>& forms,
                 const MM::Dictionary& dictionary, bool walk, const char* what) {
    for (std::size_t i = 0; i < copies.size(); ++i) {
        if (!forms[i].changes) {
            continue;
        }
        ReadOptions options;
        options.walk = walk && !forms[i].carried;
        options.partition = copies[i].partition + movedBy(copies, rooms, copies[i].partition);
        HeaderMetadata after;
        try {
            after = readHeaderMetadata(written, dictionary, options);
        } catch (const FileRefused& refused) {
            failed(std::string(what) + " is refused by the reader (" + refused.rule() +
                   "): " + SDK::Utils::toUtf8(refused.message()).c_str());
        }
        const std::string difference = forms[i].carried
                                           ? contentDifference(forms[i].written, after)
                                           : headerMetadataDifference(forms[i].written, after);
        const std::string copy = forms[i].carried ? ", the copy in the partition at " +
                                                        std::to_string(copies[i].partition) + ","
                                                  : std::string();
        if (!difference.empty()) {
            failed(std::string(what) + copy + " does not read back as written: " + difference);
        }
        const std::string finding = newFinding(forms[i].read, after);
        if (!finding.empty()) {
            failed(std::string(what) + copy + " has a finding the source had not: " + finding);
        }
    }
}
}  // namespace

WriteReport writeFile(const char* sourcePath, const HeaderMetadata& header,
                      const MM::Dictionary& dictionary, const WriteOptions& options) {
    const bool inPlace = options.output.empty();
    // An edit cut short is put back before the file is read for another; a new file is never
    // made from a file half written.
    if (inPlace) {
        recoverFile(sourcePath);
    } else if (interruptedEdit(sourcePath)) {
        failed(std::string("an edit in place of ") + sourcePath +
               " was cut short: recover it first (xsddict recover)");
    }
    FileSource source(sourcePath);
    ReadOptions readOptions;
    readOptions.walk = !inPlace || options.walkInPlace;
    HeaderMetadata before = readHeaderMetadata(source, dictionary, readOptions);
    // In place, nothing but header metadata changes: the walk can only find anew what the edit
    // gives the checks it holds the essence against.
    const bool walk = readOptions.walk || changesWhatTheWalkReads(before, header);
    if (walk && !readOptions.walk) {
        readOptions.walk = true;
        before = readHeaderMetadata(source, dictionary, readOptions);
    }
    const std::vector<Copy> copies = copiesOf(source, before);
    if (copies.empty()) {
        failed("the file carries no header metadata to replace");
    }
    const std::vector<Form> forms = formsOf(source, copies, before, header, dictionary);

    // The room each copy gets: what it had, where its metadata fits there; else more.
    std::uint32_t kag = 1;
    for (const Partition& partition : before.partitions) {
        kag = std::max(kag, std::min(partition.kagSize, kMostKAG));
    }
    std::vector<std::uint64_t> rooms;
    std::uint64_t needed = 0;
    std::size_t tightest = 0;
    for (std::size_t i = 0; i < copies.size(); ++i) {
        const Copy& copy = copies[i];
        const std::uint64_t size = forms[i].metadata.size();
        const bool fits = !forms[i].changes || size == copy.size ||
                          (size < copy.size && copy.size - size >= kLeastFill);
        if (fits) {
            rooms.push_back(copy.size);
            continue;
        }
        const std::uint64_t short_ = size + kLeastFill - std::min(copy.size, size + kLeastFill);
        if (short_ > needed) {
            needed = short_;
            tightest = i;
        }
        const std::uint64_t want = size + std::max(options.room, kLeastFill);
        const std::uint64_t grow = want > copy.size ? (want - copy.size + kag - 1) / kag * kag : 0;
        rooms.push_back(copy.size + grow);
    }
    const bool moves = needed > 0;
    if (inPlace && moves) {
        const Copy& copy = copies[tightest];
        const std::uint64_t size = forms[tightest].metadata.size();
        const std::string room = "the partition at " + std::to_string(copy.partition) +
                                 " gives it (" + std::to_string(copy.size) +
                                 " with the fill after it)";
        // A little shorter than the room is no better than a little longer: fill has a least
        // size, and the gap left cannot hold one.
        const std::uint64_t gap = copy.size > size ? copy.size - size : 0;
        throw NoRoom(
            "the header metadata " +
                std::string(forms[tightest].carried ? "of that partition " : "") + "takes " +
                std::to_string(size) + " bytes; " +
                (gap > 0 ? room + ", leaving a gap of " + std::to_string(gap) +
                               (gap == 1 ? " byte" : " bytes") + " too small for fill (at least " +
                               std::to_string(kLeastFill) + "): in place it needs " +
                               std::to_string(needed) + " bytes more or " + std::to_string(gap) +
                               " fewer; a new file (-o) is laid out with room"
                         : "in place it needs " + std::to_string(needed) + " bytes more than " +
                               room + ": write a new file instead"),
            needed, __FILE__, __LINE__);
    }

    WriteReport report;
    std::vector<Edit> edits;
    for (std::size_t i = 0; i < copies.size(); ++i) {
        if (!forms[i].changes) {
            continue;
        }
        Edit edit{copies[i].start, copies[i].start + copies[i].size, forms[i].metadata};
        if (rooms[i] > forms[i].metadata.size()) {
            const Bytes fill = fillPacket(copies[i].fillKey, rooms[i] - forms[i].metadata.size());
            edit.bytes.insert(edit.bytes.end(), fill.begin(), fill.end());
        }
        edits.push_back(std::move(edit));
        report.partitions.push_back(copies[i].partition);
        report.metadataBytes =
            std::max<std::uint64_t>(report.metadataBytes, forms[i].metadata.size());
    }
    if (inPlace && edits.empty()) {
        return report;  // every copy holds already what it would be given
    }
    if (moves) {
        movePacks(source, before, copies, rooms, edits);
    }
    std::sort(edits.begin(), edits.end(),
              [](const Edit& a, const Edit& b) { return a.start < b.start; });

    // The file as it will be, read before a byte is written: what was asked for, copy by copy,
    // set by set and item by item, and no finding the source had not.
    Layout layout(source, edits);
    // A new file is walked whole before it is renamed; walked here too, it would cost a second
    // pass over every packet for nothing.
    checkCopies(layout, copies, rooms, forms, dictionary, inPlace && walk,
                "the file as it would be written");
    report.moved = layout.size() - source.size();

    if (inPlace) {
        // The copy the reader chooses goes last: until it is written, the file reads as before.
        std::vector<const Edit*> order;
        const Edit* chosen = nullptr;
        for (std::size_t i = 0; i < copies.size(); ++i) {
            if (!forms[i].changes) {
                continue;
            }
            const Edit* edit = &*std::find_if(edits.begin(), edits.end(), [&](const Edit& e) {
                return e.start == copies[i].start;
            });
            if (!forms[i].carried) {
                chosen = edit;
            } else {
                order.push_back(edit);
            }
        }
        if (chosen != nullptr) {
            order.push_back(chosen);
        }
        EditJournal journal;
        journal.fileSize = source.size();
        for (const Edit* edit : order) {
            EditJournal::Region region{edit->start,
                                       Bytes(static_cast<std::size_t>(edit->end - edit->start))};
            if (!source.read(edit->start, region.bytes.data(), region.bytes.size())) {
                failed("cannot read the file's header metadata");
            }
            journal.regions.push_back(std::move(region));
        }
        const Descriptor fd(::open(sourcePath, O_WRONLY | O_CLOEXEC));
        struct stat status {};
        if (fd.get() < 0 || ::fstat(fd.get(), &status) != 0) {
            failed(std::string("cannot open ") + sourcePath + " to write: " + std::strerror(errno));
        }
        journal.device = static_cast<std::uint64_t>(status.st_dev);
        journal.inode = static_cast<std::uint64_t>(status.st_ino);
        step(options, "journal");
        writeJournal(sourcePath, journal);
        try {
            for (const Edit* edit : order) {
                step(options, "write");
                writeAll(fd.get(), edit->bytes.data(), edit->bytes.size(), edit->start, sourcePath);
                report.bytesWritten += edit->bytes.size();
            }
            step(options, "sync");
            if (::fsync(fd.get()) != 0) {
                failed(std::string("cannot sync ") + sourcePath + ": " + std::strerror(errno));
            }
            FileSource again(sourcePath);
            checkCopies(again, copies, rooms, forms, dictionary, walk, sourcePath);
            step(options, "unjournal");
            if (!removeJournal(sourcePath)) {
                failed("cannot remove the journal " + editJournalPath(sourcePath) + ": " +
                       std::strerror(errno));
            }
        } catch (const SDK::Exceptions::BaseException& e) {
            const std::string why = SDK::Utils::toUtf8(e.message()).c_str();
            if (rollBack(sourcePath, journal) && removeJournal(sourcePath)) {
                failed(why + "; the file is as it was");
            }
            failed(why + "; the old bytes could not all be put back: " +
                   editJournalPath(sourcePath) + " holds them (xsddict recover)");
        }
        return report;
    }

    const std::string output = options.output;
    removeStale(outputPattern(output));
    std::string temporary = temporaryName(outputPattern(output));
    std::vector<char> name(temporary.begin(), temporary.end());
    name.push_back('\0');
    const Descriptor out(::mkostemp(name.data(), O_CLOEXEC));
    if (out.get() < 0) {
        failed("cannot write beside " + output + ": " + std::strerror(errno));
    }
    temporary = name.data();
    struct stat status {};
    try {
        const Descriptor in(::open(sourcePath, O_RDONLY | O_CLOEXEC));
        if (in.get() < 0 || ::fstat(in.get(), &status) != 0) {
            failed(std::string("cannot read ") + sourcePath + ": " + std::strerror(errno));
        }
        if (::fchmod(out.get(), status.st_mode & 07777) != 0) {
            failed("cannot give " + temporary + " the source's mode: " + std::strerror(errno));
        }
        for (const Layout::Piece& piece : layout.pieces()) {
            step(options, "write");
            if (piece.edit != nullptr) {
                writeAll(out.get(), piece.edit->bytes.data(), piece.edit->bytes.size(), piece.at,
                         temporary);
            } else {
                copyRange(in.get(), piece.from, out.get(), piece.at, piece.length, temporary);
            }
            report.bytesWritten += piece.length;
        }
        step(options, "sync");
        if (::fsync(out.get()) != 0) {
            failed("cannot sync " + temporary + ": " + std::strerror(errno));
        }
        FileSource again(temporary.c_str());
        checkCopies(again, copies, rooms, forms, dictionary, walk, output.c_str());
        step(options, "rename");
        if (::rename(temporary.c_str(), output.c_str()) != 0) {
            failed("cannot rename " + temporary + " to " + output + ": " + std::strerror(errno));
        }
    } catch (...) {
        ::unlink(temporary.c_str());
        throw;
    }
    step(options, "sync folder");
    if (!syncFolderOf(output)) {
        const int error = errno;
        // Not durable: a new file goes, so that none is taken for whole; the source made anew
        // under its own name stays, being the only copy there is.
        if (!sameFile(sourcePath, output)) {
            ::unlink(output.c_str());
            failed("cannot sync the folder of " + output + ": " + std::strerror(error) +
                   "; it was removed");
        }
        failed("cannot sync the folder of " + output + ": " + std::strerror(error) +
               "; the file written may not survive a power loss");
    }
    return report;
}

Recovery recoverFile(const char* path) {
    removeStale(editJournalPath(path) + "-");
    Recovery recovery;
    std::optional<EditJournal> journal;
    try {
        journal = readEditJournal(path);
    } catch (const UnverifiedJournal& e) {
        failed("the journal " + editJournalPath(path) + " does not verify (" + e.why +
               "): it is not applied, and the file is left as it is");
    }
    if (!journal) {
        return recovery;
    }
    if (!rollBack(path, *journal) || !removeJournal(path)) {
        failed(std::string("cannot put the journal's old bytes back into ") + path + ": " +
               std::strerror(errno) + "; the journal is kept");
    }
    recovery.rolledBack = true;
    recovery.regions = journal->regions.size();
    recovery.journal = editJournalPath(path);
    return recovery;
}

}  // namespace Velmar::MXF::Writing
