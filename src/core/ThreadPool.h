#pragma once

// One pool of worker threads for the process. A parallel loop hands out chunks of its range to
// the caller and to the workers in turn and returns when every chunk is done; the workers sleep
// on a condition variable between loops. Loops from several threads run one after the other; a
// loop started from inside a loop runs on its caller alone.

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace ombrel {

class ThreadPool {
public:
    // The process's pool: one worker fewer than the machine has cores, as the caller works too.
    static ThreadPool& Shared();

    explicit ThreadPool(unsigned workers);
    ~ThreadPool();
    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;

    // Threads a loop can use: the workers and the caller.
    unsigned concurrency() const { return static_cast<unsigned>(workers_.size()) + 1; }

    // Calls fn(begin, end) over [0, n) in chunks of `chunk` (at least 1) on up to `maxThreads`
    // threads (0: all of them, the caller included); returns when all are done.
    void ParallelFor(size_t n, size_t chunk, const std::function<void(size_t, size_t)>& fn, unsigned maxThreads = 0);

private:
    struct Loop;
    void WorkerMain();
    static void RunChunks(Loop& loop);

    std::mutex callMutex_;  // one loop at a time
    std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable idle_;
    Loop* loop_ = nullptr;  // under mutex_
    unsigned long long generation_ = 0;
    bool stop_ = false;
    std::vector<std::thread> workers_;
};

}  // namespace ombrel
