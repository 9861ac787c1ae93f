#include "core/MainQueue.h"

namespace ombrel {

struct SyncState {
    std::mutex mutex;
    std::condition_variable cv;
    bool done = false;
    bool ran = false;
};

MainQueue::MainQueue() : mainThread_(std::this_thread::get_id()) {}

MainQueue& MainQueue::Instance() {
    static MainQueue queue;
    return queue;
}

void MainQueue::AdoptCurrentThread() {
    std::lock_guard lock(mutex_);
    mainThread_ = std::this_thread::get_id();
}

bool MainQueue::IsMainThread() const {
    std::lock_guard lock(mutex_);
    return mainThread_ == std::this_thread::get_id();
}

bool MainQueue::RunSync(std::function<void()> fn) {
    if (IsMainThread()) {
        fn();
        return true;
    }
    auto sync = std::make_shared<SyncState>();
    std::function<void()> wake;
    {
        std::lock_guard lock(mutex_);
        if (closed_) return false;
        jobs_.push_back({std::move(fn), sync});
        wake = wake_;
    }
    posted_.notify_all();
    if (wake) wake();
    std::unique_lock lock(sync->mutex);
    sync->cv.wait(lock, [&] { return sync->done; });
    return sync->ran;
}

void MainQueue::RunAsync(std::function<void()> fn) {
    std::function<void()> wake;
    {
        std::lock_guard lock(mutex_);
        if (closed_) return;
        jobs_.push_back({std::move(fn), nullptr});
        wake = wake_;
    }
    posted_.notify_all();
    if (wake) wake();
}

static void Finish(const std::shared_ptr<SyncState>& sync, bool ran) {
    if (!sync) return;
    {
        std::lock_guard lock(sync->mutex);
        sync->done = true;
        sync->ran = ran;
    }
    sync->cv.notify_all();
}

size_t MainQueue::ServePending() {
    std::deque<Job> batch;
    {
        std::lock_guard lock(mutex_);
        batch.swap(jobs_);
    }
    for (auto& job : batch) {
        job.fn();
        Finish(job.sync, true);
    }
    return batch.size();
}

void MainQueue::ServeUntil(const std::function<bool()>& done, std::chrono::microseconds poll) {
    while (!done()) {
        ServePending();
        if (done()) break;
        std::unique_lock lock(mutex_);
        posted_.wait_for(lock, poll, [&] { return !jobs_.empty(); });
    }
    ServePending();
}

void MainQueue::ServeFor(std::chrono::microseconds duration) {
    auto until = std::chrono::steady_clock::now() + duration;
    ServeUntil([&] { return std::chrono::steady_clock::now() >= until; },
               std::min(duration, std::chrono::microseconds(16667)));
}

void MainQueue::Close() {
    std::deque<Job> dropped;
    {
        std::lock_guard lock(mutex_);
        closed_ = true;
        dropped.swap(jobs_);
    }
    for (auto& job : dropped) Finish(job.sync, false);
}

void MainQueue::Reopen() {
    std::lock_guard lock(mutex_);
    closed_ = false;
}

bool MainQueue::IsClosed() const {
    std::lock_guard lock(mutex_);
    return closed_;
}

void MainQueue::SetWakeHandler(std::function<void()> wake) {
    std::lock_guard lock(mutex_);
    wake_ = std::move(wake);
}

}  // namespace ombrel
