#include "LookTestSupport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

#include "look/grain/GrainManager.h"
#include "model/ColorBallInfo.h"

namespace ombrel::test {

namespace {

uint16_t U16(double v) { return static_cast<uint16_t>(std::lround(std::clamp(v, 0.0, 1.0) * 65535.0)); }

}  // namespace

Frame16 CubeFrame(int width) {
    std::vector<std::array<double, 3>> colours;
    for (int i = 0; i < 64; ++i) {
        const double v = i / 63.0, d = i / 65535.0 * 20.0;  // d: the first twenty 16-bit steps per entry
        colours.insert(
            colours.end(),
            {{v, v, v}, {v, 0, 0}, {0, v, 0}, {0, 0, v}, {d, d * 0.5, d * 0.25}, {1.0 - d, 1.0 - d * 0.5, 1.0 - d}});
    }
    // The grid's levels include both ends, so its corners are the primaries and secondaries.
    const std::array<double, 12> levels{0.0, 0.0005, 0.004, 0.03, 0.1, 0.22, 0.38, 0.5, 0.66, 0.83, 0.995, 1.0};
    for (double b : levels) {
        for (double g : levels) {
            for (double r : levels) colours.push_back({r, g, b});
        }
    }
    Frame16 f;
    f.width = width;
    f.height = static_cast<int>((colours.size() + static_cast<size_t>(width) - 1) / static_cast<size_t>(width));
    // The rest of the last row: a mid grey, so every pixel is defined.
    f.rgb.assign(static_cast<size_t>(f.width * f.height * 3), 32768);
    for (size_t i = 0; i < colours.size(); ++i) {
        for (size_t k = 0; k < 3; ++k) f.rgb[3 * i + k] = U16(colours[i][k]);
    }
    return f;
}

Frame16 Uniform(int width, int height, double r, double g, double b) {
    Frame16 f{width, height, {}};
    for (int i = 0; i < width * height; ++i) f.rgb.insert(f.rgb.end(), {U16(r), U16(g), U16(b)});
    return f;
}

bool PrepareRenderProcessor(ShaderProcessor& sp, int imageW, int imageH, int outW, int outH, std::string* why) {
    if (!sp.renderContext()) {
        *why = sp.renderContextError();
        return false;
    }
    sp.setUseRenderContext(true);
    sp.setImageWidth(static_cast<uint32_t>(imageW));
    sp.setImageHeight(static_cast<uint32_t>(imageH));
    sp.setOutputWidth(static_cast<uint32_t>(outW));
    sp.setOutputHeight(static_cast<uint32_t>(outH));
    sp.SetExposureKelvin(0.0f, 5600.0f);
    if (!sp.InitPipelineForViewportContext({{0, 0}, {float(outW), float(outH)}}, nullptr) || !sp.FBOSetup(nullptr)) {
        *why = "the pipeline could not be built";
        return false;
    }
    return true;
}

std::unique_ptr<ShaderProcessor> MakeRenderProcessor(int imageW, int imageH, int outW, int outH, std::string* why) {
    auto sp = std::make_unique<ShaderProcessor>(ShaderProcessor::Backend::OpenGL);
    if (!PrepareRenderProcessor(*sp, imageW, imageH, outW, outH, why)) return nullptr;
    return sp;
}

DrawParams FrameParams(const ShaderProcessor& sp, int w, int h, uint16_t* readBack) {
    DrawParams p;
    p.name = sp.frameTexture();
    p.writeToDisk = readBack != nullptr;
    p.writeToDiskData = readBack;
    p.baseSize = {float(w), float(h)};
    p.viewportRect = {{0, 0}, {float(w), float(h)}};
    return p;
}

std::vector<uint16_t> DrawOnGpu(ShaderProcessor& sp, const Frame16& frame, int outW, int outH, int fitMethod,
                                float aspectW, float aspectH) {
    std::vector<uint16_t> out(static_cast<size_t>(outW * outH * 4), 0);
    sp.setR3dRenderBuffer(reinterpret_cast<const uint8_t*>(frame.rgb.data()));
    DrawParams p = FrameParams(sp, frame.width, frame.height, out.data());
    p.viewportRect = {{0, 0}, {float(outW), float(outH)}};
    p.fitMethod = fitMethod;
    p.aspectSize = {aspectW, aspectH};
    sp.RenderUsingR3DRenderBuffer(&p);
    out.resize(static_cast<size_t>(outW * outH * 3));
    return out;
}

std::vector<uint16_t> DrawOnCpu(const ShaderProcessor& sp, const Frame16& frame, int outW, int outH, int fitMethod,
                                float aspectW, float aspectH, cpu::HalfRounding blurRounding) {
    const cpu::CoreShaderInputs inputs = sp.CoreShaderInputsForRender();
    cpu::Image image = cpu::ImageFromRgb16(frame.rgb.data(), frame.width, frame.height, sp.HalfFloatTextures());
    if (sp.blurAmount() > 0.0f) {
        for (int i = 0; i < 2; ++i) image = cpu::BlurOnce(image, sp.blurWeight(), sp.blurOffset(), blurRounding);
    }
    cpu::Image target;
    target.width = outW;
    target.height = outH;
    target.rgba.assign(static_cast<size_t>(outW * outH * 4), 0.0f);
    for (size_t i = 3; i < target.rgba.size(); i += 4) target.rgba[i] = 1.0f;
    cpu::DrawCoreQuad(
        inputs, image,
        cpu::RenderPassQuad(outW, outH, float(frame.width), float(frame.height), fitMethod, aspectW, aspectH, true),
        target);
    std::vector<uint16_t> out(static_cast<size_t>(outW * outH * 3));
    cpu::ToUnsigned16(target, false, out.data());
    return out;
}

cpu::HalfRounding DriverHalfTargetRounding() {
    static const cpu::HalfRounding rounding = [] {
        std::string why;
        auto sp = MakeRenderProcessor(9, 7, 9, 7, &why);
        if (!sp) return cpu::HalfRounding::Nearest;
        Frame16 f = Uniform(9, 7, 0, 0, 0);
        for (size_t k = 0; k < 3; ++k) f.rgb[(3 * 9 + 4) * 3 + k] = 65535;
        sp->SetBlurAmount(40.0f);
        const auto gpu = DrawOnGpu(*sp, f, 9, 7);
        const double nearest = Compare(gpu, DrawOnCpu(*sp, f, 9, 7, 2, 0, 0, cpu::HalfRounding::Nearest)).max1023;
        const double towardZero = Compare(gpu, DrawOnCpu(*sp, f, 9, 7, 2, 0, 0, cpu::HalfRounding::TowardZero)).max1023;
        return towardZero < nearest ? cpu::HalfRounding::TowardZero : cpu::HalfRounding::Nearest;
    }();
    return rounding;
}

Difference Compare(const std::vector<uint16_t>& a, const std::vector<uint16_t>& b) {
    Difference d;
    std::vector<double> diffs(a.size());
    for (size_t i = 0; i < a.size() && i < b.size(); ++i) {
        diffs[i] = std::abs(double(a[i]) - double(b[i])) / 65535.0 * 1023.0;
        if (diffs[i] > d.max1023) {
            d.max1023 = diffs[i];
            d.worstIndex = i;
        }
    }
    if (!diffs.empty()) {
        std::nth_element(diffs.begin(), diffs.begin() + static_cast<long>(diffs.size() / 2), diffs.end());
        d.median1023 = diffs[diffs.size() / 2];
    }
    return d;
}

void FillCurvedTable3(float* table, int n, int denominator) {
    const double gamma[3] = {0.8, 1.25, 1.6};
    for (int i = 0; i < n; ++i) {
        const double x = std::min(1.0, i / double(denominator));
        for (int k = 0; k < 3; ++k) table[3 * i + k] = static_cast<float>(std::pow(x, gamma[k]));
    }
}

std::vector<LookCase> Sweep() {
    // An installed stock table, which mixes the channels, and an installed grain scan and curve.
    auto film = [](ShaderProcessor& sp, double mix) {
        sp.SetCurrentLUTSourceTypeChosenR3DMode("5213", "5D", std::nullopt, false);
        sp.SetBlendValue(mix);
    };
    auto grain = [](ShaderProcessor& sp, double amount) {
        sp.SetGrainMap(GrainManager::Instance().GrainMapWithNameSizeStockName("CP35", 37.0f, 29.0f, "5207"), false);
        sp.SetGrainValue(amount);
    };
    std::vector<LookCase> cases;
    cases.push_back({"neutral", [](ShaderProcessor&) {}, Effect::Neutral});
    cases.push_back({"exposure table alone", [](ShaderProcessor& sp) {
                         sp.EditTables([](ShaderProcessor::Tables& t) {
                             test::FillCurvedTable3(t.exposureTexture.data(), kTableLength, 4095);
                         });
                     }});
    cases.push_back({"balls table alone", [](ShaderProcessor& sp) {
                         sp.EditTables([](ShaderProcessor::Tables& t) {
                             test::FillCurvedTable3(t.ballTexture.data(), kTableLength, 4095);
                             std::reverse(t.ballTexture.begin(), t.ballTexture.end());
                             for (float& v : t.ballTexture) v = 1.0f - v;  // rising again, channels swapped
                         });
                     }});
    auto exposure = [](float stops, float kelvin) {
        return [=](ShaderProcessor& sp) { sp.SetExposureKelvin(stops, kelvin); };
    };
    cases.push_back({"exposure one stop up", exposure(1.0f, 5600.0f)});
    cases.push_back({"exposure at 3200 K", exposure(0.0f, 3200.0f)});
    auto balls = [](ColorBallInfo info) { return [=](ShaderProcessor& sp) { sp.SetBallInfo(info); }; };
    cases.push_back({"red shadow ball at the rim", balls({{0, 0}, {0, 0}, {1.0f, 1.5707964f}})});
    cases.push_back({"three balls", balls({{0.7f, 2.0f}, {0.5f, -2.5f}, {0.8f, 0.3f}})});
    cases.push_back({"lift gamma gain alone", [](ShaderProcessor& sp) { sp.SetLiftGammaGain(0.6f, 1.4f, 1.25f); }});
    cases.push_back(
        {"lift gamma gain at their limits", [](ShaderProcessor& sp) { sp.SetLiftGammaGain(2.5f, 0.3f, 0.8f); }});
    cases.push_back({"saturation raised", [](ShaderProcessor& sp) { sp.SetSaturation(1.8f); }});
    cases.push_back({"stock table full", [=](ShaderProcessor& sp) { film(sp, 1.0); }});
    cases.push_back({"stock table loaded, mix 0", [=](ShaderProcessor& sp) { film(sp, 0.0); }, Effect::Neutral});
    cases.push_back({"S-curve full", [](ShaderProcessor& sp) { sp.SetSBlendValue(1.0); }});
    cases.push_back({"levels on", [](ShaderProcessor& sp) { sp.SetHistogramBMW(0.1, 0.45, 0.85); }});
    cases.push_back({"levels with black above white", [](ShaderProcessor& sp) { sp.SetHistogramBMW(0.9, 0.5, 0.8); }});
    cases.push_back({"grain full", [=](ShaderProcessor& sp) { grain(sp, 1.0); }});
    cases.push_back({"grain image loaded, mix 0", [=](ShaderProcessor& sp) { grain(sp, 0.0); }, Effect::Neutral});
    auto blackAndWhite = [=](const char* stock, double mix, double sCurve) {
        return [=](ShaderProcessor& sp) {
            film(sp, mix);
            sp.SetCurrentLUTSourceTypeChosenR3DMode(stock, "5D", std::nullopt, false);
            sp.SetSBlendValue(sCurve);
        };
    };
    cases.push_back({"black-and-white stock", blackAndWhite("KodakTriX", 1.0, 0.0)});
    cases.push_back({"black-and-white stock with the S-curve", blackAndWhite("IlfordDelta400", 0.0, 1.0)});
    auto everything = [=](float blur, bool original) {
        return [=](ShaderProcessor& sp) {
            sp.EditTables([](ShaderProcessor::Tables& t) {
                test::FillCurvedTable3(t.exposureTexture.data(), kTableLength, 4095);
            });
            film(sp, 0.8);
            sp.SetLiftGammaGain(0.9f, 1.1f, 1.05f);
            sp.SetSaturation(1.3f);
            sp.SetSBlendValue(0.6);
            sp.SetHistogramBMW(0.05, 0.5, 0.95);
            grain(sp, 0.7);
            sp.SetBlurAmount(blur);
            sp.setShowOriginal(original);
        };
    };
    cases.push_back({"everything at once", everything(0.0f, false)});
    // The bypass leaves exposure in the picture and takes out everything else.
    cases.push_back({"everything, shown original", everything(0.0f, true), Effect::SameAsExposureAlone});
    cases.push_back({"blur", [](ShaderProcessor& sp) { sp.SetBlurAmount(1.0f); }});
    cases.push_back({"blur with the look, shown original", everything(0.8f, true)});
    return cases;
}

}  // namespace ombrel::test
