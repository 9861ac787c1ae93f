#pragma once

// One grain scan at one size, ready for the GPU: the resized bitmap, its texture data and the
// per-channel grain values at the amount last asked for.

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "look/grain/GrainLookup.h"
#include "platform/imageio/Bitmap.h"

namespace ombrel {

struct GrainSize {
    float width = 0.0f;
    float height = 0.0f;
};

class GrainMap {
public:
    // The scan resized for a frame of `width`; the scan's aspect decides the height, so the
    // height asked for only names the map in the cache. Use grainSize() for the real size.
    GrainMap(BitmapRepPtr scan, float width, float height);
    // A map made from samples: width * height * 3 floats in 0..1, 0.5 neutral.
    GrainMap(int width, int height, std::vector<float> textureData, std::string stockName = {},
             std::string grainName = {});
    // A map already resized (what resizeNSImageToSize gave for a scan and size), as the disk
    // cache keeps it.
    static std::shared_ptr<GrainMap> FromResized(BitmapRepPtr resized);
    GrainMap(const GrainMap&) = delete;
    GrainMap& operator=(const GrainMap&) = delete;

    // Resizes a scan so that the result still tiles: the scan is padded with its own far
    // edges before it is scaled. A target larger than the scan in both axes magnifies a
    // centred crop instead, so the result stays about the scan's size. On failure the scan
    // itself comes back. `grainSize` receives the size of what comes back.
    static BitmapRepPtr resizeNSImageToSize(const BitmapRepPtr& scan, float width, float height, GrainSize* grainSize);

    // Sets the amount A of the per-channel grain values: (level * 65535 - 32767) * A, signed
    // around mid grey, made when first read. The texture does not depend on A.
    void SetGrainAmount(double amount);
    double grainAmount() const;

    // 3 floats per pixel, interleaved, in the bitmap's row order (grain has no up or down):
    // the samples stretched by the range of the first pixels of the image, then / 255. Made
    // on the first call for a map from a bitmap: the fast path reads the bitmap's bytes
    // through textureLevels() instead, and never needs these 12 bytes a pixel.
    const float* GetTextureData() const;
    // For a map from a bitmap: the texture value of each sample byte; null otherwise.
    const float* textureLevels() const { return grainRep_ ? textureLevels_.data() : nullptr; }
    // Per-channel mean of the texture data; 0.5 means the grain adds nothing on average.
    std::array<float, 3> grainMean() const { return mean_; }

    // The real size of the image, which callers must use rather than what they asked for.
    GrainSize grainSize() const { return grainSize_; }
    void GetGrainSize(int* width, int* height) const {
        *width = width_;
        *height = height_;
    }
    int width() const { return width_; }
    int height() const { return height_; }

    // One float per pixel; null until the first SetGrainAmount. Made on the first read after
    // a change of amount, so a reader must not race a change of amount.
    const float* GetGrainLookupR() const { return Lookup(0); }
    const float* GetGrainLookupG() const { return Lookup(1); }
    const float* GetGrainLookupB() const { return Lookup(2); }
    // The resized bitmap; null for a map made from samples.
    const BitmapRepPtr& GetGrainBitmapRep() const { return grainRep_; }

    // The response curve in force; one map serves every stock of its size, so the curve
    // changes while the image stays.
    GrainLookupPtr grainCurve() const;
    void setGrainCurve(GrainLookupPtr curve);
    // The stock for which the map was first made.
    std::string stockName() const;
    void setStockName(const std::string& stockName);
    // The scan it was made from ("CP35", "CP16", "CP8").
    std::string grainName() const;
    void setGrainName(const std::string& grainName);

private:
    GrainMap() = default;
    void CreateLookups();
    void MapRange();
    const float* Lookup(int channel) const;

    BitmapRepPtr grainRep_;
    GrainSize grainSize_;
    int width_ = 0;
    int height_ = 0;
    std::array<float, 256> textureLevels_{};
    mutable std::once_flag textureOnce_;
    mutable std::vector<float> textureData_;
    std::array<float, 3> mean_{0.5f, 0.5f, 0.5f};

    mutable std::mutex lock_;  // guards what follows
    mutable std::array<std::vector<float>, 3> grainLookup_;
    mutable double lookupAmount_ = -1.0;  // what grainLookup_ was made for
    double grainAmount_ = -1.0;
    GrainLookupPtr grainCurve_;
    std::string stockName_;
    std::string grainName_;
};

using GrainMapPtr = std::shared_ptr<GrainMap>;

}  // namespace ombrel
