#include "FarmCommand.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "Json.h"
#include "core/AtomicFile.h"
#include "core/Paths.h"
#include "farm/FarmJob.h"
#include "farm/Process.h"
#include "farm/SequenceCheck.h"
#include "farm/Slurm.h"
#include "model/OutputSettings.h"
#include "r3d/sdk/R3DSDK.h"
#include "render/RenderBase.h"
#include "render/RenderManager.h"
#include "sources/R3DSource.h"
#include "sources/SourceFactory.h"

namespace ombrel::cli {
namespace {

namespace fs = std::filesystem;
using farm::FarmJob;

// Options of submit and template that are the farm's own, or that every task gets in a form of
// its own (frames, progress, output folder, the clip), and are not passed on as given.
const std::set<std::string> kNotPassedOn = {"--frames", "--progress", "--out",       "--project", "--clip",
                                            "--chunk",  "--partition", "--time",     "--dry-run", "--resume",
                                            "--audio-at", "--settings", "CLIP"};

std::string Absolute(const std::string& path) {
    std::error_code ec;
    const fs::path p = fs::absolute(ExpandTilde(path), ec);
    return ec ? path : p.lexically_normal().string();
}

// The number of frame 0 in a frame file's name, as the frame-sequence renderers count it.
int64_t FirstFrameNumber(const std::string& path, bool movie, const OutputSettings& out) {
    if (out.timecode() == 1 || movie) return 0;
    R3DSDK::Clip clip(path);
    if (clip.Status() != R3DSDK::kClipLoaded) return 0;
    const TimecodeValues tc =
        R3DTimecodeForText(clip.Timecode(0), clip.FrameRateNumerator(), clip.FrameRateDenominator());
    const int base = RenderBase::FrameBaseForRate(clip.MetadataItemAsFloat("framerate"));
    return (int64_t{tc.hours} * 3600 + tc.minutes * 60 + tc.seconds) * base + tc.frames;
}

std::string UtcStamp() {
    const std::time_t now = std::time(nullptr);
    std::tm tm{};
    gmtime_r(&now, &tm);
    char text[32];
    std::strftime(text, sizeof text, "%Y%m%d-%H%M%S", &tm);
    return text;
}

std::string SelfExecutable() {
    std::error_code ec;
    const fs::path self = fs::read_symlink("/proc/self/exe", ec);
    return ec ? std::string("ombrel") : self.string();
}

// The render options given to submit or template, as a task's command line passes them on.
std::vector<std::string> PassedOnArguments(CLI::App* command, const RenderOptions& o) {
    std::vector<std::string> args;
    for (const CLI::Option* option : command->get_options()) {
        const std::string name = option->get_name();
        if (option->count() == 0 || kNotPassedOn.count(name) || name.rfind("--", 0) != 0) continue;
        if (option->get_expected_max() == 0) {
            args.push_back(name);
            continue;
        }
        for (const std::string& value : option->results()) args.insert(args.end(), {name, value});
    }
    if (o.settingsFile) args.insert(args.end(), {"--settings", Absolute(*o.settingsFile)});
    return args;
}

// Works out the clips and their ranges as `ombrel render` does and fills the job's clips.
// Returns an exit code; the messages are printed.
int PlanJob(FarmOptions& f, CLI::App* command, FarmJob* job) {
    RenderOptions o = f.render;
    if (o.format == "mov") {
        std::fprintf(stderr,
                     "ombrel farm: movie output is not split across a farm: a movie is one file from one encoder, "
                     "written in frame order. Render DPX or TIFF on the farm, or the movie on one machine\n");
        return kExitUsage;
    }
    if (o.conform) {
        std::fprintf(stderr,
                     "ombrel farm: --conform renders an edit's ranges, which the farm does not split; render the "
                     "edit with ombrel render --conform\n");
        return kExitUsage;
    }
    if (o.out) o.out = Absolute(*o.out);
    if (o.project) o.project = Absolute(*o.project);
    std::vector<std::shared_ptr<RenderManagerItem>> items;
    o.planOnly = &items;
    if (const int code = RunRender(o); code != kExitOk) return code;

    job->chunk = f.chunk;
    job->program = SelfExecutable();
    job->dataRoot = Absolute(DataRoot());
    job->renderArgs = PassedOnArguments(command, f.render);
    if (items.empty()) {
        std::fprintf(stderr, "ombrel farm: no clip to render\n");
        return kExitFailed;
    }
    // One run has one output folder; every task names it, as a node's default would be its own.
    const std::string dir = Absolute(items.front()->outputSettings()->outputDirectory().value_or(RenderFolder()));
    job->renderArgs.insert(job->renderArgs.begin(), {"--out", dir});
    std::string name = UtcStamp();
    job->folder = dir + "/.ombrel-farm/" + name;
    std::error_code ec;
    for (int n = 2; fs::exists(job->folder, ec); ++n) job->folder = dir + "/.ombrel-farm/" + name + "-" + std::to_string(n);
    job->name = LastPathComponent(job->folder);
    int failed = 0;
    for (const auto& item : items) {
        const OutputSettings& out = *item->outputSettings();
        const std::string& path = item->filePath();
        if (out.format() == kFormatMovie) {
            std::fprintf(stderr,
                         "ombrel farm: the project renders movies, which are not split across a farm; give "
                         "--format dpx or tiff\n");
            return kExitUsage;
        }
        if (item->settings() && item->settings()->hasSnippets()) {
            std::fprintf(stderr,
                         "ombrel farm: %s: the clip has edit ranges (snippets); the farm renders whole ranges, so "
                         "render this clip with ombrel render\n",
                         path.c_str());
            ++failed;
            continue;
        }
        const bool movie = SourceKindForPath(path) == SourceKind::Movie;
        farm::FarmClip clip;
        clip.name = item->BaseName();
        clip.path = path;
        clip.clipArgs = o.project ? std::vector<std::string>{"--project", *o.project, "--clip", path}
                                  : std::vector<std::string>{path};
        std::tie(clip.first, clip.last) = RenderManager::FrameRangeForItem(*item);
        const std::string base = movie ? DeletingPathExtension(LastPathComponent(path)) : item->BaseName();
        clip.naming.folder = movie ? (out.folders() == 0 ? AppendingPathComponent(dir, base) : dir)
                                   : Absolute(item->DestPath());
        clip.naming.prefix = out.filenames() == 0 ? base + "." : std::string();
        clip.naming.extension = out.format() == kFormatTiff ? "tiff" : "dpx";
        clip.naming.numberBase = FirstFrameNumber(path, movie, out);
        job->clips.push_back(std::move(clip));
        job->AddTasks(static_cast<int>(job->clips.size() - 1), job->clips.back().first, job->clips.back().last);
    }
    return failed > 0 ? kExitFailed : kExitOk;
}

void PrintDryRun(const FarmJob& job, const std::vector<int>& tasks, const farm::SlurmOptions& slurm) {
    std::printf("job folder: %s\n\n--- task.sh\n%s\n--- finish.sh\n%s\n--- tasks (tasks/N.args)\n", job.folder.c_str(),
                farm::TaskScript(job).c_str(), farm::FinishScript(job).c_str());
    for (const int t : tasks)
        std::printf("%d: %s\n", t, farm::QuotedCommand(job.TaskArguments(job.tasks[static_cast<size_t>(t)])).c_str());
    std::printf("\n--- finish.args\n%s\n\n--- submitted with\n%s\n%s\n",
                farm::QuotedCommand({job.program, "farm", "check", job.folder}).c_str(),
                farm::QuotedCommand(farm::ArraySubmitArgs(job, tasks, slurm)).c_str(),
                farm::QuotedCommand(farm::FinishSubmitArgs(job, "ARRAY_JOB_ID", slurm)).c_str());
}

int Submit(FarmJob& job, const std::vector<int>& tasks, const farm::SlurmOptions& slurm) {
    if (Status s = farm::WriteJobFolder(job); !s.ok()) {
        std::fprintf(stderr, "ombrel farm: %s\n", s.message().c_str());
        return kExitFailed;
    }
    // Every node reads the data root this machine resolved: a node with another one would
    // render other pictures.
    const std::map<std::string, std::string> env{{"OMBREL_DATA_DIR", job.dataRoot}};
    farm::ProcessResult r;
    std::string arrayId, finishId;
    if (Status s = farm::RunProcess(farm::ArraySubmitArgs(job, tasks, slurm), env, &r); !s.ok()) {
        std::fprintf(stderr, "ombrel farm: cannot run sbatch: %s\n", s.message().c_str());
        return kExitUsage;
    }
    if (r.exitCode != 0 || !farm::ParseSbatchJobId(r.out, &arrayId).ok()) {
        std::fprintf(stderr, "ombrel farm: sbatch refused the job (exit %d): %s", r.exitCode, r.err.c_str());
        return kExitFailed;
    }
    for (const int t : tasks) job.tasks[static_cast<size_t>(t)].slurmJob = arrayId;
    job.slurmJobs.push_back(arrayId);
    if (Status s = farm::RunProcess(farm::FinishSubmitArgs(job, arrayId, slurm), env, &r); !s.ok() ||
        r.exitCode != 0 || !farm::ParseSbatchJobId(r.out, &finishId).ok()) {
        std::fprintf(stderr, "ombrel farm: the array job %s is submitted, but not its finishing check: %s%s",
                     arrayId.c_str(), s.ok() ? "" : s.message().c_str(), r.err.c_str());
    } else {
        job.slurmJobs.push_back(finishId);
    }
    if (Status s = farm::SaveJobRecord(job); !s.ok())
        std::fprintf(stderr, "ombrel farm: the job ids were not recorded: %s\n", s.message().c_str());
    std::printf("array job %s: %zu tasks\n", arrayId.c_str(), tasks.size());
    if (!finishId.empty()) std::printf("finishing job %s: ombrel farm check\n", finishId.c_str());
    std::printf("job folder: %s\n", job.folder.c_str());
    return kExitOk;
}

int LoadJobOrSay(const std::string& dir, FarmJob* job) {
    const std::string folder = farm::FindJobFolder(Absolute(dir));
    if (folder.empty()) {
        std::fprintf(stderr, "ombrel farm: %s is no farm job folder and holds none (.ombrel-farm/)\n", dir.c_str());
        return kExitFailed;
    }
    if (Status s = farm::LoadJob(folder, job); !s.ok()) {
        std::fprintf(stderr, "ombrel farm: %s\n", s.message().c_str());
        return kExitFailed;
    }
    return kExitOk;
}

int RunSubmit(FarmOptions& f) {
    const farm::SlurmOptions slurm{f.partition, f.time};
    if (!f.dryRun && !farm::ProgramOnPath("sbatch")) {
        std::fprintf(stderr, "ombrel farm: sbatch is not on PATH: this machine cannot submit to a Slurm cluster "
                             "(--dry-run shows the job; ombrel farm template writes one for other farm managers)\n");
        return kExitUsage;
    }
    FarmJob job;
    std::vector<int> tasks;
    if (f.resume) {
        if (const int code = LoadJobOrSay(*f.resume, &job); code != kExitOk) return code;
        const farm::JobCheck check = farm::CheckJob(job);
        if (check.Whole()) {
            std::printf("%s: every frame is there; nothing to resubmit\n", job.folder.c_str());
            return kExitOk;
        }
        for (const farm::FrameGap& gap : check.gaps) {
            std::printf("%s\n", farm::GapLine(job, gap).c_str());
            for (const int t : job.AddTasks(gap.clip, gap.first, gap.last, true)) tasks.push_back(t);
        }
    } else {
        if (f.chunk < 1) {
            std::fprintf(stderr, "ombrel farm: submit wants --chunk N, the frames of one task\n");
            return kExitUsage;
        }
        if (const int code = PlanJob(f, f.submit, &job); code != kExitOk) return code;
        for (const farm::FarmTask& t : job.tasks) tasks.push_back(t.index);
    }
    if (f.dryRun) {
        PrintDryRun(job, tasks, slurm);
        return kExitOk;
    }
    return Submit(job, tasks, slurm);
}

std::string CheckJson(const FarmJob& job, const farm::JobCheck& check) {
    std::string s = "{\"job\": " + JsonString(job.name) + ", \"folder\": " + JsonString(job.folder) +
                    ", \"whole\": " + (check.Whole() ? "true" : "false") + ", \"clips\": [";
    for (size_t c = 0; c < job.clips.size(); ++c) {
        const farm::FarmClip& clip = job.clips[c];
        const farm::ClipTally& t = check.clips[c];
        s += std::string(c ? ", " : "") + "{\"name\": " + JsonString(clip.name) + ", \"path\": " +
             JsonString(clip.path) + ", \"output\": " + JsonString(clip.naming.folder) +
             ", \"first\": " + std::to_string(clip.first) + ", \"last\": " + std::to_string(clip.last) +
             ", \"expected\": " + std::to_string(t.expected) + ", \"present\": " + std::to_string(t.present) +
             ", \"missing\": " + std::to_string(t.missing) + ", \"short\": " + std::to_string(t.shortFiles) + "}";
    }
    s += "], \"gaps\": [";
    for (size_t i = 0; i < check.gaps.size(); ++i) {
        const farm::FrameGap& g = check.gaps[i];
        const farm::FarmClip& clip = job.clips[static_cast<size_t>(g.clip)];
        s += std::string(i ? ", " : "") + "{\"clip\": " + JsonString(clip.name) +
             ", \"first\": " + std::to_string(g.first) + ", \"last\": " + std::to_string(g.last) +
             ", \"firstNumber\": " + std::to_string(clip.naming.Number(g.first)) +
             ", \"lastNumber\": " + std::to_string(clip.naming.Number(g.last)) + ", \"kind\": " +
             (g.kind == farm::GapKind::kMissing ? "\"missing\"" : "\"short\"") +
             ", \"task\": " + std::to_string(g.task) + "}";
    }
    return s + "]}\n";
}

int RunCheck(const FarmOptions& f) {
    FarmJob job;
    if (const int code = LoadJobOrSay(f.dir, &job); code != kExitOk) return code;
    const farm::JobCheck check = farm::CheckJob(job);
    for (size_t c = 0; c < job.clips.size(); ++c) {
        const farm::ClipTally& t = check.clips[c];
        std::printf("%s: %d of %d frames%s\n", job.clips[c].name.c_str(), t.present, t.expected,
                    t.present == t.expected ? ", whole" : "");
    }
    for (const farm::FrameGap& gap : check.gaps) std::printf("%s\n", farm::GapLine(job, gap).c_str());
    const std::string report = job.FilePath("check.json");
    if (Status s = WriteFileAtomically(report, CheckJson(job, check)); !s.ok())
        std::fprintf(stderr, "ombrel farm: the report was not written: %s\n", s.message().c_str());
    else
        std::printf("report: %s\n", report.c_str());
    return check.Whole() ? kExitOk : kExitFailed;
}

std::string ReadText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

int RunStatus(const FarmOptions& f) {
    FarmJob job;
    std::string where = f.job;
    const bool slurmId = !where.empty() && where.find_first_not_of("0123456789_") == std::string::npos;
    farm::ProcessResult r;
    if (slurmId) {
        if (Status s = farm::RunProcess({"scontrol", "show", "job", where}, {}, &r); !s.ok()) {
            std::fprintf(stderr, "ombrel farm: %s\n", s.message().c_str());
            return kExitUsage;
        }
        const auto jobs = farm::ParseScontrolJobs(r.out);
        if (r.exitCode != 0 || jobs.empty() || !jobs.front().count("WorkDir")) {
            std::fprintf(stderr, "ombrel farm: Slurm knows no job %s: %s", where.c_str(), r.err.c_str());
            return kExitFailed;
        }
        where = jobs.front().at("WorkDir");
    }
    if (const int code = LoadJobOrSay(where, &job); code != kExitOk) return code;
    // Live tasks from squeue, ended ones from scontrol while Slurm remembers them, exit codes
    // from the job folder.
    std::map<std::string, std::map<int, std::string>> states;
    for (const farm::FarmTask& t : job.tasks) {
        if (t.slurmJob.empty() || states.count(t.slurmJob)) continue;
        auto& byTask = states[t.slurmJob];
        if (farm::RunProcess({"scontrol", "show", "job", t.slurmJob}, {}, &r).ok() && r.exitCode == 0)
            for (const auto& record : farm::ParseScontrolJobs(r.out)) {
                const auto id = record.find("ArrayTaskId"), state = record.find("JobState");
                if (id != record.end() && state != record.end() &&
                    id->second.find_first_not_of("0123456789") == std::string::npos)
                    byTask[std::stoi(id->second)] = state->second;
            }
        if (farm::RunProcess({"squeue", "-h", "-r", "-j", t.slurmJob, "-o", "%K|%T"}, {}, &r).ok() && r.exitCode == 0)
            for (const auto& [task, state] : farm::ParseSqueueTasks(r.out)) byTask[task] = state;
    }
    std::printf("job %s (%s)\n", job.name.c_str(), job.folder.c_str());
    int framesDone = 0, framesAll = 0;
    for (const farm::FarmTask& t : job.tasks) {
        const int frames = t.last - t.first + 1;
        std::string state = "NOT SUBMITTED";
        if (!t.slurmJob.empty()) {
            const auto& byTask = states[t.slurmJob];
            const auto found = byTask.find(t.index);
            state = found != byTask.end() ? found->second : "ENDED";
        }
        const std::string exitText = ReadText(job.TaskExitPath(t.index));
        // Slurm forgets a task cancelled before it ran; the missing exit status tells.
        if (state == "ENDED" && exitText.empty()) state = "ENDED WITHOUT EXIT STATUS (cancelled or killed)";
        const int progress = farm::LastProgress(ReadText(job.TaskLogPath(t.index)));
        const int done = exitText.rfind("0\n", 0) == 0 ? frames : progress < 0 ? 0 : frames * progress / 100;
        framesDone += done;
        framesAll += frames;
        std::printf("task %d  %s %d-%d  %s%s  %d of %d frames\n", t.index,
                    job.clips[static_cast<size_t>(t.clip)].name.c_str(), t.first, t.last, state.c_str(),
                    exitText.empty() ? "" : (" (exit " + exitText.substr(0, exitText.find('\n')) + ")").c_str(), done,
                    frames);
    }
    std::printf("%d of %d frames\n", framesDone, framesAll);
    return kExitOk;
}

int RunTemplate(FarmOptions& f) {
    if (f.chunk < 1) {
        std::fprintf(stderr, "ombrel farm: template wants --chunk N, the frames of one task\n");
        return kExitUsage;
    }
    FarmJob job;
    if (const int code = PlanJob(f, f.templ, &job); code != kExitOk) return code;
    std::string why;
    const std::string yaml = farm::OpenJobTemplate(job, &why);
    if (yaml.empty()) {
        std::fprintf(stderr, "ombrel farm: no template: %s\n", why.c_str());
        return kExitFailed;
    }
    std::printf("%s", yaml.c_str());
    return kExitOk;
}

}  // namespace

CLI::App* AddFarmCommand(CLI::App& app, FarmOptions& f) {
    CLI::App* farmCommand = app.add_subcommand("farm", "Render on a Slurm cluster, in chunks of frames");
    farmCommand->require_subcommand(1);
    f.submit = AddRenderOptions(farmCommand->add_subcommand("submit", "Submit clips as an array job of frame ranges"),
                                f.render);
    f.submit->add_option("--chunk", f.chunk, "Frames of one task")->check(CLI::PositiveNumber);
    f.submit->add_option("--partition", f.partition, "Slurm partition");
    f.submit->add_option("--time", f.time, "Slurm time limit of a task, as 1:00:00");
    f.submit->add_flag("--dry-run", f.dryRun, "Print the scripts and the sbatch lines; submit nothing");
    f.submit->add_option("--resume", f.resume, "Resubmit the missing frames of a job folder");
    f.templ = AddRenderOptions(
        farmCommand->add_subcommand("template", "Print an Open Job Description template of the render"), f.render);
    f.templ->add_option("--chunk", f.chunk, "Frames of one task")->check(CLI::PositiveNumber)->required();
    f.check = farmCommand->add_subcommand("check", "Check the frames of a farm job; 0 when whole");
    f.check->add_option("DIR", f.dir, "A job folder, or the output folder above it")->required();
    f.status = farmCommand->add_subcommand("status", "The state of each task of a farm job");
    f.status->add_option("JOB", f.job, "A job folder, an output folder or a Slurm job id")->required();
    return farmCommand;
}

int RunFarm(FarmOptions& f) {
    if (*f.submit) return RunSubmit(f);
    if (*f.templ) return RunTemplate(f);
    if (*f.check) return RunCheck(f);
    if (*f.status) return RunStatus(f);
    return kExitUsage;
}

}  // namespace ombrel::cli
