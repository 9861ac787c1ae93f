#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace ombrel {

// Work that must run on the main thread, posted from any thread. The Qt shell
// serves it from its event loop; the command line and tests serve it themselves.
class MainQueue {
public:
    static MainQueue& Instance();

    // Names the calling thread as the main thread (the first user of the queue otherwise).
    void AdoptCurrentThread();
    bool IsMainThread() const;

    // Runs `fn` on the main thread and waits for it to return. On the main thread it
    // runs at once. Returns false, without running `fn`, once the queue is closed:
    // a closing application no longer serves the worker's hops.
    bool RunSync(std::function<void()> fn);
    // Posts `fn` to run on the main thread later. Dropped once the queue is closed.
    void RunAsync(std::function<void()> fn);

    // Runs what is posted now. Main thread only. Returns how many ran.
    size_t ServePending();
    // Serves until `done()` answers true, waking at least every `poll`.
    void ServeUntil(const std::function<bool()>& done,
                    std::chrono::microseconds poll = std::chrono::microseconds(16667));
    // Serves for a while, for loops that wait on something of their own.
    void ServeFor(std::chrono::microseconds duration);

    // The application is closing: waiting callers return false, later ones too.
    void Close();
    // Serving again (tests open and close the queue many times).
    void Reopen();
    bool IsClosed() const;

    // Optional wake-up for an event loop that serves the queue (the Qt shell sets it).
    void SetWakeHandler(std::function<void()> wake);

private:
    MainQueue();
    struct Job {
        std::function<void()> fn;
        std::shared_ptr<struct SyncState> sync;
    };

    mutable std::mutex mutex_;
    std::condition_variable posted_;
    std::deque<Job> jobs_;
    std::thread::id mainThread_;
    bool closed_ = false;
    std::function<void()> wake_;
};

}  // namespace ombrel
