#pragma once

// Memory straight from the kernel for blocks of frame size. Its pages arrive zeroed on first
// touch, in 2 MB pages where the system allows: a first touch then costs one fault per 2 MB
// instead of one per 4 KB, and on the machines we render on those faults cost about 15 µs
// each, which made page faults most of a first frame. Not calloc: once a large block has been
// freed, malloc serves the next ones from its heap and calloc must clear them.

#include <sys/mman.h>

#include <cstddef>
#include <new>

namespace ombrel {

inline constexpr size_t kLargePageBytes = size_t(2) << 20;

// Null when the memory cannot be had.
inline void* MapPages(size_t bytes) {
    if (bytes == 0) return nullptr;
    void* p = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (p == MAP_FAILED) return nullptr;
    if (bytes >= kLargePageBytes) ::madvise(p, bytes, MADV_HUGEPAGE);
    return p;
}

inline void UnmapPages(void* p, size_t bytes) {
    if (p) ::munmap(p, bytes);
}

// A standard allocator that maps blocks of 2 MB and more as above and leaves smaller ones to
// operator new; for containers that hold whole pictures or tables.
template <class T>
struct PageAllocator {
    using value_type = T;
    PageAllocator() = default;
    template <class U>
    PageAllocator(const PageAllocator<U>&) noexcept {}

    T* allocate(size_t n) {
        const size_t bytes = n * sizeof(T);
        if (bytes < kLargePageBytes) return static_cast<T*>(::operator new(bytes));
        void* p = MapPages(bytes);
        if (!p) throw std::bad_alloc();
        return static_cast<T*>(p);
    }
    void deallocate(T* p, size_t n) noexcept {
        const size_t bytes = n * sizeof(T);
        if (bytes < kLargePageBytes) {
            ::operator delete(p);
        } else {
            UnmapPages(p, bytes);
        }
    }
    template <class U>
    bool operator==(const PageAllocator<U>&) const noexcept {
        return true;
    }
};

}  // namespace ombrel
