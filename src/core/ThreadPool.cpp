#include "core/ThreadPool.h"

#include <algorithm>
#include <atomic>

namespace ombrel {

namespace {
thread_local bool tInLoop = false;
}

struct ThreadPool::Loop {
    const std::function<void(size_t, size_t)>* fn = nullptr;
    size_t n = 0;
    size_t chunk = 1;
    std::atomic<size_t> next{0};
    unsigned invited = 0;  // workers that may join; the rest of them skip this loop
    unsigned joined = 0;   // under mutex_
    unsigned active = 0;   // under mutex_
};

ThreadPool& ThreadPool::Shared() {
    static ThreadPool pool(std::max(1u, std::thread::hardware_concurrency()) - 1);
    return pool;
}

ThreadPool::ThreadPool(unsigned workers) {
    workers_.reserve(workers);
    for (unsigned i = 0; i < workers; ++i) workers_.emplace_back([this] { WorkerMain(); });
}

ThreadPool::~ThreadPool() {
    {
        std::lock_guard lock(mutex_);
        stop_ = true;
    }
    wake_.notify_all();
    for (auto& t : workers_) t.join();
}

void ThreadPool::RunChunks(Loop& loop) {
    const bool outer = tInLoop;
    tInLoop = true;
    for (;;) {
        const size_t begin = loop.next.fetch_add(loop.chunk);
        if (begin >= loop.n) break;
        (*loop.fn)(begin, std::min(begin + loop.chunk, loop.n));
    }
    tInLoop = outer;
}

void ThreadPool::WorkerMain() {
    unsigned long long seen = 0;
    for (;;) {
        Loop* loop = nullptr;
        {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [&] { return stop_ || (loop_ && generation_ != seen); });
            if (stop_) return;
            seen = generation_;
            if (loop_->joined >= loop_->invited) continue;
            loop = loop_;
            ++loop->joined;
            ++loop->active;
        }
        RunChunks(*loop);
        {
            std::lock_guard lock(mutex_);
            --loop->active;
        }
        idle_.notify_all();
    }
}

void ThreadPool::ParallelFor(size_t n, size_t chunk, const std::function<void(size_t, size_t)>& fn,
                             unsigned maxThreads) {
    if (n == 0) return;
    chunk = std::max<size_t>(chunk, 1);
    const unsigned threads = maxThreads == 0 ? concurrency() : std::min(maxThreads, concurrency());
    Loop loop;
    loop.fn = &fn;
    loop.n = n;
    loop.chunk = chunk;
    if (threads <= 1 || n <= chunk || tInLoop) {
        RunChunks(loop);
        return;
    }
    std::lock_guard call(callMutex_);
    loop.invited = threads - 1;
    {
        std::lock_guard lock(mutex_);
        loop_ = &loop;
        ++generation_;
    }
    wake_.notify_all();
    RunChunks(loop);
    std::unique_lock lock(mutex_);
    idle_.wait(lock, [&] { return loop.active == 0; });
    loop_ = nullptr;  // a worker that wakes late finds nothing to join
}

}  // namespace ombrel
