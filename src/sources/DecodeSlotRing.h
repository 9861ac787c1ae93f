#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "core/ZeroedBlock.h"

namespace ombrel {

// The ring of decode slots that a source fills ahead of the render loop: one producer
// (the prefetch thread) claims and fills slots, one consumer (the render loop) takes and
// frees them. No lock: each flag has one writer at a time, and the order of the stores
// makes a half-filled slot invisible to the consumer.
//
// A slot is free (discarded), filling (claimed, not ready), ready, or locked (taken).
// Discard frees it; its frame number and ready flag stay until it is claimed again, so a
// frame can be taken again until then.
class DecodeSlotRing {
public:
    // `count` slots of `bytesPerSlot` bytes each, allocated once here. Memory is
    // 16-byte aligned. An allocation failure leaves an empty ring (count() == 0).
    DecodeSlotRing(int count, size_t bytesPerSlot);
    DecodeSlotRing(const DecodeSlotRing&) = delete;
    DecodeSlotRing& operator=(const DecodeSlotRing&) = delete;

    int count() const { return static_cast<int>(slots_.size()); }
    size_t bytesPerSlot() const { return bytesPerSlot_; }

    // Producer. Claims the first free slot for `frame`; -1 when none is free.
    int Claim(int32_t frame);
    // Producer. The slot's data is complete.
    void MarkReady(int slot);
    // Producer. The frame will never decode: the consumer is told so instead of waiting.
    void MarkFailed(int slot);
    // Producer. Gives a claimed slot back unfilled (a decode to be retried).
    void Unclaim(int slot);
    uint8_t* Data(int slot) const;

    // Consumer. 2 with the slot locked and its data in `data` when the frame is ready;
    // 0 when not yet; -1 when it failed.
    int32_t Retrieve(int32_t frame, uint8_t** data);
    // Consumer. Frees the slot that holds `frame`; false when none does.
    bool Discard(int32_t frame);

    // Frames claimed and not yet discarded, for tests and diagnostics.
    int InFlight() const;

    // Consumer. Returns once `frame` is ready or failed, or after `longest`: the render loop
    // hears of a frame when it lands, not at its next poll.
    void WaitForFrame(int32_t frame, std::chrono::milliseconds longest);
    // Producer. Returns once a slot is free, or after `longest`.
    void WaitForFreeSlot(std::chrono::milliseconds longest);
    bool HasFreeSlot() const;

private:
    struct Slot {
        std::atomic<int32_t> targetFrame{-1};
        std::atomic<bool> locked{false};
        std::atomic<bool> ready{false};
        std::atomic<bool> failed{false};
        std::atomic<bool> discarded{true};
        uint8_t* data = nullptr;
    };
    bool Landed(int32_t frame) const;
    // Wakes the other side; the flags themselves stay lock-free.
    void Announce();

    std::mutex waitMutex_;
    std::condition_variable changed_;
    ZeroedBlock storage_;  // pages taken as frames are decoded into them
    std::vector<std::unique_ptr<Slot>> slots_;
    size_t bytesPerSlot_ = 0;
};

}  // namespace ombrel
