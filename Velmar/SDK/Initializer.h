#pragma once

#include "Velmar/SDK/Platform/Export.h"

namespace Velmar::SDK {

// Readies the core library: its first use builds the process-wide singletons, so that later
// lookups never construct anything mid-load.
class VELMAR_SDK_API Initializer {
  public:
    static Initializer& instance();

  private:
    Initializer();
};

}  // namespace Velmar::SDK
