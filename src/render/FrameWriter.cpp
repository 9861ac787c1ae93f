#include "render/FrameWriter.h"

#include <utility>

namespace ombrel {

FrameWriter::FrameWriter() : thread_([this] { Run(); }) {}

FrameWriter::~FrameWriter() {
    {
        std::unique_lock lock(lock_);
        changed_.wait(lock, [this] { return !job_; });
        stopping_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void FrameWriter::Submit(std::function<bool()> job) {
    {
        std::unique_lock lock(lock_);
        changed_.wait(lock, [this] { return !job_; });
        job_ = std::move(job);
    }
    changed_.notify_all();
}

bool FrameWriter::Wait() {
    std::unique_lock lock(lock_);
    changed_.wait(lock, [this] { return !job_; });
    return !std::exchange(failed_, false);
}

void FrameWriter::Run() {
    std::unique_lock lock(lock_);
    for (;;) {
        changed_.wait(lock, [this] { return job_ || stopping_; });
        if (!job_) return;
        std::function<bool()> job = job_;
        lock.unlock();
        const bool written = job();
        lock.lock();
        if (!written) failed_ = true;
        job_ = nullptr;
        changed_.notify_all();
    }
}

}  // namespace ombrel
