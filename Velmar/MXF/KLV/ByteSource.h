#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace Velmar::MXF::KLV {

// Random access to a file's bytes: each read says where, so that what is skipped is never read.
class ByteSource {
  public:
    virtual ~ByteSource() = default;
    virtual std::uint64_t size() const = 0;
    // False when fewer than size bytes are there.
    virtual bool read(std::uint64_t offset, std::uint8_t* into, std::size_t size) = 0;
};

class FileSource : public ByteSource {
  public:
    explicit FileSource(const char* path);  // FileRefused "unreadable" when it cannot be opened
    ~FileSource() override;
    FileSource(const FileSource&) = delete;
    FileSource& operator=(const FileSource&) = delete;
    std::uint64_t size() const override { return size_; }
    bool read(std::uint64_t offset, std::uint8_t* into, std::size_t size) override;

  private:
    int descriptor_ = -1;
    std::uint64_t size_ = 0;
};

class MemorySource : public ByteSource {
  public:
    MemorySource(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
    std::uint64_t size() const override { return size_; }
    bool read(std::uint64_t offset, std::uint8_t* into, std::size_t size) override;

  private:
    const std::uint8_t* data_;
    std::size_t size_;
};

}  // namespace Velmar::MXF::KLV
