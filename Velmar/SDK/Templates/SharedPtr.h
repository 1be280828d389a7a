#pragma once

#include <new>
#include <utility>

#include "Velmar/SDK/Platform/Synchronization.h"
#include "Velmar/SDK/Platform/malloc_alloc.h"
#include "Velmar/SDK/Templates/auto_ptr.h"

namespace Velmar::SDK::Templates {

// Counting policy whose steps are atomic, so that copies may be released from several threads.
struct LockedCounter {
    static int increment(int& counter) noexcept {
        return Platform::Synchronization::interlockedIncrement(counter);
    }
    static int decrement(int& counter) noexcept {
        return Platform::Synchronization::interlockedDecrement(counter);
    }
};

// Shared owner. The count lives in its own integer from the toolkit's allocator; the last
// release deletes the object and frees the count.
template <class T, class Counter = LockedCounter>
class SharedPtr {
  public:
    SharedPtr() noexcept = default;

    explicit SharedPtr(T* object) : object_(object) {
        if (object_ != nullptr) {
            try {
                count_ = new (Platform::malloc_alloc::allocate(sizeof(int))) int(1);
            } catch (...) {
                delete object_;
                throw;
            }
        }
    }
    explicit SharedPtr(auto_ptr<T> object) : SharedPtr(object.release()) {}

    SharedPtr(const SharedPtr& other) noexcept : object_(other.object_), count_(other.count_) {
        if (count_ != nullptr) {
            Counter::increment(*count_);
        }
    }
    SharedPtr(SharedPtr&& other) noexcept
        : object_(std::exchange(other.object_, nullptr)),
          count_(std::exchange(other.count_, nullptr)) {}

    SharedPtr& operator=(SharedPtr other) noexcept {
        std::swap(object_, other.object_);
        std::swap(count_, other.count_);
        return *this;
    }

    ~SharedPtr() { release(); }

    T* get() const noexcept { return object_; }
    T& operator*() const noexcept { return *object_; }
    T* operator->() const noexcept { return object_; }
    explicit operator bool() const noexcept { return object_ != nullptr; }
    int useCount() const noexcept {
        return count_ == nullptr ? 0 : __atomic_load_n(count_, __ATOMIC_ACQUIRE);
    }

  private:
    void release() noexcept {
        if (count_ != nullptr && Counter::decrement(*count_) == 0) {
            delete object_;
            Platform::malloc_alloc::deallocate(count_, sizeof(int));
        }
        object_ = nullptr;
        count_ = nullptr;
    }

    T* object_ = nullptr;
    int* count_ = nullptr;
};

}  // namespace Velmar::SDK::Templates
