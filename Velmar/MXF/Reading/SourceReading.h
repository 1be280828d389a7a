#pragma once

#include "../KLV/ByteSource.h"
#include "Velmar/MXF/Model/HeaderMetadata.h"
#include "Velmar/MXF/Reading/Reader.h"

namespace Velmar::MXF::Reading {

// The reader over any source of bytes: a file, memory, or a file as it would be once written.
Model::HeaderMetadata readHeaderMetadata(KLV::ByteSource& source,
                                         const SDK::MetaMetadata::Dictionary& dictionary,
                                         const Reading::ReadOptions& options);

}  // namespace Velmar::MXF::Reading
