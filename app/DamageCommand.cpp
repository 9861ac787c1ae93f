#include "DamageCommand.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cstdio>

#include "Json.h"
#include "RenderCommand.h"
#include "damage/AnimationSequence.h"
#include "damage/DamageFrame.h"
#include "damage/DirtManager.h"
#include "damage/ShaderProcessorAnim.h"
#include "core/Paths.h"
#include "damage/Treatments.h"
#include "datafile/Resource.h"

namespace ombrel::cli {
namespace {

bool ParseFrames(const std::string& text, int64_t* first, int64_t* last) {
    long long a = 0, b = 0;
    int end = 0;
    if (std::sscanf(text.c_str(), "%lld-%lld%n", &a, &b, &end) != 2 || static_cast<size_t>(end) != text.size())
        return false;
    *first = a;
    *last = b;
    return a >= 0 && b >= a;
}

std::string Bool(bool b) { return b ? "true" : "false"; }

// The treatment's fields by name, each as a JSON value.
std::vector<std::pair<std::string, std::string>> Fields(const AnimationSequence& a) {
    std::vector<std::pair<std::string, std::string>> f = {
        {"leadInLength", std::to_string(a.leadInLength())},
        {"userUseBorder", Bool(a.userUseBorder())},
        {"userSkipFrames", Bool(a.userSkipFrames())},
        {"userLeakAmount", JsonNumber(a.userLeakAmount())},
        {"userFlashAmount", JsonNumber(a.userFlashAmount())},
        {"userDirtAmount", JsonNumber(a.userDirtAmount())},
        {"userScratchAmount", JsonNumber(a.userScratchAmount())},
        {"userWeaveAmount", JsonNumber(a.userWeaveAmount())},
        {"userSmearAmount", JsonNumber(a.userSmearAmount())},
        {"leakBounce", JsonNumber(a.leakBounce())},
        {"leakSize", JsonNumber(a.leakSize())},
        {"borderType", std::to_string(a.borderType())},
    };
    std::string leaks;
    for (const auto& [x, y] : a.leakPositions())
        leaks += (leaks.empty() ? "" : ", ") + std::string("[") + JsonNumber(x) + ", " + JsonNumber(y) + "]";
    f.emplace_back("leakPositions", "[" + leaks + "]");
    auto dict = [](const auto& m, auto value) {
        std::string s;
        for (const auto& [k, v] : m) s += (s.empty() ? "" : ", ") + JsonString(k) + ": " + value(v);
        return "{" + s + "}";
    };
    f.emplace_back("borderImagePaths", dict(a.borderImagePaths(), JsonString));
    f.emplace_back("gradients", dict(a.gradients(), JsonNumber));
    f.emplace_back("linearDropoff", dict(a.linearDropoff(), Bool));
    std::string screens;
    for (int i = 0; i < 2; ++i) {
        const _ScreenDetails& s = a.screenDetails(i);
        screens += std::string(i ? ", " : "") + "{\"startFrame\": " + std::to_string(s.startFrame) +
                   ", \"amount\": " + JsonNumber(s.amount) + ", \"screenName\": " + JsonString(s.screenName) + "}";
    }
    f.emplace_back("screenDetails", "[" + screens + "]");
    std::string dirt;
    static const char* const kNames[] = {"dust", "dirt", "pie", "hair", "scratch", "vertical"};
    for (int t = 0; t < kDirtTypeCount; ++t) {
        const _DynamicDirtDetails& d = *a.dynamicDirt().allDirt(t);
        dirt += std::string(t ? ", " : "") + JsonString(kNames[t]) + ": {\"maxCount\": " + std::to_string(d.maxCount) +
                ", \"opacity\": " + JsonNumber(d.opacity) + ", \"probability\": " + JsonNumber(d.probability) +
                ", \"maxDuration\": " + std::to_string(d.maxDuration) + ", \"shouldRotate\": " + Bool(d.shouldRotate) +
                "}";
    }
    f.emplace_back("dynamicDirt", "{" + dirt + "}");
    f.emplace_back("borderPath", JsonString(a.borderPath()));
    return f;
}

std::string CellJson(const std::array<int32_t, 4>& c) {
    return fmt::format("[{}, {}, {}, {}]", c[0], c[1], c[2], c[3]);
}

int RunShow(const DamageOptions& o) {
    std::string path;
    const Status found = FindTreatment(o.treatment, &path);
    if (!found.ok()) {
        std::fprintf(stderr, "ombrel damage show: %s\n", found.message().c_str());
        return kExitUsage;
    }
    int64_t first = 0, last = 0;
    AnimationSequence a;
    if (const Status read = a.LoadFromFile(path); !read.ok()) {
        std::fprintf(stderr, "ombrel damage show: %s\n", read.message().c_str());
        return kExitFailed;
    }
    if (o.frames.empty()) {
        last = a.leadInLength();
    } else if (!ParseFrames(o.frames, &first, &last)) {
        std::fprintf(stderr, "ombrel damage show: --frames wants an inclusive range A-B, as 0-30\n");
        return kExitUsage;
    }
    std::string out;
    if (o.json) {
        out = "{\n  \"path\": " + JsonString(path);
        for (const auto& [k, v] : Fields(a)) out += ",\n  " + JsonString(k) + ": " + v;
        out += ",\n  \"frames\": [";
        for (int64_t f = first; f <= last; ++f) {
            const DamageFrameValues v = ValuesForFrame(a, f);
            out += fmt::format(
                "{}\n    {{\"frame\": {}, \"variant\": {}, \"flashAmount\": {}, \"smearAmount\": {}, "
                "\"leakSizeForFrame\": {}, \"overlayAmount\": {}, \"overlayBAmount\": {}, \"gunkTile\": {}, "
                "\"gunkCell\": {}, \"gunkChannel\": {}}}",
                f == first ? "" : ",", f, v.variant, JsonNumber(v.flashAmount), JsonNumber(v.smearAmount),
                JsonNumber(v.leakSizeForFrame), JsonNumber(v.overlayAmount), JsonNumber(v.overlayBAmount),
                JsonString(GunkTileName(v.gunkTile)), CellJson(v.gunkCell), v.gunkChannel);
        }
        out += "\n  ]";
        if (o.glsl)
            out += ",\n  \"glsl\": {\"1\": " +
                   JsonString(ShaderProcessorAnim::GeneratedDamageMain(a, false, true)) + ", \"2\": " +
                   JsonString(ShaderProcessorAnim::GeneratedDamageMain(a, true, true)) + "}";
        out += "\n}\n";
    } else {
        out = "path " + path + "\n";
        for (const auto& [k, v] : Fields(a)) out += k + " " + v + "\n";
        out += "frame variant flashAmount smearAmount leakSizeForFrame overlayAmount overlayBAmount gunkTile gunkCell "
               "gunkChannel\n";
        for (int64_t f = first; f <= last; ++f) {
            const DamageFrameValues v = ValuesForFrame(a, f);
            out += fmt::format("{} {} {:.6f} {:.6f} {:.6f} {:.6f} {:.6f} {} {} {}\n", f, v.variant, v.flashAmount,
                               v.smearAmount, v.leakSizeForFrame, v.overlayAmount, v.overlayBAmount,
                               GunkTileName(v.gunkTile), CellJson(v.gunkCell), v.gunkChannel);
        }
        if (o.glsl)
            for (int variant : {1, 2})
                out += fmt::format("glsl variant {}\n{}", variant,
                                   ShaderProcessorAnim::GeneratedDamageMain(a, variant == 2, true));
    }
    std::fputs(out.c_str(), stdout);
    return kExitOk;
}

int RunList() {
    for (const std::string& name : BuiltInTreatments()) {
        std::string path;
        AnimationSequence a;
        if (!FindResource("Resources/Damage/" + name + ".plist", &path).ok() || !a.LoadFromFile(path).ok()) {
            std::printf("%s (does not read)\n", name.c_str());
            continue;
        }
        std::string kinds;
        static const char* const kNames[] = {"dust", "dirt", "pie", "hair", "scratch", "vertical"};
        for (int t = 0; t < kDirtTypeCount; ++t)
            if (a.dynamicDirt().allDirt(t)->maxCount > 0) kinds += std::string(kinds.empty() ? "" : ",") + kNames[t];
        std::printf("%s: lead-in %d, border %s, weave %g, gunk %g, leaks %d, dirt %s\n", name.c_str(),
                    a.leadInLength(), a.userUseBorder() ? LastPathComponent(a.borderPath()).c_str() : "none",
                    a.userWeaveAmount(), a.userDirtAmount(), a.userLeakAmount() > 0 ? a.leakCount() : 0,
                    kinds.empty() ? "none" : kinds.c_str());
    }
    return kExitOk;
}

int RunAtlas(const DamageOptions& o) {
    std::string path = o.atlas;
    if (path.empty()) {
        if (const Status s = FindResource("Resources/Dirt V1_default.plist", &path); !s.ok()) {
            std::fprintf(stderr, "ombrel damage atlas: %s\n", s.message().c_str());
            return kExitFailed;
        }
    }
    DirtManager dirt;
    if (const Status s = dirt.AddDirtFramesWithFile(path); !s.ok()) {
        std::fprintf(stderr, "ombrel damage atlas: %s\n", s.message().c_str());
        return kExitFailed;
    }
    std::printf("%s\n", dirt.textureFilename().c_str());
    static const char* const kNames[] = {"dust", "dirt", "pie", "hair", "scratch", "vertical"};
    for (int t = 0; t < kDirtTypeCount; ++t)
        std::printf("%s %s %zu\n", kNames[t], DirtManager::PrefixForType(t), dirt.dirtFrames(t).size());
    return kExitOk;
}

}  // namespace

CLI::App* AddDamageCommand(CLI::App& app, DamageOptions& o) {
    CLI::App* damage = app.add_subcommand("damage", "Film damage treatments and the dirt sprite atlas");
    damage->require_subcommand(1, 1);
    CLI::App* list = damage->add_subcommand("list", "The built-in damage treatments");
    list->callback([&o] { o.action = DamageOptions::Action::kList; });
    CLI::App* show = damage->add_subcommand("show", "A treatment's fields and what it asks of each frame");
    show->add_option("treatment", o.treatment, "A treatment file, a name in the Data folder, or a built-in")
        ->required();
    show->add_option("--frames", o.frames, "Inclusive frame range A-B (default: the lead-in and one frame after)");
    show->add_flag("--json", o.json, "Print one JSON object");
    show->add_flag("--glsl", o.glsl, "Also print the main() generated for variants 1 and 2");
    show->callback([&o] { o.action = DamageOptions::Action::kShow; });
    CLI::App* atlas = damage->add_subcommand("atlas", "The sprites of an atlas description by kind");
    atlas->add_option("plist", o.atlas, "Atlas description (default: the built-in one)");
    atlas->callback([&o] { o.action = DamageOptions::Action::kAtlas; });
    return damage;
}

int RunDamage(const DamageOptions& o) {
    switch (o.action) {
        case DamageOptions::Action::kList: return RunList();
        case DamageOptions::Action::kShow: return RunShow(o);
        case DamageOptions::Action::kAtlas: return RunAtlas(o);
        case DamageOptions::Action::kNone: break;
    }
    return kExitUsage;
}

}  // namespace ombrel::cli
