#pragma once

#include <atomic>
#include <mutex>

namespace ombrel {

// Aborts with "Attempted to create two <Class> instances". A second instance of a
// singleton means two owners of state that the whole process shares.
[[noreturn]] void FailSecondInstance(const char* className);

// A class-level Instance(), locked on the class. T names itself with
// `static constexpr const char* kClassName` and befriends Singleton<T>.
template <typename T>
class Singleton {
public:
    static T& Instance() {
        std::lock_guard lock(ClassLock());
        return UnsafeInstance();
    }

    // The same without the class lock, for callers that already hold it or run
    // before any second thread exists.
    static T& UnsafeInstance() {
        T* p = instance_.load(std::memory_order_acquire);
        if (!p) {
            p = new T();  // lives for the whole process
            instance_.store(p, std::memory_order_release);
        }
        return *p;
    }

protected:
    Singleton() {
        if (created_.exchange(true)) FailSecondInstance(T::kClassName);
    }
    ~Singleton() = default;
    Singleton(const Singleton&) = delete;
    Singleton& operator=(const Singleton&) = delete;

    static std::recursive_mutex& ClassLock() {
        static std::recursive_mutex lock;
        return lock;
    }

private:
    static inline std::atomic<T*> instance_{nullptr};
    static inline std::atomic<bool> created_{false};
};

}  // namespace ombrel
