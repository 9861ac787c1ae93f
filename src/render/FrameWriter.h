#pragma once

// The files of a raw-frame render are written on a thread of their own: while one frame's
// file is written, the next frame is drawn into the other of two buffers. On two cores the
// draw (a software rasteriser's threads) and the write (format conversion and the kernel's
// copy into the page cache) then overlap instead of taking turns.

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace ombrel {

class FrameWriter {
public:
    FrameWriter();
    // Finishes the frame in hand (a file is never left half written), then ends the thread.
    ~FrameWriter();
    FrameWriter(const FrameWriter&) = delete;
    FrameWriter& operator=(const FrameWriter&) = delete;

    // Hands over one frame's writing. The job answers whether the frame was written; the
    // caller waits for the previous frame first (Wait), so at most one is in hand.
    void Submit(std::function<bool()> job);
    // Waits until the frame in hand is written; false when a job since the last Wait failed.
    bool Wait();

private:
    void Run();

    std::mutex lock_;
    std::condition_variable changed_;
    std::function<bool()> job_;  // the frame in hand; empty when idle
    bool failed_ = false;
    bool stopping_ = false;
    std::thread thread_;  // last: starts once the fields above exist
};

}  // namespace ombrel
