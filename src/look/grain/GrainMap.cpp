#include "look/grain/GrainMap.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <new>

#include "core/Log.h"

namespace ombrel {

namespace {

// The wrap-around margin on each side of a plane before it is scaled.
constexpr int kPad = 10;
// Bytes at the start of the bitmap that set the range of the texture values.
constexpr size_t kRangeSampleBytes = 1000;

// C's truncation to int, with what C leaves undefined (NaN, out of range) made harmless: an
// impossible size then fails as a size, not as arithmetic.
int Truncate(double v) {
    if (!std::isfinite(v)) return 0;
    if (v >= static_cast<double>(INT_MAX)) return INT_MAX;
    if (v <= static_cast<double>(INT_MIN)) return INT_MIN;
    return static_cast<int>(v);
}

int Wrap(int v, int n) { return ((v % n) + n) % n; }

std::unique_ptr<uint8_t[]> TryAllocate(size_t bytes) {
    return std::unique_ptr<uint8_t[]>(new (std::nothrow) uint8_t[bytes]);
}

}  // namespace

BitmapRepPtr GrainMap::resizeNSImageToSize(const BitmapRepPtr& scan, float width, float height, GrainSize* grainSize) {
    const int iw = scan ? scan->width : 0;
    const int ih = scan ? scan->height : 0;
    auto original = [&]() {
        *grainSize = {static_cast<float>(iw), static_cast<float>(ih)};
        return scan;
    };
    if (iw <= 0 || ih <= 0 || !scan || scan->data.empty()) {
        LogWarn("grain resize WARNING: possible divide by 0 error - using original");
        return original();
    }
    const double tw = width, th = height;
    const double sx = tw / iw, sy = th / ih;
    int cw = iw, ch = ih, ox = 0, oy = 0, ow = 0, oh = 0;
    if (sx > 1.0 && sy > 1.0) {
        // Larger than the scan: magnify a centred crop, so grain grows by the factor while
        // the image stays about the scan's size.
        cw = Truncate(iw / sx);
        ch = Truncate(ih / sy);
        ox = Truncate((iw - cw) / 2.0);
        oy = Truncate((ih - ch) / 2.0);
        ow = Truncate(sx * cw);
        oh = Truncate(sy * ch);
    } else {
        ow = Truncate(tw);
        oh = Truncate(th);
    }

    std::shared_ptr<BitmapRep> result = BitmapRep::TryRgba8(ow, oh);
    if (!result || cw < 1 || ch < 1) {
        LogWarn("grain resize WARNING: could not initialize resized grain image - using original");
        return original();
    }

    const int pw = cw + 2 * kPad, ph = ch + 2 * kPad;
    int dw = Truncate(pw * (static_cast<double>(ow) / cw));
    int dh = Truncate(ph * (static_cast<double>(oh) / ch));
    const int mx = (dw - ow) / 2, my = (dh - oh) / 2;
    int sx0 = mx, sy0 = my;
    // An odd margin cannot be split evenly: grow the scaled plane by one so the window sits
    // in its middle.
    if ((dw - ow) % 2 != 0) {
        dw = ow + 2 * mx + 2;
        sx0 = mx + 1;
    }
    if ((dh - oh) % 2 != 0) {
        dh = oh + 2 * my + 2;
        sy0 = my + 1;
    }

    const size_t cropBytes = static_cast<size_t>(cw) * static_cast<size_t>(ch);
    const size_t padBytes = static_cast<size_t>(pw) * static_cast<size_t>(ph);
    const size_t scaledBytes = static_cast<size_t>(dw) * static_cast<size_t>(dh);
    const auto crop = TryAllocate(cropBytes), padded = TryAllocate(padBytes), scaled = TryAllocate(scaledBytes);
    if (!crop || !padded || !scaled) {
        LogWarn("grain resize warning - buffer memory not allocated - using original grain size");
        return original();
    }

    // Where each padded column and row comes from in the crop: the torus, so the margin on
    // each side is the far edge of the image.
    std::vector<int> fromX(static_cast<size_t>(pw)), fromY(static_cast<size_t>(ph));
    for (int x = 0; x < pw; ++x) fromX[static_cast<size_t>(x)] = Wrap(x - kPad, cw);
    for (int y = 0; y < ph; ++y) fromY[static_cast<size_t>(y)] = Wrap(y - kPad, ch);

    const int step = std::max(scan->samplesPerPixel, 1);
    for (int c = 0; c < 3; ++c) {
        const int sample = std::min(c, step - 1);
        for (int y = 0; y < ch; ++y) {
            const uint8_t* in = scan->row(oy + y) + static_cast<size_t>(ox) * step + sample;
            uint8_t* out = crop.get() + static_cast<size_t>(y) * cw;
            for (int x = 0; x < cw; ++x) out[x] = in[static_cast<size_t>(x) * step];
        }
        for (int y = 0; y < ph; ++y) {
            const uint8_t* in = crop.get() + static_cast<size_t>(fromY[static_cast<size_t>(y)]) * cw;
            uint8_t* out = padded.get() + static_cast<size_t>(y) * pw;
            for (int x = 0; x < pw; ++x) out[x] = in[fromX[static_cast<size_t>(x)]];
        }
        const int rc = ScalePlanar8(padded.get(), pw, ph, pw, scaled.get(), dw, dh, dw);
        if (rc != 0) {
            LogWarn("grain resize error:{} - could not resize plane - using original image", rc);
            return original();
        }
        for (int y = 0; y < oh; ++y) {
            const uint8_t* in = scaled.get() + static_cast<size_t>(y + sy0) * dw + sx0;
            uint8_t* out = result->row(y) + c;
            for (int x = 0; x < ow; ++x) out[static_cast<size_t>(x) * 4] = in[x];
        }
    }
    for (int y = 0; y < oh; ++y) {
        uint8_t* out = result->row(y) + 3;
        for (int x = 0; x < ow; ++x) out[static_cast<size_t>(x) * 4] = 255;
    }
    *grainSize = {static_cast<float>(ow), static_cast<float>(oh)};
    return result;
}

GrainMap::GrainMap(BitmapRepPtr scan, float width, float height) {
    (void)height;  // the scan's aspect decides the height
    const double aspect = scan && scan->height > 0 ? static_cast<double>(scan->width) / scan->height : 0.0;
    const int h = aspect > 0.0 ? Truncate(std::ceil(width / aspect)) : 0;
    grainRep_ = resizeNSImageToSize(scan, width, static_cast<float>(h), &grainSize_);
    width_ = Truncate(grainSize_.width);
    height_ = Truncate(grainSize_.height);
    CreateLookups();
    MapRange();
}

std::shared_ptr<GrainMap> GrainMap::FromResized(BitmapRepPtr resized) {
    std::shared_ptr<GrainMap> map(new GrainMap());
    map->grainRep_ = std::move(resized);
    map->width_ = map->grainRep_ ? map->grainRep_->width : 0;
    map->height_ = map->grainRep_ ? map->grainRep_->height : 0;
    map->grainSize_ = {static_cast<float>(map->width_), static_cast<float>(map->height_)};
    map->CreateLookups();
    map->MapRange();
    return map;
}

GrainMap::GrainMap(int width, int height, std::vector<float> textureData, std::string stockName, std::string grainName)
    : width_(std::max(width, 0)),
      height_(std::max(height, 0)),
      textureData_(std::move(textureData)),
      grainCurve_(std::make_shared<GrainLookup>()),
      stockName_(std::move(stockName)),
      grainName_(std::move(grainName)) {
    grainSize_ = {static_cast<float>(width_), static_cast<float>(height_)};
    const size_t pixels = static_cast<size_t>(width_) * static_cast<size_t>(height_);
    textureData_.resize(pixels * 3, 0.5f);
    std::array<double, 3> sum{};
    for (size_t i = 0; i < pixels; ++i) {
        for (int c = 0; c < 3; ++c) sum[static_cast<size_t>(c)] += textureData_[i * 3 + static_cast<size_t>(c)];
    }
    if (pixels > 0) {
        for (int c = 0; c < 3; ++c)
            mean_[static_cast<size_t>(c)] = static_cast<float>(sum[static_cast<size_t>(c)] / pixels);
    }
}

void GrainMap::CreateLookups() {
    const long long pixelCount = static_cast<long long>(width_) * height_;
    if (pixelCount <= 0) LogFatal("A grain map needs pixels (pixelCount > 0)");
    grainCurve_ = std::make_shared<GrainLookup>();
}

void GrainMap::MapRange() {
    // The range comes from the first pixels of the image only, so values further on may fall
    // outside 0..1. The texture does not depend on the amount, so it is made once, here.
    const BitmapRep& rep = *grainRep_;
    const int spp = rep.bitsPerSample > 0 ? std::max(rep.bitsPerPixel / rep.bitsPerSample, 1) : 1;
    const int r = 0, g = std::min(1, spp - 1), b = std::min(2, spp - 1);
    const size_t sampleBytes = std::min(kRangeSampleBytes, rep.data.size());
    int smallest = 255, largest = 0;
    for (size_t i = 0; i + static_cast<size_t>(b) < sampleBytes; i += static_cast<size_t>(spp)) {
        for (int c : {r, g, b}) {
            smallest = std::min<int>(smallest, rep.data[i + static_cast<size_t>(c)]);
            largest = std::max<int>(largest, rep.data[i + static_cast<size_t>(c)]);
        }
    }
    double lo = 0.0, k = 1.0;
    if (smallest < largest) {
        lo = smallest;
        k = 255.0 / (largest - smallest);
    }
    for (int v = 0; v < 256; ++v) textureLevels_[static_cast<size_t>(v)] = static_cast<float>((v - lo) * k / 255.0);
    // The mean of the texture from how often each byte occurs.
    std::array<std::array<uint64_t, 256>, 3> counts{};
    for (int y = 0; y < height_; ++y) {
        const uint8_t* in = rep.row(y);
        for (int x = 0; x < width_; ++x, in += spp) {
            for (int c = 0; c < 3; ++c) ++counts[static_cast<size_t>(c)][in[std::min(c, spp - 1)]];
        }
    }
    const double pixels = static_cast<double>(width_) * height_;
    for (size_t c = 0; c < 3; ++c) {
        double sum = 0.0;
        for (size_t v = 0; v < 256; ++v) sum += static_cast<double>(counts[c][v]) * textureLevels_[v];
        mean_[c] = static_cast<float>(sum / pixels);
    }
}

const float* GrainMap::GetTextureData() const {
    if (!grainRep_) return textureData_.data();
    std::call_once(textureOnce_, [this] {
        const BitmapRep& rep = *grainRep_;
        const int spp = rep.bitsPerSample > 0 ? std::max(rep.bitsPerPixel / rep.bitsPerSample, 1) : 1;
        textureData_.resize(static_cast<size_t>(width_) * static_cast<size_t>(height_) * 3);
        float* out = textureData_.data();
        for (int y = 0; y < height_; ++y) {
            const uint8_t* in = rep.row(y);
            for (int x = 0; x < width_; ++x, in += spp) {
                for (int c = 0; c < 3; ++c) *out++ = textureLevels_[in[std::min(c, spp - 1)]];
            }
        }
    });
    return textureData_.data();
}

void GrainMap::SetGrainAmount(double amount) {
    std::lock_guard lock(lock_);
    if (amount == grainAmount_) return;
    if (!grainRep_ && textureData_.empty()) LogFatal("grainTextureData != nil");
    grainAmount_ = amount;
    lookupAmount_ = -1.0;
}

double GrainMap::grainAmount() const {
    std::lock_guard lock(lock_);
    return grainAmount_;
}

const float* GrainMap::Lookup(int channel) const {
    std::lock_guard lock(lock_);
    if (grainAmount_ < 0.0) return nullptr;
    // Made when first read: the draws read the texture, so most maps never need them, and
    // three planes of floats at the map's size are not free to fill.
    if (lookupAmount_ != grainAmount_) {
        const size_t pixels = static_cast<size_t>(width_) * static_cast<size_t>(height_);
        for (size_t c = 0; c < 3; ++c) {
            grainLookup_[c].resize(pixels);
            const float* texture = GetTextureData();
            for (size_t i = 0; i < pixels; ++i)
                grainLookup_[c][i] = static_cast<float>((texture[i * 3 + c] * 65535.0 - 32767.0) * grainAmount_);
        }
        lookupAmount_ = grainAmount_;
    }
    return grainLookup_[static_cast<size_t>(channel)].data();
}

GrainLookupPtr GrainMap::grainCurve() const {
    std::lock_guard lock(lock_);
    return grainCurve_;
}

void GrainMap::setGrainCurve(GrainLookupPtr curve) {
    std::lock_guard lock(lock_);
    grainCurve_ = curve ? std::move(curve) : std::make_shared<GrainLookup>();
}

std::string GrainMap::stockName() const {
    std::lock_guard lock(lock_);
    return stockName_;
}

void GrainMap::setStockName(const std::string& stockName) {
    std::lock_guard lock(lock_);
    stockName_ = stockName;
}

std::string GrainMap::grainName() const {
    std::lock_guard lock(lock_);
    return grainName_;
}

void GrainMap::setGrainName(const std::string& grainName) {
    std::lock_guard lock(lock_);
    grainName_ = grainName;
}

}  // namespace ombrel
