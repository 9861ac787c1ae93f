#pragma once

#include <atomic>
#include <cstdint>

#include "core/Singleton.h"

namespace ombrel {

// Application-wide state that belongs to no clip. `State` is 0 while the application works
// on R3D clips and 1 on movies; the stock fallback and the preview read it.
class AppState : public Singleton<AppState> {
public:
    static constexpr const char* kClassName = "AppState";

    int32_t State() const { return state_.load(); }
    void setState(int32_t state) { state_.store(state); }

private:
    friend class Singleton<AppState>;
    AppState() = default;
    std::atomic<int32_t> state_{1};
};

}  // namespace ombrel
