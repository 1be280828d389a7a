#pragma once

// The library is built with hidden visibility; only what carries this mark is exported.
#if defined(__GNUC__)
#define VELMAR_SDK_API __attribute__((visibility("default")))
#else
#define VELMAR_SDK_API
#endif
