#include "sources/DecodeSlotRing.h"

#include <new>

#include "core/Log.h"

namespace ombrel {

namespace {
constexpr size_t kAlignment = 16;
size_t RoundUp(size_t n) { return (n + kAlignment - 1) / kAlignment * kAlignment; }
}  // namespace

DecodeSlotRing::DecodeSlotRing(int count, size_t bytesPerSlot) : bytesPerSlot_(bytesPerSlot) {
    if (count <= 0) return;
    const size_t stride = RoundUp(bytesPerSlot);
    const size_t total = stride * static_cast<size_t>(count) + kAlignment;
    storage_ = ZeroedBlock(total);
    if (storage_.empty()) {
        LogError("Failed to allocate {} bytes of memory for decode slots", total);
        return;
    }
    auto base = reinterpret_cast<uintptr_t>(storage_.data());
    uint8_t* aligned = storage_.data() + (RoundUp(base) - base);
    for (int i = 0; i < count; ++i) {
        auto slot = std::make_unique<Slot>();
        slot->data = aligned + stride * static_cast<size_t>(i);
        slots_.push_back(std::move(slot));
    }
}

int DecodeSlotRing::Claim(int32_t frame) {
    for (size_t i = 0; i < slots_.size(); ++i) {
        Slot& s = *slots_[i];
        if (!s.discarded.load(std::memory_order_acquire)) continue;
        s.discarded.store(false, std::memory_order_relaxed);
        // Ready falls before the frame number changes, so a consumer never pairs the new
        // number with the old slot's ready flag.
        s.ready.store(false, std::memory_order_release);
        s.failed.store(false, std::memory_order_release);
        s.locked.store(false, std::memory_order_release);
        s.targetFrame.store(frame, std::memory_order_release);
        return static_cast<int>(i);
    }
    return -1;
}

void DecodeSlotRing::MarkReady(int slot) {
    slots_[static_cast<size_t>(slot)]->ready.store(true, std::memory_order_release);
    Announce();
}

void DecodeSlotRing::MarkFailed(int slot) {
    Slot& s = *slots_[static_cast<size_t>(slot)];
    s.failed.store(true, std::memory_order_release);
    s.ready.store(true, std::memory_order_release);
    Announce();
}

void DecodeSlotRing::Unclaim(int slot) {
    Slot& s = *slots_[static_cast<size_t>(slot)];
    s.targetFrame.store(-1, std::memory_order_release);
    s.discarded.store(true, std::memory_order_release);
    Announce();
}

uint8_t* DecodeSlotRing::Data(int slot) const { return slots_[static_cast<size_t>(slot)]->data; }

int32_t DecodeSlotRing::Retrieve(int32_t frame, uint8_t** data) {
    for (auto& p : slots_) {
        Slot& s = *p;
        if (s.targetFrame.load(std::memory_order_acquire) != frame) continue;
        if (!s.ready.load(std::memory_order_acquire)) continue;
        if (s.failed.load(std::memory_order_acquire)) return -1;
        s.locked.store(true, std::memory_order_release);
        if (data) *data = s.data;
        return 2;
    }
    return 0;
}

bool DecodeSlotRing::Discard(int32_t frame) {
    Slot* found = nullptr;
    // A slot still in use comes before a freed one that keeps the same number.
    for (auto& p : slots_) {
        if (p->targetFrame.load(std::memory_order_acquire) != frame) continue;
        if (!p->discarded.load(std::memory_order_acquire)) {
            found = p.get();
            break;
        }
        if (!found) found = p.get();
    }
    if (!found) return false;
    // A freed slot may be claimed by the producer right now: leave its flags alone.
    if (found->discarded.load(std::memory_order_acquire)) return true;
    found->locked.store(false, std::memory_order_release);
    found->discarded.store(true, std::memory_order_release);
    Announce();
    return true;
}

bool DecodeSlotRing::Landed(int32_t frame) const {
    for (const auto& p : slots_)
        if (p->targetFrame.load(std::memory_order_acquire) == frame && p->ready.load(std::memory_order_acquire))
            return true;
    return false;
}

bool DecodeSlotRing::HasFreeSlot() const {
    for (const auto& p : slots_)
        if (p->discarded.load(std::memory_order_acquire)) return true;
    return false;
}

void DecodeSlotRing::Announce() {
    // Taking the lock orders this change after a waiter's last look at the flags, so the
    // notify cannot fall between its look and its wait.
    { std::lock_guard lock(waitMutex_); }
    changed_.notify_all();
}

void DecodeSlotRing::WaitForFrame(int32_t frame, std::chrono::milliseconds longest) {
    std::unique_lock lock(waitMutex_);
    changed_.wait_for(lock, longest, [&] { return Landed(frame); });
}

void DecodeSlotRing::WaitForFreeSlot(std::chrono::milliseconds longest) {
    std::unique_lock lock(waitMutex_);
    changed_.wait_for(lock, longest, [&] { return HasFreeSlot(); });
}

int DecodeSlotRing::InFlight() const {
    int n = 0;
    for (const auto& p : slots_)
        if (!p->discarded.load(std::memory_order_acquire)) ++n;
    return n;
}

}  // namespace ombrel
