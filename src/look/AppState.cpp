#include "look/AppState.h"

namespace ombrel {

AppState::AppState() { GenerateColorsyncValues(); }

float* AppState::ViewingLUT() {
    std::call_once(viewingLUTOnce_, [this] {
        viewingLUT_ = std::make_unique<float[]>(kViewingLUTFloats);
        FillIdentity();
    });
    return viewingLUT_.get();
}

void AppState::LoadIdentityViewingLUT() {
    ViewingLUT();
    FillIdentity();
}

void AppState::FillIdentity() {
    constexpr int n = kViewingLUTSide;
    float* entry = viewingLUT_.get();
    for (int b = 0; b < n; ++b)
        for (int g = 0; g < n; ++g)
            for (int r = 0; r < n; ++r) {
                *entry++ = float(r) / float(n - 1);
                *entry++ = float(g) / float(n - 1);
                *entry++ = float(b) / float(n - 1);
            }
    reloadViewLUT_.store(true);
}

}  // namespace ombrel
