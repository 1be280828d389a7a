#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <iosfwd>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace xsddict {

// "12/1000 files, 85.3 files/s, 11 s left", redrawn in place.
class Progress {
  public:
    Progress(std::ostream& err, std::size_t total, bool shown);
    void done(std::size_t count);
    // Clears the line before other text goes to the terminal.
    void clear();
    void finish();

  private:
    using Clock = std::chrono::steady_clock;
    std::ostream& err_;
    std::size_t total_;
    bool shown_;
    Clock::time_point start_;
    Clock::time_point drawn_{};
    bool drawnAny_ = false;
};

// Runs work(i) for each i below count on up to `jobs` threads and hands the results to
// emit(result, i) in order of i, each as soon as it and those before it are done. A window of
// results ahead of the one handed on next: workers wait rather than run ahead of a slow item,
// so at most a few results per thread are held at once. `work` must not throw.
template <class Work, class Emit>
void runInOrder(std::size_t count, unsigned jobs, Work work, Emit emit) {
    using Result = decltype(work(std::size_t{}));
    const std::size_t threads = std::max<std::size_t>(1, std::min<std::size_t>(jobs, count));
    if (threads == 1) {
        for (std::size_t i = 0; i < count; ++i) {
            emit(work(i), i);
        }
        return;
    }
    const std::size_t window = 4 * threads;
    std::vector<std::optional<Result>> slots(window);
    std::mutex mutex;
    std::condition_variable changed;
    std::size_t next = 0;     // the next item to take
    std::size_t written = 0;  // items handed on so far
    auto worker = [&] {
        std::unique_lock<std::mutex> lock(mutex);
        for (;;) {
            changed.wait(lock, [&] { return next >= count || next < written + window; });
            if (next >= count) {
                return;
            }
            const std::size_t index = next++;
            lock.unlock();
            Result result = work(index);
            lock.lock();
            slots[index % window] = std::move(result);
            changed.notify_all();
        }
    };
    std::vector<std::thread> workers;
    workers.reserve(threads);
    for (std::size_t i = 0; i < threads; ++i) {
        workers.emplace_back(worker);
    }
    while (written < count) {
        std::optional<Result> result;
        {
            std::unique_lock<std::mutex> lock(mutex);
            changed.wait(lock, [&] { return slots[written % window].has_value(); });
            result = std::move(slots[written % window]);
            slots[written % window].reset();
        }
        emit(std::move(*result), written);
        {
            std::lock_guard<std::mutex> lock(mutex);
            ++written;
        }
        changed.notify_all();
    }
    for (std::thread& w : workers) {
        w.join();
    }
}

}  // namespace xsddict
