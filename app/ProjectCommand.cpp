#include "ProjectCommand.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "RenderCommand.h"
#include "core/Paths.h"
#include "model/Gauge.h"
#include "model/SettingsManager.h"

namespace ombrel::cli {
namespace {

std::string Num(double v) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", v);
    return text;
}

std::string FormatText(const OutputSettings& o) {
    if (o.format() == kFormatDpx) return "DPX";
    if (o.format() == kFormatTiff) return "TIFF";
    std::string text = "movie, codec tag " + std::to_string(o.qtCodec());
    if (auto name = OutputSettings::PresetResourceNameForTag(o.qtCodec())) text += " (" + *name + ")";
    return text;
}

std::string SizeText(const OutputSettings& o) {
    const OutputSize size = o.size();
    if (size.width <= 0.0f || size.height <= 0.0f) return "source size";
    return Num(size.width) + "x" + Num(size.height) + " (size tag " + std::to_string(o.outputSizeTag()) + ")";
}

void PrintOutput(const OutputSettings& o) {
    std::printf("output: %s, %s, fit %d, folders %d, %s, %s, %s\n", FormatText(o).c_str(), SizeText(o).c_str(),
                o.fitMethod(), o.folders(),
                o.filenames() == 0 ? "frame names begin with the clip name" : "frame names without the clip name",
                o.timecode() == 1 ? "numbered by frame index" : "numbered from the start timecode",
                o.overwrite() == 1 ? "keeps existing output" : "replaces existing output");
    if (o.outputDirectory() && !o.outputDirectory()->empty())
        std::printf("output folder: %s\n", o.outputDirectory()->c_str());
    else
        std::printf("output folder: none saved (renders go to %s)\n", RenderFolder().c_str());
}

void PrintClip(const std::string& clip, const ProjectState& state) {
    std::error_code ec;
    std::printf("clip: %s%s\n", clip.c_str(), std::filesystem::exists(clip, ec) ? "" : " [missing]");
    ClipSettingsPtr s = SettingsManager::Instance().SettingsForClip(clip);
    if (!s) {
        std::printf("  look: none saved (defaults)\n");
    } else {
        std::printf("  look: stock %s, gauge %s, grain %s, exposure %s, kelvin %s%s, saturation %s\n",
                    s->stockName().c_str(), GrainSizeForMultiplier(s->grainScale()).c_str(),
                    Num(s->grainMultiplier()).c_str(), Num(s->exposure()).c_str(), Num(s->kelvin()).c_str(),
                    s->useMetadata() ? " (camera metadata first)" : "", Num(s->saturation()).c_str());
        const ColorBallInfo balls = s->ballInfo();
        std::printf(
            "        lift %s, gamma %s, gain %s, levels %s/%s/%s, colour %s, s-curve %s, balls %s,%s %s,%s %s,%s\n",
            Num(s->lift()).c_str(), Num(s->gamma()).c_str(), Num(s->gain()).c_str(), Num(s->black()).c_str(),
            Num(s->mid()).c_str(), Num(s->white()).c_str(), Num(s->colorChangePercent()).c_str(),
            Num(s->scurveChangePercent()).c_str(), Num(balls.h[0]).c_str(), Num(balls.h[1]).c_str(),
            Num(balls.m[0]).c_str(), Num(balls.m[1]).c_str(), Num(balls.s[0]).c_str(), Num(balls.s[1]).c_str());
        if (s->userFrameIn() == 0 && s->userFrameOut() == 0)
            std::printf("  frames: whole clip\n");
        else if (s->userFrameOut() == 0)
            std::printf("  frames: from %d\n", s->userFrameIn());
        else
            std::printf("  frames: %d-%d\n", s->userFrameIn(), s->userFrameOut());
        if (!s->presetID().empty())
            std::printf("  preset: %s (#%d, %s)\n", s->presetName().empty() ? "unnamed" : s->presetName().c_str(),
                        s->presetNumber(), s->presetID().c_str());
        if (s->sourceCameraChosen()) std::printf("  camera: %s\n", s->sourceCameraChosen()->c_str());
    }
    if (auto fault = state.clipFaults.find(clip); fault != state.clipFaults.end())
        std::printf("  not renderable: %s\n", fault->second.c_str());
    const PlistValue ranges = ProjectFile::SnippetsForPath(state.snippetList, clip);
    if (ranges.size() >= 2) {
        std::string text;
        for (size_t i = 0; i + 1 < ranges.size(); i += 2) {
            if (!text.empty()) text += ", ";
            text += std::to_string(ranges.at(i).asInt()) + "-" + std::to_string(ranges.at(i + 1).asInt());
        }
        std::printf("  snippets: %s\n", text.c_str());
    }
}

// Why the project's saved output format is none this build knows, naming the key and the
// value; empty when it is fine. A missing key reads as 0, a movie, as everywhere.
std::string BadOutputFormat(const std::string& project) {
    PlistValue dict;
    if (!ProjectFile::ReadPropertyList(project, &dict).ok()) return {};
    const PlistValue format = dict["outputSettings"]["format"];
    using Type = PlistValue::Type;
    std::string value;
    switch (format.type()) {
        case Type::Null: return {};
        case Type::Integer:
        case Type::Real: {
            const double v = format.asReal();
            if (v == double(int(kFormatDpx)) || v == double(int(kFormatTiff)) || v == double(int(kFormatMovie)))
                return {};
            value = Num(v) + ", which is no format of this build";
            break;
        }
        case Type::String: value = "\"" + format.asString().substr(0, 40) + "\", which is not a format number"; break;
        case Type::Bool:
            value = std::string(format.asBool() ? "true" : "false") + ", which is not a format number";
            break;
        case Type::Array: value = "an array, which is not a format number"; break;
        case Type::Dict: value = "a dictionary, which is not a format number"; break;
        default: value = "data, which is not a format number"; break;
    }
    return "the project " + project + " has output setting \"format\" = " + value +
           "; the formats are 20 (DPX), 21 (TIFF) and 0 (movie), and --format overrides it";
}

// The clips a project renders: its shot list, or the clips with settings when it has none.
std::vector<std::string> ProjectClips(const ProjectState& state) { return state.hasPaths ? state.paths : state.clips; }

}  // namespace

