#include "Velmar/MXF/Reading/EditJournal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "../Values/BigEndian.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace Velmar::MXF::Reading {

using namespace Values;

namespace {

constexpr char kMagic[16] = {'x', 's', 'd', 'd', 'i', 'c', 't', ' ',
                             'j', 'o', 'u', 'r', 'n', 'a', 'l', '1'};
constexpr std::size_t kHeader = 16 + 8 + 8 + 8 + 4;  // magic, size, device, inode, regions
constexpr std::size_t kDigest = 8;
// An edit writes the header metadata's copies: no journal of ours comes near this.
constexpr std::uint64_t kMostJournal = 1ull << 32;

std::uint64_t digestOf(const std::uint8_t* bytes, std::size_t size) {
    return XXH3_64bits(bytes, size);
}

}  // namespace

std::string editJournalPath(const std::string& file) {
    const std::size_t slash = file.rfind('/');
    const std::string folder = slash == std::string::npos ? "" : file.substr(0, slash + 1);
    const std::string name = slash == std::string::npos ? file : file.substr(slash + 1);
    return folder + "." + name + ".xsddict-journal";
}

std::vector<std::uint8_t> editJournalBytes(const EditJournal& journal) {
    std::vector<std::uint8_t> out(kMagic, kMagic + sizeof kMagic);
    appendBigEndian(out, journal.fileSize, 8);
    appendBigEndian(out, journal.device, 8);
    appendBigEndian(out, journal.inode, 8);
    appendBigEndian(out, journal.regions.size(), 4);
    for (const EditJournal::Region& region : journal.regions) {
        appendBigEndian(out, region.offset, 8);
        appendBigEndian(out, region.bytes.size(), 8);
        out.insert(out.end(), region.bytes.begin(), region.bytes.end());
    }
    appendBigEndian(out, digestOf(out.data(), out.size()), 8);
    return out;
}

std::optional<EditJournal> readEditJournal(const std::string& file) {
    const std::string path = editJournalPath(file);
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        if (errno == ENOENT) {
            return std::nullopt;
        }
        throw UnverifiedJournal{"it cannot be read: " + std::string(std::strerror(errno))};
    }
    struct stat status {};
    std::vector<std::uint8_t> bytes;
    bool read =
        ::fstat(fd, &status) == 0 && static_cast<std::uint64_t>(status.st_size) <= kMostJournal;
    if (read) {
        bytes.resize(static_cast<std::size_t>(status.st_size));
        std::size_t at = 0;
        while (read && at < bytes.size()) {
            const ssize_t got =
                ::pread(fd, bytes.data() + at, bytes.size() - at, static_cast<off_t>(at));
            read = got > 0 || (got < 0 && errno == EINTR);
            at += got > 0 ? static_cast<std::size_t>(got) : 0;
        }
    }
    ::close(fd);
    if (!read) {
        throw UnverifiedJournal{"it cannot be read whole"};
    }
    if (bytes.size() < kHeader + kDigest || std::memcmp(bytes.data(), kMagic, sizeof kMagic) != 0) {
        throw UnverifiedJournal{"it is no journal of an edit, or is cut short"};
    }
    const std::size_t body = bytes.size() - kDigest;
    if (bigEndian(bytes.data() + body, 8) != digestOf(bytes.data(), body)) {
        throw UnverifiedJournal{"its digest is wrong: it was torn or changed"};
    }
    EditJournal journal;
    journal.fileSize = bigEndian(bytes.data() + 16, 8);
    journal.device = bigEndian(bytes.data() + 24, 8);
    journal.inode = bigEndian(bytes.data() + 32, 8);
    const std::uint64_t regions = bigEndian(bytes.data() + 40, 4);
    std::size_t at = kHeader;
    for (std::uint64_t i = 0; i < regions; ++i) {
        if (body - at < 16) {
            throw UnverifiedJournal{"its regions run past its end"};
        }
        EditJournal::Region region;
        region.offset = bigEndian(bytes.data() + at, 8);
        const std::uint64_t length = bigEndian(bytes.data() + at + 8, 8);
        at += 16;
        if (length > body - at) {
            throw UnverifiedJournal{"its regions run past its end"};
        }
        region.bytes.assign(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                            bytes.begin() + static_cast<std::ptrdiff_t>(at + length));
        at += static_cast<std::size_t>(length);
        journal.regions.push_back(std::move(region));
    }
    if (at != body) {
        throw UnverifiedJournal{"it holds more than its regions"};
    }
    struct stat target {};
    if (::stat(file.c_str(), &target) != 0 ||
        static_cast<std::uint64_t>(target.st_dev) != journal.device ||
        static_cast<std::uint64_t>(target.st_ino) != journal.inode) {
        throw UnverifiedJournal{"it was written for another file"};
    }
    return journal;
}

std::optional<Model::Finding> interruptedEdit(const std::string& file) {
    const std::string path = editJournalPath(file);
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return std::nullopt;
    }
    std::string message;
    try {
        const std::optional<EditJournal> journal = readEditJournal(file);
        message = "an edit in place was cut short: " + path + " holds the old bytes of " +
                  std::to_string(journal ? journal->regions.size() : 0) +
                  " regions, which 'xsddict recover' or the next edit puts back";
    } catch (const UnverifiedJournal& e) {
        message = "a journal of an edit in place, " + path + ", does not verify (" + e.why +
                  "): it is never applied, and left for you to look at";
    }
    return Model::Finding{"interrupted-edit", std::nullopt, "", std::nullopt, "", message};
}

}  // namespace Velmar::MXF::Reading
