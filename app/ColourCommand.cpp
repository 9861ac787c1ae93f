#include "ColourCommand.h"
#include "Json.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cmath>
#include <cstdio>

#include "RenderCommand.h"
#include "colour/Adaptation.h"
#include "colour/Profile.h"
#include "colour/WorkingSpace.h"
#include "platform/icc/DisplayProfile.h"

namespace ombrel::cli {
namespace {

const char* const kTags[4] = {"rXYZ", "gXYZ", "bXYZ", "wtpt"};
const char* const kPrimaries[4] = {"red", "green", "blue", "white"};

// What one run shows, in doubles whatever the element type was.
struct Report {
    std::string description, source;
    int colorants = 0;
    double xyz[4][3] = {}, xy[4][2] = {}, gamma = NAN, rgbToXyz[3][3] = {}, xyzToRgb[3][3] = {}, scale[3] = {},
           bradford[3][3] = {};
    bool isD65 = false, hasGamma = true;
};

template <typename T>
void CopyMatrix(const Math::Matrix3<T>& m, double (&out)[3][3]) {
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) out[r][c] = double(m(r, c));
}

template <typename T>
void Fill(const Color::Space<T>& space, const Color::ChromaticAdaptation<T>& adapt, Report& out) {
    CopyMatrix(space.GetCIEMatrix(), out.rgbToXyz);
    CopyMatrix(space.GetCIEMatrixInv(), out.xyzToRgb);
    CopyMatrix(adapt.GetChromaticAdaptation(), out.bradford);
    for (size_t i = 0; i < 3; ++i) out.scale[i] = double(adapt.GetScaleVector()[i]);
    out.isD65 = adapt.IsD65();
}

template <typename T>
void FillProfile(const Color::Space<T>& space, Report& out) {
    out.colorants = space.GetXYZ().GetColorantCount();
    const Math::Vector2<T> xy[4] = {space.GetChromaticityRed(), space.GetChromaticityGreen(),
                                    space.GetChromaticityBlue(), space.GetChromaticityWhitePoint()};
    for (int i = 0; i < 4; ++i) {
        for (int k = 0; k < 3; ++k) out.xyz[i][k] = double(space.GetColorants()(i, k));
        out.xy[i][0] = i < out.colorants ? double(xy[i].x) : NAN;
        out.xy[i][1] = i < out.colorants ? double(xy[i].y) : NAN;
    }
    out.gamma = double(space.GetDisplayGamma());
}

template <typename T>
int Make(const ColourOptions& o, Report& out) {
    if (o.workingSpace >= 0) {
        const Color::WorkingSpace<T> ws((unsigned long)(o.workingSpace));
        const Color::Space<T> space(ws.GetWorkingSpace());
        const Math::Vector2<T> w = ws.GetWorkingSpaceWhitePoint();
        Fill(space, Color::ChromaticAdaptation<T>(Math::Vector3<T>(w.x / w.y, 1, (1 - w.x - w.y) / w.y)), out);
        out.description = fmt::format("working space {}", o.workingSpace);
        out.source = o.workingSpace == 1 || o.workingSpace == 2 ? "chromaticities" : "chromaticities (BT.709)";
        // A working space has no tags: its colorants are the matrix's columns, and its white.
        out.colorants = 4;
        for (int i = 0; i < 4; ++i) {
            const Math::Vector3<T> c = i < 3 ? space.GetCIEMatrix().GetColumn(i)
                                             : space.GetCIEMatrix() * Math::Vector3<T>(T(1));
            for (size_t k = 0; k < 3; ++k) out.xyz[i][k] = double(c[k]);
            out.xy[i][0] = double(ws(i, 0));
            out.xy[i][1] = double(ws(i, 1));
        }
        out.hasGamma = false;
        return kExitOk;
    }
    std::unique_ptr<IccProfile> icc;
    Status status;
    if (o.display) {
        DisplayProfileSource source{};
        icc = DisplayProfile(kMainDisplayId, &source);
        if (!icc) status = NotFoundError("the main display's profile cannot be read");
        out.source = source == DisplayProfileSource::kRootWindow
                         ? "display 1: " + DisplayProfileAtom(0) + " of the root window"
                         : "display 1: built-in sRGB (no X display, or no " + DisplayProfileAtom(0) + " on its root window)";
    } else {
        icc = IccProfile::FromFile(o.profile, &status);
        if (icc) status = icc->Check();
        if (icc && !status.ok()) status = InvalidError(o.profile + ": " + status.message());
        out.source = "file " + o.profile;
    }
    if (!status.ok()) {
        std::fprintf(stderr, "ombrel colour: %s%s\n", o.display ? "--display: " : "", status.message().c_str());
        return kExitFailed;
    }
    const Color::Space<T> space(icc.get());
    out.description = space.GetProfileDescription() ? space.GetProfileDescription() : "";
    FillProfile(space, out);
    Fill(space, Color::ChromaticAdaptation<T>(icc.get()), out);
    return kExitOk;
}

std::string Num(double v) { return std::isfinite(v) ? JsonNumber(v) : "null"; }

template <size_t N>
std::string Array(const double (&v)[N]) {
    std::string out = "[";
    for (size_t i = 0; i < N; ++i) out += (i ? ", " : "") + Num(v[i]);
    return out + "]";
}

std::string Rows(const double (&m)[3][3]) {
    return "[" + Array(m[0]) + ", " + Array(m[1]) + ", " + Array(m[2]) + "]";
}

std::string Json(const Report& r) {
    std::string colorants, xy;
    for (int i = 0; i < 4; ++i) {
        if (i < r.colorants) colorants += (i ? ", " : "") + JsonString(kTags[i]) + ": " + Array(r.xyz[i]);
        xy += (i ? ", " : "") + JsonString(kPrimaries[i]) + ": " + Array(r.xy[i]);
    }
    return "{\"description\": " + JsonString(r.description) + ", \"source\": " + JsonString(r.source) +
           ",\n \"colorants\": {" + colorants + "},\n \"chromaticities\": {" + xy + "},\n \"gamma\": " +
           (r.hasGamma ? Num(r.gamma) : "null") + ",\n \"rgbToXyz\": " + Rows(r.rgbToXyz) +
           ",\n \"xyzToRgb\": " + Rows(r.xyzToRgb) + ",\n \"isD65\": " + (r.isD65 ? "true" : "false") +
           ", \"scaleVector\": " + Array(r.scale) + ",\n \"bradfordToD65\": " + Rows(r.bradford) + "}\n";
}

std::string Cells(const double* v, size_t n) {
    std::string out;
    for (size_t i = 0; i < n; ++i) out += std::isfinite(v[i]) ? fmt::format(" {:10.6f}", v[i]) : "        --";
    return out;
}

std::string Text(const Report& r) {
    std::string out = fmt::format("description     {}\nsource          {}\ncolorants       {:>10} {:>10} {:>10}\n",
                                  r.description, r.source, "X", "Y", "Z");
    for (int i = 0; i < 4; ++i)
        out += fmt::format("  {:<13}{}\n", kTags[i], i < r.colorants ? Cells(r.xyz[i], 3) : " missing");
    out += fmt::format("chromaticities  {:>10} {:>10}\n", "x", "y");
    for (int i = 0; i < 4; ++i) out += fmt::format("  {:<13}{}\n", kPrimaries[i], Cells(r.xy[i], 2));
    out += "gamma           " + (r.hasGamma ? fmt::format("{:.4f}", r.gamma) : std::string("--")) + "\n";
    const std::pair<const char*, const double (*)[3]> matrices[3] = {
        {"rgbToXyz", r.rgbToXyz}, {"xyzToRgb", r.xyzToRgb}, {"bradfordToD65", r.bradford}};
    for (int m = 0; m < 3; ++m) {
        if (m == 2) out += fmt::format("isD65           {}\nscaleVector    {}\n", r.isD65 ? "yes" : "no", Cells(r.scale, 3));
        for (int row = 0; row < 3; ++row)
            out += fmt::format("{:<15}{}\n", row == 0 ? matrices[m].first : "", Cells(matrices[m].second[row], 3));
    }
    return out;
}

}  // namespace

