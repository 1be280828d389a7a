#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "Velmar/SDK/Platform/malloc_alloc.h"
#include "Velmar/SDK/Templates/SharedPtr.h"
#include "Velmar/SDK/Templates/String.h"
#include "Velmar/SDK/Templates/map.h"
#include "Velmar/SDK/Types/Collection.h"
#include "Velmar/SDK/Types/Numbers.h"
#include "Velmar/SDK/Types/UID.h"

namespace SDK = Velmar::SDK;
using SDK::Platform::malloc_alloc;

namespace {

// Counts its own lives, and allocates through the toolkit like the model's classes.
struct Tracked {
    VELMAR_SDK_CLASS_ALLOCATION
    explicit Tracked(int& lives) : lives_(lives) { ++lives_; }
    virtual ~Tracked() { --lives_; }
    int& lives_;
};
struct BiggerTracked : Tracked {
    using Tracked::Tracked;
    char padding[200] = {};
};

}  // namespace

// Every byte the toolkit's containers and class-level allocations take comes back, told the
// right size: a deletion through a base pointer or a container that frees with another size
// would leave the balance off.
TEST(Allocation, EveryAllocationIsGivenBackWithItsSize) {
    const std::size_t before = malloc_alloc::bytesInUse();
    {
        SDK::WString text(300, u'x');
        SDK::Templates::map<SDK::WString, SDK::WString> names;
        for (int i = 0; i < 50; ++i) {
            names[SDK::WString(40, static_cast<XMLCh>(u'a' + i % 26)) + static_cast<XMLCh>(i)] =
                text;
        }
        SDK::Templates::auto_ptr<SDK::Types::SimpleDataType> length(new SDK::Types::Length(5));
        SDK::Templates::auto_ptr<SDK::Types::Collection> array(new SDK::Types::Array(4));
        array->append(length->clone());
        array->append(nullptr);
        auto copy = array->clone();
        int lives = 0;
        SDK::Templates::auto_ptr<Tracked> derived(new BiggerTracked(lives));
        EXPECT_GT(malloc_alloc::bytesInUse(), before);
    }
    EXPECT_EQ(malloc_alloc::bytesInUse(), before);
}

TEST(Allocation, SharedPtrDeletesWithItsLastOwnerAndFreesItsCount) {
    const std::size_t before = malloc_alloc::bytesInUse();
    int lives = 0;
    {
        SDK::Templates::SharedPtr<Tracked> first(new Tracked(lives));
        EXPECT_EQ(first.useCount(), 1);
        {
            SDK::Templates::SharedPtr<Tracked> second = first;
            SDK::Templates::SharedPtr<Tracked> third;
            third = second;
            EXPECT_EQ(first.useCount(), 3);
            SDK::Templates::SharedPtr<Tracked> moved = std::move(third);
            EXPECT_FALSE(third);
            EXPECT_EQ(moved.get(), first.get());
            EXPECT_EQ(first.useCount(), 3);
        }
        EXPECT_EQ(lives, 1);
        EXPECT_EQ(first.useCount(), 1);
        first = SDK::Templates::SharedPtr<Tracked>(
            SDK::Templates::auto_ptr<Tracked>(new Tracked(lives)));
        EXPECT_EQ(lives, 1) << "reassigning the last owner deletes the old object";
    }
    EXPECT_EQ(lives, 0);
    EXPECT_EQ(malloc_alloc::bytesInUse(), before);

    SDK::Templates::SharedPtr<Tracked> empty(static_cast<Tracked*>(nullptr));
    EXPECT_EQ(empty.useCount(), 0);
}

// The balance is kept per thread: what one thread takes and another gives back, from threads
// that have ended or that live on, sums to the bytes really held.
TEST(Allocation, TheBalanceHoldsAcrossThreads) {
    const std::size_t before = malloc_alloc::bytesInUse();
    std::vector<void*> taken(8);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < taken.size(); ++i) {
        threads.emplace_back([&taken, i] { taken[i] = malloc_alloc::allocate(100 + i); });
    }
    for (std::thread& t : threads)
        t.join();  // they have ended, their balances with them
    EXPECT_EQ(malloc_alloc::bytesInUse(), before + 8 * 100 + 28);

    std::mutex mutex;
    std::condition_variable changed;
    int step = 0;
    auto waitFor = [&](int wanted) {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [&] { return step == wanted; });
    };
    auto advance = [&] {
        const std::lock_guard<std::mutex> lock(mutex);
        ++step;
        changed.notify_all();
    };
    void* held = nullptr;
    std::thread living([&] {
        for (std::size_t i = 0; i < 4; ++i)
            malloc_alloc::deallocate(taken[i], 100 + i);
        held = malloc_alloc::allocate(1000);
        advance();  // step 1: freed half, holds 1000
        waitFor(2);
    });
    waitFor(1);
    EXPECT_EQ(malloc_alloc::bytesInUse(), before + 4 * 100 + 4 + 5 + 6 + 7 + 1000);
    for (std::size_t i = 4; i < taken.size(); ++i)
        malloc_alloc::deallocate(taken[i], 100 + i);
    malloc_alloc::deallocate(held, 1000);  // taken by the thread that still lives
    EXPECT_EQ(malloc_alloc::bytesInUse(), before);
    advance();
    living.join();
    EXPECT_EQ(malloc_alloc::bytesInUse(), before);
}
