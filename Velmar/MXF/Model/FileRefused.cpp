#include "Velmar/MXF/Model/FileRefused.h"

namespace Velmar::MXF::Model {
FileRefused::FileRefused(const char* rule, std::uint64_t offset, const std::string& message,
                         const char* sourceFile, int sourceLine)
    : BaseException(message.c_str(), sourceFile, sourceLine), rule_(rule), offset_(offset) {}

FileRefused::~FileRefused() = default;

}  // namespace Velmar::MXF::Model
