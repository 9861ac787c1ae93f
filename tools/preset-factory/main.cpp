// preset-factory: the factory library of a first run.
//
//   preset-factory LOOKS.txt --clip CLIP.R3D --out DIR
//
// Writes DIR/FactoryPresets.plist (each look's property list under "Presets", keyed by its id)
// and DIR/<id>.tiff, an 80 x 44 RGB thumbnail of each look: the clip's first frame through the
// CPU reference of the look pipeline. Reads the film data of the data root ($OMBREL_DATA_DIR).
// Exit status: 0 done, 1 failed (message on stderr), 2 bad usage.
#include <CLI/CLI.hpp>
#include <tiffio.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "Looks.h"
#include "core/AtomicFile.h"
#include "core/Log.h"
#include "look/ShaderProcessor.h"
#include "sources/R3DSource.h"

namespace {

using namespace ombrel;

constexpr int kThumbWidth = 80;
constexpr int kThumbHeight = 44;
constexpr int kFitFill = 2;

int Fail(const std::string& message) {
    std::fprintf(stderr, "preset-factory: %s\n", message.c_str());
    return 1;
}

// 8-bit RGB, rows top to bottom, written beside the target and renamed over it.
bool WriteRgbTiff(const std::vector<uint8_t>& rgb, const std::string& path) {
    const std::string tmp = TemporaryPathFor(path);
    TIFF* tif = TIFFOpen(tmp.c_str(), "w");
    if (!tif) return false;
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, kThumbWidth);
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, kThumbHeight);
    TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 3);
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
    TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tif, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, kThumbHeight);
    TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    bool ok = true;
    for (int y = 0; y < kThumbHeight && ok; ++y)
        ok = TIFFWriteScanline(tif, const_cast<uint8_t*>(rgb.data() + static_cast<size_t>(y) * kThumbWidth * 3),
                               static_cast<uint32_t>(y), 0) >= 0;
    TIFFClose(tif);
    std::error_code ec;
    if (ok) std::filesystem::rename(tmp, path, ec);
    if (!ok || ec) std::filesystem::remove(tmp, ec);
    return ok && !ec;
}

// The look over the source's decoded first frame, 8-bit RGB top-down.
bool RenderThumbnail(R3DSource& source, const ClipSettings& look, std::vector<uint8_t>* rgb, std::string* why) {
    ShaderProcessor sp(ShaderProcessor::Backend::Cpu);
    sp.setCpuKernel(ShaderProcessor::CpuKernel::Reference);
    sp.setUseRenderContext(true);
    sp.setImageWidth(source.Width());
    sp.setImageHeight(source.Height());
    sp.setOutputWidth(kThumbWidth);
    sp.setOutputHeight(kThumbHeight);
    sp.SetSaturation(static_cast<float>(look.saturation()));
    sp.SetBallInfo(look.ballInfo());
    sp.SetLiftGammaGain(look.lift(), look.gamma(), look.gain());
    sp.SetExposureKelvin(0.0f, 5600.0f);  // the decoder develops exposure and colour temperature
    sp.SetBlendValue(look.colorChangePercent());
    sp.SetSBlendValue(look.scurveChangePercent());
    sp.SetGrainValue(look.grainMultiplier());
    sp.SetHistogramBMW(look.black(), look.mid(), look.white());
    sp.setR3dRenderBuffer(source.needsResize() ? source.ResizeBuffer() : source.RawBuffer());
    const FloatRect rect{{0, 0}, {float(kThumbWidth), float(kThumbHeight)}};
    if (!sp.InitPipelineForViewportContext(rect, nullptr) || !sp.FBOSetup(nullptr))
        return *why = "the CPU pipeline could not be set up", false;
    sp.SetCurrentLUTSourceTypeChosenR3DMode(look.stockName(), source.SourceType(), look.sourceCameraChosen(), true);
    sp.ChangeGrainMapToStockScaleCurveOnly(look.stockName(), look.grainScale(), false);

    std::vector<uint16_t> out(static_cast<size_t>(kThumbWidth) * kThumbHeight * 4);
    DrawParams p;
    p.name = sp.frameTexture();
    p.target = GL_TEXTURE_RECTANGLE;
    p.writeToDisk = true;
    p.writeToDiskData = out.data();
    p.baseSize = {float(source.Width()), float(source.Height())};
    p.viewportRect = rect;
    p.fitMethod = kFitFill;
    p.aspectSize = {float(source.AspectWidth()), float(source.AspectHeight())};
    sp.RenderUsingR3DRenderBuffer(&p);
    // Read-back rows are bottom-up, three samples a pixel.
    rgb->assign(static_cast<size_t>(kThumbWidth) * kThumbHeight * 3, 0);
    for (int y = 0; y < kThumbHeight; ++y) {
        const uint16_t* row = out.data() + static_cast<size_t>(kThumbHeight - 1 - y) * kThumbWidth * 3;
        for (int i = 0; i < kThumbWidth * 3; ++i)
            (*rgb)[static_cast<size_t>(y) * kThumbWidth * 3 + static_cast<size_t>(i)] =
                static_cast<uint8_t>((row[i] * 255u + 32767u) / 65535u);
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Makes the factory preset list and its thumbnails."};
    std::string looksPath, clipPath, outDir;
    app.add_option("looks", looksPath, "the plain looks (data/presets/Examples.txt)")->required();
    app.add_option("--clip", clipPath, "the clip whose first frame the thumbnails show")->required();
    app.add_option("--out", outDir, "folder for FactoryPresets.plist and the thumbnails")->required();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) { return app.exit(e) == 0 ? 0 : 2; }
    SetLogToSyslog(false);

    std::vector<RenderPresetPtr> looks;
    std::string error;
    if (!factory::ReadLooks(looksPath, &looks, &error)) return Fail(error);
    std::error_code ec;
    std::filesystem::create_directories(outDir, ec);

    PlistValue presets = PlistValue::MakeDict();
    for (const auto& look : looks) presets.set(look->presetID(), look->PropertyList());
    PlistValue list = PlistValue::MakeDict();
    list.set("Presets", std::move(presets));
    if (const Status saved = WriteFileAtomically(outDir + "/FactoryPresets.plist", list.ToXml()); !saved.ok())
        return Fail(saved.message());

    R3DSource source;
    source.SetFilePath(clipPath);
    if (!source.SetOutputWidthHeightFit(kThumbWidth, kThumbHeight, kFitFill) ||
        !source.OpenFileForOutputSize(clipPath, true))
        return Fail("cannot open " + clipPath + ": " + source.lastError());
    for (const auto& look : looks) {
        source.SetExposureKelvin(look->Settings()->exposure(), look->Settings()->kelvin());
        source.DecodeSetup();
        if (!source.DecodeFrame(0)) return Fail("cannot decode the first frame of " + clipPath);
        std::vector<uint8_t> rgb;
        if (!RenderThumbnail(source, *look->Settings(), &rgb, &error)) return Fail(error);
        const std::string path = outDir + "/" + look->presetID() + ".tiff";
        if (!WriteRgbTiff(rgb, path)) return Fail("cannot write " + path);
    }
    return 0;
}
