#include "damage/DamageFrame.h"

namespace ombrel {

DamageVariant VariantForFrame(const AnimationSequence* a, int64_t frame) {
    if (!a) return {};
    if (frame < a->leadInLength()) return {true, true};
    return {a->userDirtAmount() > 0 || a->userUseBorder() || a->userLeakAmount() > 0, false};
}

int GunkTileForFrame(int64_t frame) { return static_cast<int>((frame % kGunkLoopFrames) / 32); }

std::array<int32_t, 4> GunkCellForFrame(int64_t frame, bool useBorder) {
    const int64_t f = frame % 32;
    const int64_t c = (f / 4) % 4;
    const int64_t d = f / 16;
    const double m = useBorder ? 0.1 : 0.0;
    return {static_cast<int32_t>(1024.0 * c + m), static_cast<int32_t>(1024 * d),
            static_cast<int32_t>(1024.0 * c + 1024.0 - m), static_cast<int32_t>(1024 * d + 1024)};
}

int GunkChannelForFrame(int64_t frame) { return static_cast<int>(frame % 4); }

std::string GunkTileName(int tile) { return "obTile" + std::to_string(2 + tile); }

DamageFrameValues ValuesForFrame(const AnimationSequence& a, int64_t frame) {
    DamageFrameValues v;
    v.frame = frame;
    v.variant = VariantForFrame(&a, frame).number();
    v.flashAmount = a.ExposureForFrame(frame);
    v.smearAmount = a.SmearForFrame(frame);
    v.leakSizeForFrame = a.LeakSizeForFrame(frame);
    v.overlayAmount = a.ScreenAmountForScreen(0, frame);
    v.overlayBAmount = a.ScreenAmountForScreen(1, frame);
    v.gunkTile = GunkTileForFrame(frame);
    v.gunkCell = GunkCellForFrame(frame, a.userUseBorder());
    v.gunkChannel = GunkChannelForFrame(frame);
    return v;
}

}  // namespace ombrel
