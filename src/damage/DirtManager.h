#pragma once

// The sprite store of single pieces of film damage, all in one atlas: dust, dirt clumps, chips
// ("pie"), hairs, scratches and long vertical lines. Vertical lines stay pinned in place for a
// few frames, as a scratch along the film does.
//
// Sprite quads pass as eight floats: x1, y1, x2, y2 in clip space, then u1, v1, u2, v2 in atlas
// pixels.

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "core/PlistValue.h"
#include "core/Status.h"
#include "damage/AnimationSequence.h"

namespace ombrel {

class DamageRandom;

struct DirtRect {
    float x = 0, y = 0, w = 0, h = 0;
    bool operator==(const DirtRect&) const = default;
};
struct DirtSize {
    float w = 0, h = 0;
    bool operator==(const DirtSize&) const = default;
};
struct DirtPoint {
    float x = 0, y = 0;
    bool operator==(const DirtPoint&) const = default;
};

using DirtQuad = std::array<float, 8>;

// One sprite of the atlas.
class DirtFrame {
public:
    DirtFrame() = default;
    DirtFrame(const std::string& textureFilename, DirtRect rect, bool rotated, DirtPoint offset, DirtSize originalSize);

    const DirtRect& rect() const { return rect_; }
    const DirtRect& rectInPixels() const { return rectInPixels_; }
    int8_t rotated() const { return rotated_; }
    const DirtPoint& offset() const { return offset_; }
    const DirtPoint& offsetInPixels() const { return offsetInPixels_; }
    const DirtSize& originalSize() const { return originalSize_; }
    const DirtSize& originalSizeInPixels() const { return originalSizeInPixels_; }
    const std::string& textureFilename() const { return textureFilename_; }

private:
    DirtRect rect_, rectInPixels_;
    int8_t rotated_ = 0;
    DirtPoint offset_, offsetInPixels_;
    DirtSize originalSize_, originalSizeInPixels_;
    std::string textureFilename_;
};

// One vertical line on the film.
class PinnedVertical {
public:
    // Holds for truncate(r * frameCount) frames, r from one draw of the generator.
    PinnedVertical(const DirtQuad& coords, float alpha, int32_t frameCount, const DirtFrame& frame,
                   float viewportHeight, DamageRandom& random);

    // The quad of this frame: a window of viewportHeight atlas pixels at a random place along
    // the sprite, and a sideways jitter of j (the caller's draw).
    void coordsModified(float jitter, DamageRandom& random);

    const DirtQuad& coordsArray() const { return coordsArray_; }
    const DirtQuad& coordsArrayMod() const { return coordsArrayMod_; }
    int32_t framesToHold() const { return framesToHold_; }
    void setFramesToHold(int32_t n) { framesToHold_ = n; }
    float alphaAdjust() const { return alphaAdjust_; }
    bool processedFlag() const { return processedFlag_; }
    void setProcessedFlag(bool v) { processedFlag_ = v; }
    const DirtFrame& frame() const { return frame_; }
    float viewportHeight() const { return viewportHeight_; }

private:
    DirtQuad coordsArray_{};
    DirtQuad coordsArrayMod_{};
    int32_t framesToHold_ = 0;
    float alphaAdjust_ = 0;
    bool processedFlag_ = false;
    DirtFrame frame_;
    float viewportHeight_ = 0;
};

class DirtManager {
public:
    // Sprite name prefixes by type, case-sensitive.
    static const char* PrefixForType(int type);
    static constexpr const char* kOriginalSizeWarning =
        "WARNING: originalWidth/Height not found on the DirtFrameFrame. AnchorPoint won't work as expected. "
        "Regenerate the .plist";

    DirtManager();

    // Reads an atlas description. Its image is "metadata" "textureFileName" beside it, else the
    // description's own path with the extension "png".
    Status AddDirtFramesWithFile(const std::string& path);
    void AddDirtFramesWithDictionary(const PlistValue& dict, const std::string& textureFilename);

    // "{{x,y},{w,h}}", "{w,h}", "{x,y}": pieces split at braces, commas and blanks; missing
    // pieces read 0.
    static DirtRect RectFromString(const std::string& s);
    static DirtSize SizeFromString(const std::string& s);
    static DirtPoint PointFromString(const std::string& s);

    // A random sprite of the type at a random place; a vertical line is pinned too. False, and
    // nothing drawn, when the atlas holds no sprite of the type.
    bool GetRandomDirtOfType(int type, DirtQuad* coords, float alpha, int32_t maxFrames, DamageRandom& random);
    bool PinnedVerticalAvailable() const;
    // The next pinned line not yet drawn in this frame. False when there is none.
    bool GetPinnedVertical_Coords(DirtQuad* coords, float* alpha, DamageRandom& random);
    // Start of a frame: every pinned line may be drawn again.
    void ClearPins();

    const std::map<std::string, DirtFrame>& dirtFrames(int type) const;
    const std::vector<PinnedVertical>& pinnedVerticals() const { return pinnedVerticals_; }
    // The atlas image of the last description read.
    const std::string& textureFilename() const { return textureFilename_; }

private:
    std::array<std::map<std::string, DirtFrame>, kDirtTypeCount> dirtFrames_;
    std::vector<PinnedVertical> pinnedVerticals_;
    std::string textureFilename_;
};

}  // namespace ombrel
