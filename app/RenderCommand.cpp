#include "RenderCommand.h"
#include "Signals.h"

#include <CLI/CLI.hpp>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <map>

#include "ConformCommand.h"
#include "InfoCommand.h"
#include "ProjectCommand.h"
#include "core/Log.h"
#include "core/MainQueue.h"
#include "core/Paths.h"
#include "core/RegularFile.h"
#include "damage/ShaderProcessorAnim.h"
#include "damage/Treatments.h"
#include "library/FileParser.h"
#include "look/LutManager.h"
#include "look/grain/GrainManager.h"
#include "model/Gauge.h"
#include "model/LookRanges.h"
#include "model/ProjectFile.h"
#include "model/SettingsManager.h"
#include "platform/movie/CodecPreset.h"
#include "render/LookPipeline.h"
#include "render/RenderManager.h"

namespace ombrel::cli {
namespace {


bool ParseSize(const std::string& text, OutputSize* size) {
    int w = 0, h = 0;
    char x = 0;
    if (std::sscanf(text.c_str(), "%d%c%d", &w, &x, &h) != 3 || (x != 'x' && x != 'X') || w <= 0 || h <= 0)
        return false;
    *size = {static_cast<float>(w), static_cast<float>(h)};
    return true;
}

bool ParseRange(const std::string& text, int* first, int* last) {
    char dash = 0;
    return std::sscanf(text.c_str(), "%d%c%d", first, &dash, last) == 3 && dash == '-' && *first >= 0 &&
           *last >= *first;
}

bool ParseLevels(const std::string& text, float* b, float* m, float* w) {
    int end = 0;
    return std::sscanf(text.c_str(), "%f,%f,%f%n", b, m, w, &end) == 3 && static_cast<size_t>(end) == text.size();
}

// The look options against the look table; a message naming the option for the first that
// is outside its row.
std::string LookOptionFault(const RenderOptions& o) {
    const std::pair<const char*, std::optional<double>> given[] = {
        {"grainMultiplier", o.grain},
        {"exposure", o.exposure},
        {"kelvin", o.kelvin},
        {"saturation", o.saturation},
        {"lift", o.lift},
        {"gamma", o.gamma},
        {"gain", o.gain},
        {"colorChangePercent", o.colorAmount},
        {"scurveChangePercent", o.scurveAmount},
    };
    for (const auto& [key, value] : given) {
        const LookRange* range = LookRangeForKey(key);
        if (value && range)
            if (std::string why = LookValueFault(*range, *value, range->option); !why.empty()) return why;
    }
    float levels[3] = {0, 0, 0};
    if (o.levels && ParseLevels(*o.levels, &levels[0], &levels[1], &levels[2])) {
        const char* names[3] = {"black", "mid", "white"};
        for (int i = 0; i < 3; ++i)
            if (std::string why =
                    LookValueFault(*LookRangeForKey(names[i]), levels[i], std::string("--levels ") + names[i]);
                !why.empty())
                return why;
        if (!(levels[0] < levels[2]) || levels[1] < levels[0] || levels[1] > levels[2])
            return "--levels wants black below mid below white, as 0,0.5,1";
    }
    return {};
}

// A clip as the command line found it before queueing it.
struct ClipCheck {
    std::string path;  // absolute; a spanned clip's first file when a later part was named
    int frames = 0;
    std::string note;   // said on stderr; the clip goes ahead
    std::string error;  // the clip is refused with this
};

// The files of a spanned R3D clip are numbered from 001 up; the reader stops at the first
// one missing. Answers the missing file when a later one is there, else empty.
std::string MissingSpanFile(const std::string& first) {
    namespace fs = std::filesystem;
    const fs::path path(first);
    const std::string name = path.filename().string();
    const std::string stem = name.substr(0, name.size() - 7), ext = name.substr(name.size() - 4);
    auto part = [&](int n) {
        char number[16];
        std::snprintf(number, sizeof number, "%03d", n);
        return (path.parent_path() / (stem + number + ext)).string();
    };
    int last = 1;
    std::error_code ec;
    while (last < 999 && fs::exists(part(last + 1), ec)) ++last;
    for (const auto& entry : fs::directory_iterator(path.parent_path(), ec)) {
        const std::string other = entry.path().filename().string();
        if (other.size() == name.size() && other.compare(0, stem.size(), stem) == 0 &&
            other.compare(other.size() - 4, 4, ext) == 0 && SpanPartOfR3DName(other) > last + 1)
            return part(last + 1);
    }
    return {};
}

ClipCheck CheckClip(const std::string& named, bool allowIncomplete) {
    ClipCheck c;
    std::error_code ec;
    c.path = std::filesystem::absolute(named, ec).string();
    const std::string kind = FileKindText(c.path);
    if (kind == "nothing") {
        c.error = "no such clip";
        return c;
    }
    if (kind != "a regular file") {
        c.error = kind + ", not a clip";
        return c;
    }
    if (const int part = SpanPartOfR3DName(c.path); part > 1 && !FileParser::IsR3DFile(c.path)) {
        std::string first = c.path;
        first.replace(first.size() - 7, 3, "001");
        if (!std::filesystem::exists(first, ec)) {
            c.error =
                "part " + std::to_string(part) + " of a spanned R3D clip whose first file " + first + " is missing";
            return c;
        }
        c.note = "part " + std::to_string(part) + " of the R3D clip " + first + "; the clip is rendered from there";
        c.path = first;
    }
    ClipFacts facts;
    if (Status read = ReadClipFacts(c.path, 0, &facts); !read.ok()) {
        c.error = read.message();
        return c;
    }
    c.frames = static_cast<int>(std::min<int64_t>(facts.frameCount, INT32_MAX));
    if (facts.kind == "r3d" && FileParser::IsR3DFile(c.path) && SpanPartOfR3DName(c.path) == 1) {
        if (const std::string missing = MissingSpanFile(c.path); !missing.empty()) {
            const std::string what = "the clip is incomplete: its file " + missing + " is missing";
            if (!allowIncomplete) {
                c.error = what + " (--allow-incomplete renders the " + std::to_string(c.frames) +
                          " frames of the files before it)";
                return c;
            }
            c.note = what + "; rendering the " + std::to_string(c.frames) + " frames of the files before it";
        }
    }
    if (c.frames < 1) c.error = "the clip has no frames";
    return c;
}

// What of a clip's snippets lies beyond its last frame: empty when nothing does, "all ..."
// when every snippet does.
std::string SnippetsOutsideClip(const ClipSettings& clip, int frames) {
    const std::vector<int> list = clip.snippets().value_or(std::vector<int>{});
    std::string outside;
    size_t count = 0;
    for (size_t i = 0; i + 1 < list.size(); i += 2) {
        if (std::min(list[i], list[i + 1]) <= frames - 1) continue;
        outside += (outside.empty() ? "" : ", ") + std::to_string(list[i]) + "-" + std::to_string(list[i + 1]);
        ++count;
    }
    if (count == 0) return {};
    const std::string last = "the clip's last frame is " + std::to_string(frames - 1);
    if (count == list.size() / 2)
        return "all its snippets (" + outside + ") lie beyond the clip; " + last + "; nothing rendered";
    return "snippets " + outside + " lie beyond the clip and are left out; " + last;
}

// The stock names the command line takes, in the popup's order.
std::vector<std::string> KnownStocks() {
    std::vector<std::string> names;
    for (const StockPopupItem& item : LutManager::StockPopupItems())
        if (item.enabled && item.tag != kSeparatorTag) {
            const std::string name = LutManager::StockNameForTag(item.tag);
            if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
        }
    return names;
}

void PrintProgress(const std::string& style, const RenderManager& rm) {
    const uint32_t total = rm.totalFrameCount();
    if (total == 0) return;
    const double pct = 100.0 * rm.framesRendered() / total;
    if (style == "openjd")
        std::fprintf(stderr, "openjd_progress: %d\n", static_cast<int>(pct));
    else
        std::fprintf(stderr, "%u of %u frames (%.0f%%)\n", rm.framesRendered(), total, pct);
}

}  // namespace

std::optional<int> CodecTagForName(const std::string& name) {
    const auto lower = [](std::string t) {
        for (char& c : t) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        return t;
    };
    const std::vector<CustomCodec> custom = SettingsManager::Instance().customCodecs();
    if (!name.empty() && name.find_first_not_of("0123456789") == std::string::npos) {
        const int tag = name.size() <= 3 ? std::stoi(name) : -1;
        if (tag >= 0 && tag < kFactoryCodecTags) return tag;
        for (const CustomCodec& c : custom)
            if (c.popupTag() == tag) return tag;
        return std::nullopt;
    }
    // Tag 4 repeats tag 9's codec; a name finds the tag the menu offers. Of custom codecs with
    // the same code or name, the newest.
    std::vector<std::pair<int, std::string>> tags;
    for (int tag : {0, 1, 2, 3, 5, 6, 7, 8, 9}) tags.emplace_back(tag, "");
    for (const CustomCodec& c : custom) tags.emplace_back(c.popupTag(), c.name());
    for (const auto& [tag, title] : tags) {
        CodecPreset preset;
        // A custom entry is found by its name even when its file is gone: the render then says so.
        const bool read = SettingsManager::Instance().LoadCodecPresetForTag(tag, &preset).ok();
        if (lower(name) == lower(title.empty() ? preset.title : title) || (read && name == preset.fourCC))
            return tag;
    }
    return std::nullopt;
}

std::string LimitMovieSize(float* width, float* height) {
    if (!(*width > 2048.0f || *height > 1152.0f)) return {};
    char text[200];
    std::snprintf(text, sizeof text,
                  "Ombrel has a maximum Quicktime output size of 2K\n\nYou have currently selected %i x %i.\nYour "
                  "output will instead be scaled to 2048 x 1152",
                  static_cast<int>(*width), static_cast<int>(*height));
    *width = 2048.0f;
    *height = 1152.0f;
    return text;
}

void ApplyLookOptions(const RenderOptions& o, ClipSettings& look) {
    if (o.stock) look.setStockName(*o.stock);
    if (o.gauge) {
        if (const std::optional<int> tag = GaugeTagForName(*o.gauge)) {
            look.setGrainScale(static_cast<float>(*tag) / 100.0f);
            // A smaller gauge is also a softer picture.
            look.setBlurRadius(GrainManager::BlurRadiusForTag(*tag));
            if (const std::optional<std::string> scan = GrainScanForName(*o.gauge)) look.setGrainName(*scan);
        }
    }
    if (o.grain) look.setGrainMultiplier(*o.grain);
    if (o.exposure) {
        look.setExposure(*o.exposure);
        look.setUseMetadata(false);
    }
    if (o.kelvin) {
        look.setKelvin(*o.kelvin);
        look.setUseMetadata(false);
    }
    if (o.saturation) look.setSaturation(*o.saturation);
    if (o.lift) look.setLift(*o.lift);
    if (o.gamma) look.setGamma(*o.gamma);
    if (o.gain) look.setGain(*o.gain);
    float b = 0, m = 0, w = 0;
    if (o.levels && ParseLevels(*o.levels, &b, &m, &w)) {
        look.setBlack(b);
        look.setMid(m);
        look.setWhite(w);
    }
    if (o.colorAmount) look.setColorChangePercent(*o.colorAmount);
    if (o.scurveAmount) look.setScurveChangePercent(*o.scurveAmount);
}

CLI::App* AddRenderCommand(CLI::App& app, RenderOptions& o) {
    return AddRenderOptions(app.add_subcommand("render", "Render clips with a film look"), o);
}

CLI::App* AddRenderOptions(CLI::App* render, RenderOptions& o) {
    render->add_option("CLIP", o.clips, "Clips to render");
    render->add_option("--format", o.format, "Output format")->check(CLI::IsMember({"dpx", "tiff", "mov"}));
    render->add_option("--codec", o.codec,
                       "Movie codec by tag, four characters or title, as apch (default 5; see ombrel codecs)");
    render->add_option("--out", o.out, "Output folder (default ~/Documents/Ombrel/Render/)");
    auto* size = render->add_option("--size", o.size, "Output size WxH (default: the source's size)");
    render->add_option("--size-tag", o.sizeTag, "Output size by menu tag (0-7, 101)")
        ->check(CLI::Range(0, 7) | CLI::IsMember({101}))
        ->excludes(size);
    render->add_option("--fit", o.fit, "Fit method: 0 keep width, 1 keep height, 2 fill")->check(CLI::Range(0, 2));
    render->add_option("--frames", o.frames, "Inclusive frame range A-B");
    render->add_flag("--keep-existing", o.keepExisting, "Refuse clips whose output exists (default replaces)");
    render->add_option("--folders", o.folders, "Frame folders: 0 clip name, 1 reel_clip, 2 reel/clip")
        ->check(CLI::Range(0, 2));
    render->add_flag("--no-clip-prefix", o.noClipPrefix, "Frame names without the clip name");
    render->add_flag("--index-names", o.indexNames, "Number frames by index, not by timecode");
    render->add_option("--stock", o.stock, "Film stock name");
    render->add_option("--gauge", o.gauge,
                       "Film gauge of the grain: \"Super 35\", \"35mm Academy\", \"35mm Full Frame\", \"Super 16\", "
                       "\"16mm\", \"Super 8\", \"8mm\", or its tag (scale x 100)");
    render->add_option("--grain", o.grain, "Grain strength");
    render->add_option("--exposure", o.exposure, "Exposure in stops");
    render->add_option("--kelvin", o.kelvin, "Colour temperature in Kelvin");
    render->add_option("--saturation", o.saturation, "Saturation");
    render->add_option("--lift", o.lift, "Lift");
    render->add_option("--gamma", o.gamma, "Gamma");
    render->add_option("--gain", o.gain, "Gain");
    render->add_option("--levels", o.levels, "Levels black,mid,white");
    render->add_option("--color-amount", o.colorAmount, "Blend of the stock's colour, 0 to 1");
    render->add_option("--scurve-amount", o.scurveAmount, "Blend of the stock's S-curve, 0 to 1");
    auto* settings = render->add_option("--settings", o.settingsFile, "A clip-settings property list to start from");
    auto* project = render
                        ->add_option("--project", o.project,
                                     "Render the clips of a saved project with their own settings and its output "
                                     "settings; output and look options given here override them")
                        ->excludes(settings);
    render->add_option("--clip", o.projectClips, "With --project: render this clip of it (repeatable)")->needs(project);
    auto* conform = render
                        ->add_option("--conform", o.conform,
                                     "Conform an edit (an EDL or XML) to --footage and render the clips it uses, each just "
                                     "for the frames the edit flags")
                        ->excludes(project);
    render->add_option("--footage", o.footage, "With --conform: a folder of source footage (repeatable)")
        ->needs(conform);
    render->add_option("--type", o.conformType, "With --conform: the edit's type, edl, fcp, avid or fcpx")
        ->needs(conform);
    render->add_flag("--mov", o.mov, "With --conform: match movies by name instead of R3D clips")->needs(conform);
    render->add_option("--edl-options", o.edlOptions,
                       "Flagged frames: 0 as one sequence with handles, 1 each range in its own folder, 2 all "
                       "frames (default 0)")
        ->check(CLI::Range(0, 2));
    render->add_option("--progress", o.progress, "Progress lines on stderr")->check(CLI::IsMember({"plain", "openjd"}));
    auto* cpu = render->add_flag("--cpu", o.cpu,
                                 "Render the look on the CPU (the default where OpenGL renders in software)");
    render->add_flag("--gl", o.gl, "Render the look on OpenGL even where it renders in software")->excludes(cpu);
    render->add_option("--damage", o.damage,
                       "Film damage treatment: a file, a name in the Data folder, or a built-in (see `ombrel damage "
                       "list`); needs --cpu in this build");
    render->add_flag("--allow-incomplete", o.allowIncomplete,
                     "Render what exists of a spanned R3D clip that lacks one of its files");
    render->add_option("--audio-at", o.audioAt,
                       "Write a clip's .au beside its frames only when the range starts at this frame (ranges of "
                       "one clip rendered side by side: one writes it)")
        ->check(CLI::NonNegativeNumber);
    render->parse_complete_callback([render, &o] {
        for (const CLI::Option* option : render->get_options())
            if (option->count() > 0) o.given.insert(option->get_name());
    });
    return render;
}

int RunRender(const RenderOptions& o) {
    // Before any file is read, so that a cancel while clips are opened ends as every cancel does.
    SignalGuard signals;
    if (int{!o.clips.empty()} + int{o.project.has_value()} + int{o.conform.has_value()} != 1) {
        std::fprintf(stderr,
                     "ombrel render: name the clips to render, a saved project with --project FILE or an edit with "
                     "--conform EDIT_FILE (one of them, not both)\n");
        return kExitUsage;
    }
    if (o.conform && o.footage.empty()) {
        std::fprintf(stderr, "ombrel render: --conform needs the folder of its footage, --footage DIR\n");
        return kExitUsage;
    }
    // The user's own codecs join the menu's, for --codec and for a project's codec.
    SettingsManager::Instance().LoadCustomCodecList();
    int codecTag = 5;
    if (o.codec) {
        const std::optional<int> tag = CodecTagForName(*o.codec);
        if (o.format != "mov") {
            std::fprintf(stderr, "ombrel render: --codec is for --format mov\n");
            return kExitUsage;
        }
        if (!tag) {
            std::fprintf(stderr, "ombrel render: --codec %s names no codec; see ombrel codecs\n", o.codec->c_str());
            return kExitUsage;
        }
        codecTag = *tag;
    }
    auto out = OutputSettings::Make();
    out->SelectFormatMenuTag(o.format == "dpx" ? kFormatDpx : o.format == "tiff" ? kFormatTiff : codecTag);
    out->setOutputDirectory(ExpandTilde(o.out.value_or(RenderFolder())));
    OutputSize size;
    if (o.size && !ParseSize(*o.size, &size)) {
        std::fprintf(stderr, "ombrel render: --size wants WxH, as 1920x1080, not \"%s\"\n", o.size->c_str());
        return kExitUsage;
    }
    if (o.sizeTag) size = SettingsManager::SizeForTag(*o.sizeTag);
    out->setResize(size.width > 0.0f);
    out->setSize(size);
    out->setOutputSizeTag(o.sizeTag.value_or(SettingsManager::TagForSize(size)));
    out->setFitMethod(o.fit);
    out->setOverwrite(o.keepExisting ? 1 : 0);
    out->setFolders(o.folders);
    out->setFilenames(o.noClipPrefix ? 1 : 0);
    out->setTimecode(o.indexNames ? 1 : 0);
    out->setThreadCount(1);
    if (o.edlOptions) out->setEdlOptions(*o.edlOptions);

    ClipSettings look;
    if (o.settingsFile) {
        PlistValue dict;
        const Status read = PlistValue::ReadFromFile(*o.settingsFile, &dict);
        if (!read.ok() || !dict.isDict()) {
            static const char* const kTypeNames[] = {"nothing", "a boolean", "an integer", "a real number", "a string",
                                                     "data",    "a date",    "an array",   "a dictionary"};
            std::string error = read.message();
            if (read.ok())
                error = *o.settingsFile + ": its top level is " + kTypeNames[static_cast<int>(dict.type())] +
                        ", not a dictionary of clip settings";
            std::fprintf(stderr, "ombrel render: cannot read settings %s\n", error.c_str());
            return kExitFailed;
        }
        if (const std::string why = ClipDictionaryFault(dict); !why.empty()) {
            std::fprintf(stderr, "ombrel render: cannot use the settings %s: %s\n", o.settingsFile->c_str(),
                         why.c_str());
            return kExitFailed;
        }
        look.LoadFromDictionary(dict);
    }
    if (o.gauge && !GaugeTagForName(*o.gauge)) {
        std::fprintf(stderr,
                     "ombrel render: --gauge wants a film gauge (Super 35, 35mm Academy, 35mm Full Frame, Super 16, "
                     "16mm, Super 8, 8mm) or its tag, as 243, not \"%s\"\n",
                     o.gauge->c_str());
        return kExitUsage;
    }
    float black = 0, mid = 0, white = 0;
    if (o.levels && !ParseLevels(*o.levels, &black, &mid, &white)) {
        std::fprintf(stderr, "ombrel render: --levels wants black,mid,white, as 0,0.5,1\n");
        return kExitUsage;
    }
    if (const std::string why = LookOptionFault(o); !why.empty()) {
        std::fprintf(stderr, "ombrel render: %s\n", why.c_str());
        return kExitUsage;
    }
    if (o.stock) {
        const std::vector<std::string> stocks = KnownStocks();
        if (std::find(stocks.begin(), stocks.end(), *o.stock) == stocks.end()) {
            std::string list;
            for (const auto& name : stocks) list += (list.empty() ? "" : ", ") + name;
            std::fprintf(stderr, "ombrel render: --stock %s is not a stock of this build; the stocks are: %s\n",
                         o.stock->c_str(), list.c_str());
            return kExitUsage;
        }
    }
    ApplyLookOptions(o, look);
    int first = 0, last = 0;
    if (o.frames && !ParseRange(*o.frames, &first, &last)) {
        std::fprintf(stderr, "ombrel render: --frames wants an inclusive range A-B, as 0-99\n");
        return kExitUsage;
    }
    ConformResult conformed;
    if (o.conform) {
        conformed = ConformQuietly({*o.conform, o.footage, o.conformType, o.mov, false});
        if (conformed.exitCode != kExitOk) {
            if (!conformed.error.empty())
                std::fprintf(stderr, "ombrel render: conform of %s: %s\n", o.conform->c_str(), conformed.error.c_str());
            return conformed.exitCode;
        }
    }
    std::unique_ptr<ProjectRender> project;
    if (o.project) {
        int exitCode = kExitFailed;
        if (!(project = ProjectRender::Load(o, *out, &exitCode))) return exitCode;
        out = project->output();
    }
    if (out->format() == kFormatMovie && out->resize()) {
        OutputSize chosen = out->size();
        if (const std::string why = LimitMovieSize(&chosen.width, &chosen.height); !why.empty()) {
            std::fprintf(stderr, "ombrel render: Quicktime Size Limit: %s\n", why.c_str());
            out->setSize(chosen);
            out->setOutputSizeTag(SettingsManager::TagForSize(chosen));
        }
    }

    std::string damagePath;
    if (o.damage) {
        if (const Status found = FindTreatment(*o.damage, &damagePath); !found.ok()) {
            std::fprintf(stderr, "ombrel render: --damage: %s\n", found.message().c_str());
            return kExitUsage;
        }
        ShaderProcessorAnim check(ShaderProcessor::Backend::Cpu);
        if (const Status s = check.LoadTreatment(damagePath); !s.ok()) {
            std::fprintf(stderr, "ombrel render: --damage: %s\n", s.message().c_str());
            return kExitFailed;
        }
    }
    InstallLookPipeline(o.cpu ? LookPipeline::Cpu : o.gl ? LookPipeline::OpenGL : LookPipeline::Auto, damagePath);
    LutManager::SetColorFormat(out->colorFormat());
    auto& manager = RenderManager::Instance();
    auto& settings = SettingsManager::Instance();
    manager.Reset();
    int failed = 0;
    std::map<std::string, std::string> destinations;  // output folder -> the clip of this run that writes it
    for (const auto& clip : project ? project->clips() : o.conform ? conformed.shotList : o.clips) {
        if (SignalGuard::Interrupted()) break;
        const ClipCheck check = CheckClip(clip, o.allowIncomplete);
        if (!check.error.empty()) {
            std::fprintf(stderr, "ombrel render: %s: %s\n", clip.c_str(), check.error.c_str());
            ++failed;
            continue;
        }
        if (!check.note.empty()) std::fprintf(stderr, "ombrel render: %s: %s\n", clip.c_str(), check.note.c_str());
        const std::string& path = check.path;
        const int frames = check.frames;
        if (const std::string why = project ? project->PrepareLook(clip, look) : ""; !why.empty()) {
            std::fprintf(stderr, "ombrel render: %s: the project's settings for this clip: %s\n", clip.c_str(),
                         why.c_str());
            ++failed;
            continue;
        }
        std::optional<std::pair<int, int>> range;
        if (o.frames) {
            if (first > frames - 1) {
                std::fprintf(stderr,
                             "ombrel render: %s: --frames %d-%d lies beyond the clip, whose last frame is %d; "
                             "nothing rendered\n",
                             clip.c_str(), first, last, frames - 1);
                ++failed;
                continue;
            }
            range = {first, std::min(last, frames - 1)};
            if (last > frames - 1) {
                const std::string asked = " of --frames " + std::to_string(first) + "-" + std::to_string(last);
                const std::string beyond =
                    last == frames ? "frame " + std::to_string(last) + asked + " lies"
                                   : "frames " + std::to_string(frames) + "-" + std::to_string(last) + asked + " lie";
                std::fprintf(stderr, "ombrel render: %s: %s beyond the clip's last frame; rendering %d-%d\n",
                             clip.c_str(), beyond.c_str(), range->first, range->second);
            }
        }
        look.setTotalFrames(static_cast<float>(frames));
        settings.PushSettingsForClip(look, path);
        auto clipSettings = settings.SettingsForClip(path);
        if (project) project->AttachSnippets(clip, *clipSettings);
        if (o.conform) ProjectFile::SetSnippetsForSettingsAndPath(*clipSettings, conformed.snippetList, clip);
        if (const std::string why = SnippetsOutsideClip(*clipSettings, frames); !why.empty()) {
            const bool none = why.rfind("all ", 0) == 0;
            std::fprintf(stderr, "ombrel render: %s: %s\n", clip.c_str(), why.c_str());
            if (none) {
                ++failed;
                continue;
            }
        }
        clipSettings->setTotalFrames(static_cast<float>(frames));
        clipSettings->setFramesRendered(0.0f);
        clipSettings->setErrorState(0);
        clipSettings->setAcquired(false);
        auto item = RenderManagerItem::Make(path, frames, clipSettings, out);
        item->setFrameRange(range);
        item->setAudioFrame(o.audioAt);
        const std::string dest = item->DestPath();
        if (const auto earlier = destinations.find(dest); earlier != destinations.end()) {
            if (earlier->second == path)
                std::fprintf(stderr, "ombrel render: %s: named twice; rendered once\n", clip.c_str());
            else {
                std::fprintf(stderr,
                             "ombrel render: %s: not rendered: its output folder %s is that of %s in this run "
                             "(two clips of one name, from two cards?); render it on its own with another --out\n",
                             clip.c_str(), dest.c_str(), earlier->second.c_str());
                ++failed;
            }
            continue;
        }
        destinations[dest] = path;
        if (!manager.AddItem(item)) {
            std::fprintf(stderr, "ombrel render: %s: %s (%s)\n", clip.c_str(), kFileExistsNotRendering,
                         item->DestPath().c_str());
            ++failed;
        }
    }
    if (SignalGuard::Interrupted()) {
        std::fprintf(stderr, "ombrel render: cancelled while the clips were opened; nothing was rendered\n");
        return kExitCancelled;
    }
    if (o.planOnly) {
        *o.planOnly = manager.renderQueue();
        return failed > 0 ? kExitFailed : kExitOk;
    }

    auto& main = MainQueue::Instance();
    main.AdoptCurrentThread();
    auto target = std::make_shared<RenderNotifyTarget>();
    target->UpdateProgress = [&] { PrintProgress(o.progress, manager); };
    manager.StartRender(target);
    bool cancelled = false;
    main.ServeUntil([&] {
        if (SignalGuard::Interrupted() && !cancelled) {
            cancelled = true;
            std::fprintf(stderr, "ombrel render: cancelling; the frame in hand finishes\n");
            manager.CancelRender("Cancelled by signal");
        }
        return manager.activeThreads() == 0;
    });
    manager.WaitUntilExit();

    for (const auto& item : manager.renderQueue()) {
        if (item->errorState() && !item->errorMessage().empty()) {
            std::fprintf(stderr, "ombrel render: %s: %s\n", item->filePath().c_str(), item->errorMessage().c_str());
            ++failed;
        } else if (!item->errorState()) {
            std::printf("%s -> %s\n", item->filePath().c_str(), item->DestPath().c_str());
        }
    }
    if (cancelled) return kExitCancelled;
    return failed > 0 ? kExitFailed : kExitOk;
}

}  // namespace ombrel::cli
