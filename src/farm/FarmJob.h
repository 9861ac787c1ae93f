#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/Status.h"

namespace ombrel::farm {

// How a clip's frames are named on disk, as the frame-sequence renderers name them:
// folder/prefix + six digits of (numberBase + frame) + "." + extension.
struct SequenceNaming {
    std::string folder;
    std::string prefix;     // "NAME." or empty
    std::string extension;  // "dpx" or "tiff"
    int64_t numberBase = 0;  // the number of frame 0: the start timecode in frames, or 0

    std::string FramePath(int frame) const;
    int64_t Number(int frame) const { return numberBase + frame; }
};

// One clip of a farm job: the whole range the render covers and how the tasks name the clip.
struct FarmClip {
    std::string name;                   // for messages: the clip's base name
    std::string path;                   // absolute
    std::vector<std::string> clipArgs;  // how a task's render command names the clip
    int first = 0;                      // inclusive
    int last = 0;
    SequenceNaming naming;
};

// One array task: a frame range of one clip.
struct FarmTask {
    int index = 0;
    int clip = 0;
    int first = 0;
    int last = 0;
    // A range sent again for frames found missing or short: it replaces what it renders even
    // when the job keeps existing output, as short files must go and whole ones come out the same.
    bool resumed = false;
    std::string slurmJob;  // the array job it was submitted in; empty before
};

struct FrameRange {
    int first = 0;
    int last = 0;
    bool operator==(const FrameRange&) const = default;
};

// first..last cut into ranges of `chunk` frames; the last range takes what is left. A range
// of one frame cannot be rendered (a render wants two), so a lone last frame joins the range
// before it.
std::vector<FrameRange> ChunkRange(int first, int last, int chunk);

// A submitted render: its clips, its tasks and the folder that holds their scripts, argument
// files, logs and exit codes (<output>/.ombrel-farm/<name>/).
struct FarmJob {
    std::string name;
    std::string folder;
    std::string program;                  // the ombrel executable every task runs
    std::vector<std::string> renderArgs;  // the render options every task gets
    std::string dataRoot;                 // pinned for every node
    int chunk = 0;
    std::vector<FarmClip> clips;
    std::vector<FarmTask> tasks;
    std::vector<std::string> slurmJobs;  // array and finishing job ids, in submission order

    // Appends the tasks of one clip's frames, chunk by chunk; returns their indices.
    std::vector<int> AddTasks(int clip, int first, int last, bool resumed = false);
    // The argument vector of a task: `ombrel render` for its frames.
    std::vector<std::string> TaskArguments(const FarmTask& task) const;
    // The same with the frames as a placeholder, for templates of other farm managers.
    std::vector<std::string> ClipArguments(const FarmClip& clip, const std::string& frames) const;
    // The task of a clip's frame: the newest that holds it (a resubmitted range wins); -1 for none.
    int TaskForFrame(int clip, int frame) const;

    std::string FilePath(const std::string& name) const { return folder + "/" + name; }
    std::string TaskArgsPath(int task) const;
    std::string TaskExitPath(int task) const;
    std::string TaskLogPath(int task) const;  // stderr
};

// Writes the job folder: the two scripts, the argument files of every task and the record
// (job.plist), each file whole. Files of tasks written before stay as they are.
Status WriteJobFolder(const FarmJob& job);
// Writes just the record, as after a submission adds job ids.
Status SaveJobRecord(const FarmJob& job);
// Reads a job folder's record.
Status LoadJob(const std::string& folder, FarmJob* job);
// The job folder that DIR names: DIR itself when it holds a record, else the newest job under
// DIR/.ombrel-farm; empty when neither.
std::string FindJobFolder(const std::string& dir);

// The scripts Slurm runs. They hold no paths: the job's working folder is the job folder, and
// the commands come from NUL-separated argument files, so no path ever passes through a shell.
std::string TaskScript(const FarmJob& job);
std::string FinishScript(const FarmJob& job);
// An argument vector quoted for reading by eye (and for a POSIX shell).
std::string QuotedCommand(const std::vector<std::string>& argv);

// An Open Job Description template: one step per clip whose task parameter is the frame range.
// Empty with *why set when a path holds "{{", which the template language would expand.
std::string OpenJobTemplate(const FarmJob& job, std::string* why);

}  // namespace ombrel::farm