CLI::App* AddProjectCommand(CLI::App& app, ProjectOptions& options) {
    CLI::App* project = app.add_subcommand("project", "Look into saved projects");
    project->require_subcommand(1);
    CLI::App* show = project->add_subcommand("show", "List a project's clips and their key settings");
    show->add_option("FILE", options.file, "Project file")->required();
    show->callback([&options] { options.action = ProjectOptions::Action::kShow; });
    CLI::App* add = project->add_subcommand(
        "add", "Add clips to a project's shot list; a folder adds every clip under it (the project is made when missing)");
    add->add_option("FILE", options.file, "Project file")->required();
    add->add_option("PATH", options.paths, "Clips and folders")->required();
    add->callback([&options] { options.action = ProjectOptions::Action::kAdd; });
    CLI::App* remove = project->add_subcommand(
        "remove", "Remove clips from a project's shot list, with their settings and edit ranges; a folder removes the "
                  "clips under it");
    remove->add_option("FILE", options.file, "Project file")->required();
    remove->add_option("PATH", options.paths, "Clips and folders of the shot list")->required();
    remove->callback([&options] { options.action = ProjectOptions::Action::kRemove; });
    return project;
}

int RunProject(const ProjectOptions& options) {
    if (options.action != ProjectOptions::Action::kShow) return RunProjectEdit(options);
    ProjectState state;
    if (Status s = ProjectFile::LoadProjectAtPath(options.file, &state, SettingsManager::Migration::kReadOnly);
        !s.ok()) {
        std::fprintf(stderr, "ombrel project show: cannot read the project %s\n", s.message().c_str());
        return kExitFailed;
    }
    std::printf("project: %s\n", options.file.c_str());
    PrintOutput(state.outputSettings);
    if (state.currentOpenFile) std::printf("open clip: %s\n", state.currentOpenFile->c_str());
    if (state.olderPresets > 0)
        std::printf("older presets: %zu (opening the project in the window moves them to the library \"%s\")\n",
                    state.olderPresets, state.libraryName.c_str());
    const std::vector<std::string> clips = ProjectClips(state);
    std::printf("clips: %zu\n", clips.size());
    for (const auto& clip : clips) PrintClip(clip, state);
    return kExitOk;
}

