#pragma once

#include <memory>

namespace Velmar::SDK::Templates {

// Single owner of a heap object; handing it on by value moves ownership and an empty one means
// "none". Deletion goes through the object's class-level operator delete.
template <class T>
using auto_ptr = std::unique_ptr<T>;

}  // namespace Velmar::SDK::Templates
