#include "Velmar/MXF/FileRefused.h"

namespace Velmar::MXF {

FileRefused::FileRefused(const char* rule, std::uint64_t offset, const std::string& message,
                         const char* sourceFile, int sourceLine)
    : BaseException(message.c_str(), sourceFile, sourceLine), rule_(rule), offset_(offset) {}

FileRefused::~FileRefused() = default;

}  // namespace Velmar::MXF
