#include "ByteSource.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "Velmar/MXF/Model/FileRefused.h"

namespace Velmar::MXF::KLV {

using namespace Model;

FileSource::FileSource(const char* path) {
    // Not blocking: a FIFO given as a file would wait for a writer before it could be refused.
    descriptor_ = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    struct stat status {};
    if (descriptor_ < 0 || ::fstat(descriptor_, &status) != 0) {
        const std::string reason = std::strerror(errno);
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
        throw FileRefused("unreadable", 0, "cannot open: " + reason, __FILE__, __LINE__);
    }
    if (!S_ISREG(status.st_mode)) {
        ::close(descriptor_);
        throw FileRefused("unreadable", 0, "not a regular file", __FILE__, __LINE__);
    }
    size_ = static_cast<std::uint64_t>(status.st_size);
}

FileSource::~FileSource() {
    ::close(descriptor_);
}

bool FileSource::read(std::uint64_t offset, std::uint8_t* into, std::size_t size) {
    if (offset > size_ || size > size_ - offset) {
        return false;
    }
    std::size_t done = 0;
    while (done < size) {
        const ssize_t got =
            ::pread(descriptor_, into + done, size - done, static_cast<off_t>(offset + done));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(got);
    }
    return true;
}

bool MemorySource::read(std::uint64_t offset, std::uint8_t* into, std::size_t size) {
    if (offset > size_ || size > size_ - offset) {
        return false;
    }
    if (size != 0) {  // an empty read may have no buffer
        std::memcpy(into, data_ + offset, size);
    }
    return true;
}

}  // namespace Velmar::MXF::KLV