std::unique_ptr<ProjectRender> ProjectRender::Load(const RenderOptions& o, const OutputSettings& fromOptions,
                                                   int* exitCode) {
    std::unique_ptr<ProjectRender> render(new ProjectRender(o));
    if (Status s = ProjectFile::LoadProjectAtPath(*o.project, &render->state_, SettingsManager::Migration::kReadOnly);
        !s.ok()) {
        std::fprintf(stderr, "ombrel render: cannot read the project %s\n", s.message().c_str());
        *exitCode = kExitFailed;
        return nullptr;
    }
    if (!o.given.count("--format")) {
        if (const std::string why = BadOutputFormat(*o.project); !why.empty()) {
            std::fprintf(stderr, "ombrel render: %s\n", why.c_str());
            *exitCode = kExitFailed;
            return nullptr;
        }
    }
    const std::vector<std::string> all = ProjectClips(render->state_);
    if (all.empty()) {
        std::fprintf(stderr, "ombrel render: the project %s has no clips\n", o.project->c_str());
        *exitCode = kExitFailed;
        return nullptr;
    }
    for (const auto& wanted : o.projectClips) {
        std::error_code ec;
        const std::string absolute = std::filesystem::absolute(wanted, ec).lexically_normal().string();
        std::vector<std::string> found;
        for (const auto& clip : all)
            if (clip == wanted || clip == absolute) found = {clip};
        if (found.empty() && wanted.find('/') == std::string::npos) {
            for (const auto& clip : all)
                if (LastPathComponent(clip) == wanted) found.push_back(clip);
        }
        if (found.size() != 1) {
            std::fprintf(stderr, "ombrel render: --clip %s %s the project %s (ombrel project show lists them)\n",
                         wanted.c_str(),
                         found.empty() ? "is not a clip of" : "names several clips of; give the whole path from",
                         o.project->c_str());
            *exitCode = kExitUsage;
            return nullptr;
        }
        if (std::find(render->clips_.begin(), render->clips_.end(), found[0]) == render->clips_.end())
            render->clips_.push_back(found[0]);
    }
    if (o.projectClips.empty()) render->clips_ = all;

    // The project's output settings; what the command line names explicitly wins.
    auto out = std::make_shared<OutputSettings>(render->state_.outputSettings);
    auto given = [&](const char* name) { return o.given.count(name) > 0; };
    if (given("--format")) {
        out->setFormat(fromOptions.format());
        out->setQtCodec(fromOptions.qtCodec());
        out->setOptionsPreset(fromOptions.optionsPreset());
    }
    if (given("--out") || !out->outputDirectory() || out->outputDirectory()->empty())
        out->setOutputDirectory(fromOptions.outputDirectory());
    else
        out->setOutputDirectory(ExpandTilde(*out->outputDirectory()));
    if (given("--size") || given("--size-tag")) {
        out->setResize(fromOptions.resize());
        out->setSize(fromOptions.size());
        out->setOutputSizeTag(fromOptions.outputSizeTag());
    }
    if (given("--fit")) out->setFitMethod(fromOptions.fitMethod());
    if (given("--keep-existing")) out->setOverwrite(fromOptions.overwrite());
    if (given("--folders")) out->setFolders(fromOptions.folders());
    if (given("--no-clip-prefix")) out->setFilenames(fromOptions.filenames());
    if (given("--index-names")) out->setTimecode(fromOptions.timecode());
    out->setThreadCount(1);
    render->output_ = std::move(out);
    return render;
}

std::string ProjectRender::PrepareLook(const std::string& clip, ClipSettings& look) const {
    if (auto fault = state_.clipFaults.find(clip); fault != state_.clipFaults.end()) return fault->second;
    const ClipSettingsPtr own = SettingsManager::Instance().SettingsForClip(clip);
    const ClipSettings defaults;
    look.CopySettingsFrom(own ? *own : defaults);
    // The look options were checked when the command line was read.
    ApplyLookOptions(options_, look);
    return {};
}

void ProjectRender::AttachSnippets(const std::string& clip, ClipSettings& settings) const {
    ProjectFile::SetSnippetsForSettingsAndPath(settings, state_.snippetList, clip);
}

}  // namespace ombrel::cli
