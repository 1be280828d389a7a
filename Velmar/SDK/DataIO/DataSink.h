#pragma once

#include <cstddef>

#include "Velmar/SDK/Platform/Export.h"

namespace Velmar::SDK::DataIO {

// Where values write their serialised (big-endian, KLV) form.
class VELMAR_SDK_API DataSink {
  public:
    virtual ~DataSink();
    virtual void write(const unsigned char* data, std::size_t size) = 0;
};

}  // namespace Velmar::SDK::DataIO
