#pragma once

#include <cstdint>
#include <string>

#include "Velmar/SDK/Exceptions/BaseException.h"

namespace Velmar::MXF::Model {

// A file whose structure cannot be read: truncated, a length past its end, a broken BER length,
// partition or primer pack, or local set. The rule names the kind of fault, the offset the
// byte where it was found; the message (BaseException::message) says what is wrong.
class FileRefused : public SDK::Exceptions::BaseException {
  public:
    FileRefused(const char* rule, std::uint64_t offset, const std::string& message,
                const char* sourceFile, int sourceLine);
    ~FileRefused() override;

    // One of: no-partition, bad-key, truncated, bad-ber, length-past-end, bad-partition,
    // bad-primer, bad-local-set, no-header-metadata.
    const char* rule() const { return rule_; }
    std::uint64_t offset() const { return offset_; }

  private:
    const char* rule_;
    std::uint64_t offset_;
};

}  // namespace Velmar::MXF::Model
