#pragma once

#include "ByteSource.h"
#include "Velmar/MXF/HeaderMetadata.h"

namespace Velmar::MXF {

// The reader over any source of bytes: a file, memory, or a file as it would be once written.
HeaderMetadata readHeaderMetadata(ByteSource& source,
                                  const SDK::MetaMetadata::Dictionary& dictionary,
                                  const ReadOptions& options);

}  // namespace Velmar::MXF
