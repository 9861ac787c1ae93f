// The row pass of LookKernel, compiled once per SIMD target (included again for each through
// Highway's foreach_target); no include guard of the usual kind on purpose.

#if defined(OMBREL_LOOK_KERNEL_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef OMBREL_LOOK_KERNEL_INL_H_
#undef OMBREL_LOOK_KERNEL_INL_H_
#else
#define OMBREL_LOOK_KERNEL_INL_H_
#endif

#include <hwy/highway.h>

#include <algorithm>
#include <cstring>

#include "look/fast/LookKernel.h"

HWY_BEFORE_NAMESPACE();
namespace ombrel::fast {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

using DF = hn::ScalableTag<float>;
using DI = hn::RebindToSigned<DF>;
using D16 = hn::Rebind<uint16_t, DF>;
using VF = hn::Vec<DF>;
using VI = hn::Vec<DI>;

inline VF Clamp01(VF v) { return hn::Min(hn::Max(v, hn::Zero(DF())), hn::Set(DF(), 1.0f)); }
inline VF Mix(VF x, VF y, VF a) { return hn::MulAdd(y, a, hn::Mul(x, hn::Sub(hn::Set(DF(), 1.0f), a))); }

// GL's linear filter over a table of n entries for a level already scaled to x = level * (n - 1)
// or level * n, with clamp to edge.
inline VF Lerp(const float* table, VF x, int n) {
    const DF df;
    const DI di;
    const VF fl = hn::Floor(x);
    const VF f = hn::Sub(x, fl);
    const VI last = hn::Set(di, n - 1);
    const VI i0 = hn::Min(hn::Max(hn::ConvertTo(di, fl), hn::Zero(di)), last);
    const VI i1 = hn::Min(hn::Add(i0, hn::Set(di, 1)), last);
    return hn::MulAdd(hn::GatherIndex(df, table, i1), f,
                      hn::Mul(hn::GatherIndex(df, table, i0), hn::Sub(hn::Set(df, 1.0f), f)));
}

inline void Times(const std::array<float, 9>& m, VF& r, VF& g, VF& b) {
    const DF df;
    const VF nr = hn::MulAdd(b, hn::Set(df, m[6]), hn::MulAdd(g, hn::Set(df, m[3]), hn::Mul(r, hn::Set(df, m[0]))));
    const VF ng = hn::MulAdd(b, hn::Set(df, m[7]), hn::MulAdd(g, hn::Set(df, m[4]), hn::Mul(r, hn::Set(df, m[1]))));
    const VF nb = hn::MulAdd(b, hn::Set(df, m[8]), hn::MulAdd(g, hn::Set(df, m[5]), hn::Mul(r, hn::Set(df, m[2]))));
    r = nr;
    g = ng;
    b = nb;
}

// The stock table at a colour in 0..1, by tetrahedral interpolation: the cell's diagonal from
// its lowest to its highest corner through the two corners that the order of the fractions
// picks, chosen per lane by masks.
inline void Tetrahedral(const KernelTables& t, VF& r, VF& g, VF& b) {
    const DF df;
    const DI di;
    const VF scale = hn::Set(df, 63.0f);
    const VI top = hn::Set(di, 62);
    const VF xr = hn::Mul(r, scale), xg = hn::Mul(g, scale), xb = hn::Mul(b, scale);
    const VI ir = hn::Min(hn::ConvertTo(di, xr), top);
    const VI ig = hn::Min(hn::ConvertTo(di, xg), top);
    const VI ib = hn::Min(hn::ConvertTo(di, xb), top);
    const VF fr = hn::Sub(xr, hn::ConvertTo(df, ir));
    const VF fg = hn::Sub(xg, hn::ConvertTo(df, ig));
    const VF fb = hn::Sub(xb, hn::ConvertTo(df, ib));
    const VI base = hn::Add(ir, hn::Add(hn::Mul(ig, hn::Set(di, 64)), hn::Mul(ib, hn::Set(di, 4096))));

    const auto rg = hn::RebindMask(di, hn::Ge(fr, fg));
    const auto gb = hn::RebindMask(di, hn::Ge(fg, fb));
    const auto rb = hn::RebindMask(di, hn::Ge(fr, fb));
    const VI stepR = hn::Set(di, 1), stepG = hn::Set(di, 64), stepB = hn::Set(di, 4096);
    // The largest fraction's axis leads; the smallest one's comes last.
    const VI first = hn::IfThenElse(hn::And(rg, rb), stepR, hn::IfThenElse(hn::AndNot(rg, gb), stepG, stepB));
    const VI lastAxis = hn::IfThenElse(hn::And(rb, gb), stepB, hn::IfThenElse(hn::Or(rb, rg), stepG, stepR));
    const VI whole = hn::Set(di, 1 + 64 + 4096);
    const VI i1 = hn::Add(base, first);
    const VI i2 = hn::Add(base, hn::Sub(whole, lastAxis));
    const VI i3 = hn::Add(base, whole);

    const VF fmax = hn::Max(fr, hn::Max(fg, fb));
    const VF fmin = hn::Min(fr, hn::Min(fg, fb));
    const VF fmid = hn::Sub(hn::Add(fr, hn::Add(fg, fb)), hn::Add(fmax, fmin));
    const VF w0 = hn::Sub(hn::Set(df, 1.0f), fmax);
    const VF w1 = hn::Sub(fmax, fmid);
    const VF w2 = hn::Sub(fmid, fmin);
    VF out[3];
    for (int k = 0; k < 3; ++k) {
        const float* lut = t.stock[k];
        VF v = hn::Mul(hn::GatherIndex(df, lut, base), w0);
        v = hn::MulAdd(hn::GatherIndex(df, lut, i1), w1, v);
        v = hn::MulAdd(hn::GatherIndex(df, lut, i2), w2, v);
        out[k] = hn::MulAdd(hn::GatherIndex(df, lut, i3), fmin, v);
    }
    r = out[0];
    g = out[1];
    b = out[2];
}

inline VF SCurve(VF x) {
    const DF df;
    // x + 0.5 x (1 - x) (2x - 1)
    const VF one = hn::Set(df, 1.0f);
    const VF t = hn::Mul(hn::Mul(hn::Set(df, 0.5f), x), hn::Sub(one, x));
    return hn::MulAdd(t, hn::Sub(hn::Add(x, x), one), x);
}

// Lanes(DF) pixels starting at `in` (interleaved RGB) to `out`.
inline void Pixels(const KernelTables& t, const uint16_t* in, void* out, KernelOutput layout, const int32_t* columns,
                   int grainRowBase) {
    const DF df;
    const DI di;
    const D16 d16;
    hn::Vec<D16> r16, g16, b16;
    hn::LoadInterleaved3(d16, in, r16, g16, b16);
    VF r = hn::GatherIndex(df, t.perChannel[0], hn::PromoteTo(di, r16));
    VF g = hn::GatherIndex(df, t.perChannel[1], hn::PromoteTo(di, g16));
    VF b = hn::GatherIndex(df, t.perChannel[2], hn::PromoteTo(di, b16));
    Times(t.saturation, r, g, b);
    r = Clamp01(r);
    g = Clamp01(g);
    b = Clamp01(b);
    VF fr = r, fg = g, fb = b;
    Tetrahedral(t, fr, fg, fb);
    const VF amount = hn::Set(df, t.stockAmount);
    const VF sBlend = hn::Set(df, t.sBlend);
    r = Clamp01(Mix(r, fr, amount));
    g = Clamp01(Mix(g, fg, amount));
    b = Clamp01(Mix(b, fb, amount));
    r = Mix(r, SCurve(r), sBlend);
    g = Mix(g, SCurve(g), sBlend);
    b = Mix(b, SCurve(b), sBlend);
    Times(t.blackAndWhite, r, g, b);
    if (t.spline) {
        const VF n = hn::Set(df, 4096.0f);
        const VF h = hn::Set(df, t.histogramAmount);
        r = Mix(r, Lerp(t.spline, hn::Mul(Clamp01(r), n), 4096), h);
        g = Mix(g, Lerp(t.spline, hn::Mul(Clamp01(g), n), 4096), h);
        b = Mix(b, Lerp(t.spline, hn::Mul(Clamp01(b), n), 4096), h);
    }
    if (t.grain[0] || t.grainTexels) {
        const VF level = Clamp01(hn::MulAdd(
            b, hn::Set(df, 0.0722f), hn::MulAdd(g, hn::Set(df, 0.7152f), hn::Mul(r, hn::Set(df, 0.2126f)))));
        const VF x = hn::Mul(level, hn::Set(df, 255.0f));
        const VI at = hn::Add(hn::LoadU(di, columns), hn::Set(di, grainRowBase));
        VF gr, gg, gb;
        if (t.grainTexels) {
            // One 32-bit read a texel, its three bytes through the map's levels, then the
            // colourfulness and amount as a matrix.
            const VI texel = hn::GatherOffset(di, reinterpret_cast<const int32_t*>(t.grainTexels), at);
            const VI byte = hn::Set(di, 0xFF);
            const VF l0 = hn::GatherIndex(df, t.grainLevels, hn::And(texel, byte));
            const VF l1 = hn::GatherIndex(df, t.grainLevels, hn::And(hn::ShiftRight<8>(texel), byte));
            const VF l2 = hn::GatherIndex(df, t.grainLevels, hn::And(hn::ShiftRight<16>(texel), byte));
            const auto& m = t.grainMix;
            gr = hn::MulAdd(l2, hn::Set(df, m[2]), hn::MulAdd(l1, hn::Set(df, m[1]), hn::MulAdd(l0, hn::Set(df, m[0]), hn::Set(df, t.grainBias[0]))));
            gg = hn::MulAdd(l2, hn::Set(df, m[5]), hn::MulAdd(l1, hn::Set(df, m[4]), hn::MulAdd(l0, hn::Set(df, m[3]), hn::Set(df, t.grainBias[1]))));
            gb = hn::MulAdd(l2, hn::Set(df, m[8]), hn::MulAdd(l1, hn::Set(df, m[7]), hn::MulAdd(l0, hn::Set(df, m[6]), hn::Set(df, t.grainBias[2]))));
        } else {
            gr = hn::GatherIndex(df, t.grain[0], at);
            gg = hn::GatherIndex(df, t.grain[1], at);
            gb = hn::GatherIndex(df, t.grain[2], at);
        }
        r = hn::MulAdd(gr, Lerp(t.grainCurve[0], x, 256), r);
        g = hn::MulAdd(gg, Lerp(t.grainCurve[1], x, 256), g);
        b = hn::MulAdd(gb, Lerp(t.grainCurve[2], x, 256), b);
    }
    const VF full = hn::Set(df, 65535.0f);
    const VI ri = hn::NearestInt(hn::Mul(Clamp01(r), full));
    const VI gi = hn::NearestInt(hn::Mul(Clamp01(g), full));
    const VI bi = hn::NearestInt(hn::Mul(Clamp01(b), full));
    if (layout == KernelOutput::kDpx10) {
        // The 16-bit sample's top ten bits, as the file writer packs a read-back.
        const VI word = hn::Or(hn::ShiftLeft<22>(hn::ShiftRight<6>(ri)),
                               hn::Or(hn::ShiftLeft<12>(hn::ShiftRight<6>(gi)), hn::ShiftLeft<2>(hn::ShiftRight<6>(bi))));
        hn::StoreU(word, di, static_cast<int32_t*>(out));
        return;
    }
    auto r16o = hn::DemoteTo(d16, ri);
    auto g16o = hn::DemoteTo(d16, gi);
    auto b16o = hn::DemoteTo(d16, bi);
    auto* o16 = static_cast<uint16_t*>(out);
    if (layout == KernelOutput::kRgba16) {
        hn::StoreInterleaved4(r16o, g16o, b16o, hn::Set(d16, uint16_t{65535}), d16, o16);
        return;
    }
    if (layout == KernelOutput::kRgb16BigEndian) {
        r16o = hn::Or(hn::ShiftLeft<8>(r16o), hn::ShiftRight<8>(r16o));
        g16o = hn::Or(hn::ShiftLeft<8>(g16o), hn::ShiftRight<8>(g16o));
        b16o = hn::Or(hn::ShiftLeft<8>(b16o), hn::ShiftRight<8>(b16o));
    }
    hn::StoreInterleaved3(r16o, g16o, b16o, d16, o16);
}

void RenderRowsImpl(const KernelTables& t, const uint16_t* rgb, int width, int y0, int y1, void* out,
                    KernelOutput layout, const int32_t* columns, int grainRow0) {
    const DF df;
    const size_t lanes = hn::Lanes(df);
    const size_t bpp = BytesPerPixel(layout);
    const size_t w = static_cast<size_t>(width);
    const size_t whole = w / lanes * lanes;
    HWY_ALIGN uint16_t tailIn[3 * kMaxLanes] = {};
    HWY_ALIGN uint8_t tailOut[8 * kMaxLanes];
    for (int y = y0; y < y1; ++y) {
        int grainRow = 0;
        if (t.grain[0] || t.grainTexels) {
            grainRow = (grainRow0 + y) % t.grainHeight;
            grainRow *= t.grainTexels ? t.grainRowBytes : t.grainWidth;
        }
        const uint16_t* in = rgb + 3 * w * static_cast<size_t>(y);
        uint8_t* o = static_cast<uint8_t*>(out) + bpp * w * static_cast<size_t>(y);
        size_t x = 0;
        for (; x < whole; x += lanes) Pixels(t, in + 3 * x, o + bpp * x, layout, columns + x, grainRow);
        if (x < w) {  // the last pixels of an odd row through a full vector
            std::memcpy(tailIn, in + 3 * x, 3 * (w - x) * sizeof(uint16_t));
            Pixels(t, tailIn, tailOut, layout, columns + x, grainRow);
            std::memcpy(o + bpp * x, tailOut, bpp * (w - x));
        }
    }
}

}  // namespace HWY_NAMESPACE
}  // namespace ombrel::fast
HWY_AFTER_NAMESPACE();

#endif