CLI::App* AddColourCommand(CLI::App& app, ColourOptions& o) {
    CLI::App* colour = app.add_subcommand("colour", "An ICC profile, the display's or a working space, as the colour classes see it");
    CLI::Option* profile = colour->add_option("profile", o.profile, "ICC profile file");
    CLI::Option* display = colour->add_flag("--display", o.display, "The main display's profile (X root window, else sRGB)");
    CLI::Option* ws = colour->add_option("--working-space", o.workingSpace, "Working space 1, 2, or any other number for BT.709")
                          ->check(CLI::NonNegativeNumber);
    profile->excludes(display)->excludes(ws);
    display->excludes(ws);
    colour->add_flag("--float", o.useFloat, "Compute in float instead of double");
    colour->add_flag("--json", o.json, "Print one JSON object");
    return colour;
}

int RunColour(const ColourOptions& o) {
    if (o.profile.empty() && !o.display && o.workingSpace < 0) {
        std::fprintf(stderr, "ombrel colour: name a PROFILE.icc, --display or --working-space N\n");
        return kExitUsage;
    }
    Report report;
    const int rc = o.useFloat ? Make<float>(o, report) : Make<double>(o, report);
    if (rc != kExitOk) return rc;
    const std::string out = o.json ? Json(report) : Text(report);
    std::fputs(out.c_str(), stdout);
    return kExitOk;
}

}  // namespace ombrel::cli
