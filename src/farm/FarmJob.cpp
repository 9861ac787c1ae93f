#include "farm/FarmJob.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "core/AtomicFile.h"
#include "core/PlistValue.h"

namespace ombrel::farm {
namespace {

namespace fs = std::filesystem;

PlistValue Strings(const std::vector<std::string>& list) {
    PlistValue array = PlistValue::MakeArray();
    for (const auto& s : list) array.append(s);
    return array;
}

std::vector<std::string> StringsOf(const PlistValue& array) {
    std::vector<std::string> out;
    if (!array.isArray()) return out;
    for (size_t i = 0; i < array.size(); ++i) out.push_back(array.at(i).asString());
    return out;
}

// The argument file of a command: each argument followed by a NUL, as bash's `mapfile -d ''`
// reads it back.
std::string NulSeparated(const std::vector<std::string>& argv) {
    std::string bytes;
    for (const auto& a : argv) {
        bytes += a;
        bytes.push_back('\0');
    }
    return bytes;
}

std::string YamlString(const std::string& s) {
    std::string out = "\"";
    for (const char c : s) {
        const auto u = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (u < 0x20 || u == 0x7f) {
            char hex[8];
            std::snprintf(hex, sizeof hex, "\\x%02x", u);
            out += hex;
        } else {
            out += c;
        }
    }
    return out + "\"";
}

}  // namespace

std::string SequenceNaming::FramePath(int frame) const {
    char digits[32];
    std::snprintf(digits, sizeof digits, "%06lld", static_cast<long long>(Number(frame)));
    return folder + "/" + prefix + digits + "." + extension;
}

std::vector<FrameRange> ChunkRange(int first, int last, int chunk) {
    std::vector<FrameRange> ranges;
    if (chunk < 1 || last < first) return ranges;
    for (int64_t a = first; a <= last; a += chunk)
        ranges.push_back({static_cast<int>(a), static_cast<int>(std::min<int64_t>(a + chunk - 1, last))});
    if (ranges.size() > 1 && ranges.back().first == ranges.back().last) {
        ranges[ranges.size() - 2].last = ranges.back().last;
        ranges.pop_back();
    }
    return ranges;
}

std::vector<int> FarmJob::AddTasks(int clip, int first, int last, bool resumed) {
    std::vector<int> added;
    for (const FrameRange& r : ChunkRange(first, last, chunk)) {
        added.push_back(static_cast<int>(tasks.size()));
        tasks.push_back({static_cast<int>(tasks.size()), clip, r.first, r.last, resumed, {}});
    }
    return added;
}

std::vector<std::string> FarmJob::ClipArguments(const FarmClip& clip, const std::string& frames) const {
    std::vector<std::string> argv{program, "render"};
    argv.insert(argv.end(), renderArgs.begin(), renderArgs.end());
    // The task holding the clip's first frame writes the sound; no two tasks write it at once.
    argv.insert(argv.end(), {"--audio-at", std::to_string(clip.first), "--frames", frames, "--progress", "openjd"});
    argv.insert(argv.end(), clip.clipArgs.begin(), clip.clipArgs.end());
    return argv;
}

std::vector<std::string> FarmJob::TaskArguments(const FarmTask& task) const {
    std::vector<std::string> argv = ClipArguments(clips.at(static_cast<size_t>(task.clip)),
                                                  std::to_string(task.first) + "-" + std::to_string(task.last));
    if (task.resumed) std::erase(argv, std::string("--keep-existing"));
    return argv;
}

int FarmJob::TaskForFrame(int clip, int frame) const {
    for (auto t = tasks.rbegin(); t != tasks.rend(); ++t)
        if (t->clip == clip && t->first <= frame && frame <= t->last) return t->index;
    return -1;
}

std::string FarmJob::TaskArgsPath(int task) const { return FilePath("tasks/" + std::to_string(task) + ".args"); }
std::string FarmJob::TaskExitPath(int task) const { return FilePath("status/" + std::to_string(task) + ".exit"); }
std::string FarmJob::TaskLogPath(int task) const { return FilePath("logs/task-" + std::to_string(task) + ".err"); }

std::string TaskScript(const FarmJob& job) {
    return "#!/bin/bash\n"
           "# Ombrel farm job " +
           job.name + ": " + std::to_string(job.tasks.size()) + " tasks of at most " + std::to_string(job.chunk) +
           " frames.\n"
           "# Runs in the job folder; array task N runs the argument vector in tasks/N.args (NUL-separated)\n"
           "# and leaves its exit status in status/N.exit and its stderr in logs/task-N.err.\n"
           "task=\"${SLURM_ARRAY_TASK_ID:?not an array task}\"\n"
           "mapfile -d '' -t command < \"tasks/$task.args\" || exit 3\n"
           "\"${command[@]}\"\n"
           "status=$?\n"
           "echo \"$status\" > \"status/$task.exit.part\" && mv -f \"status/$task.exit.part\" \"status/$task.exit\"\n"
           "exit \"$status\"\n";
}

std::string FinishScript(const FarmJob& job) {
    return "#!/bin/bash\n"
           "# Ombrel farm job " +
           job.name +
           ": the check of the rendered frames once every task has ended.\n"
           "mapfile -d '' -t command < finish.args || exit 3\n"
           "exec \"${command[@]}\"\n";
}

std::string QuotedCommand(const std::vector<std::string>& argv) {
    std::string line;
    for (const auto& a : argv) {
        if (!line.empty()) line += ' ';
        const bool plain = !a.empty() && a.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                                             "0123456789-_./=:,+%@") == std::string::npos;
        if (plain) {
            line += a;
            continue;
        }
        line += '\'';
        for (const char c : a) line += c == '\'' ? std::string("'\\''") : std::string(1, c);
        line += '\'';
    }
    return line;
}

Status WriteJobFolder(const FarmJob& job) {
    std::error_code ec;
    for (const char* sub : {"tasks", "status", "logs"}) {
        fs::create_directories(job.FilePath(sub), ec);
        if (ec) return IoError("cannot make the job folder " + job.FilePath(sub) + ": " + ec.message());
    }
    if (Status s = WriteFileAtomically(job.FilePath("task.sh"), TaskScript(job)); !s.ok()) return s;
    if (Status s = WriteFileAtomically(job.FilePath("finish.sh"), FinishScript(job)); !s.ok()) return s;
    const std::vector<std::string> finish{job.program, "farm", "check", job.folder};
    if (Status s = WriteFileAtomically(job.FilePath("finish.args"), NulSeparated(finish)); !s.ok()) return s;
    for (const FarmTask& t : job.tasks) {
        if (fs::exists(job.TaskArgsPath(t.index), ec)) continue;
        if (Status s = WriteFileAtomically(job.TaskArgsPath(t.index), NulSeparated(job.TaskArguments(t))); !s.ok())
            return s;
    }
    return SaveJobRecord(job);
}

Status SaveJobRecord(const FarmJob& job) {
    PlistValue root = PlistValue::MakeDict();
    root.set("name", job.name);
    root.set("program", job.program);
    root.set("dataRoot", job.dataRoot);
    root.set("chunk", job.chunk);
    root.set("renderArgs", Strings(job.renderArgs));
    root.set("slurmJobs", Strings(job.slurmJobs));
    PlistValue clips = PlistValue::MakeArray();
    for (const FarmClip& c : job.clips) {
        PlistValue d = PlistValue::MakeDict();
        d.set("name", c.name);
        d.set("path", c.path);
        d.set("clipArgs", Strings(c.clipArgs));
        d.set("first", c.first);
        d.set("last", c.last);
        d.set("folder", c.naming.folder);
        d.set("prefix", c.naming.prefix);
        d.set("extension", c.naming.extension);
        d.set("numberBase", c.naming.numberBase);
        clips.append(std::move(d));
    }
    root.set("clips", std::move(clips));
    PlistValue tasks = PlistValue::MakeArray();
    for (const FarmTask& t : job.tasks) {
        PlistValue d = PlistValue::MakeDict();
        d.set("clip", t.clip);
        d.set("first", t.first);
        d.set("last", t.last);
        if (t.resumed) d.set("resumed", true);
        if (!t.slurmJob.empty()) d.set("slurmJob", t.slurmJob);
        tasks.append(std::move(d));
    }
    root.set("tasks", std::move(tasks));
    return root.WriteToFile(job.FilePath("job.plist"));
}

Status LoadJob(const std::string& folder, FarmJob* job) {
    PlistValue root;
    const std::string record = folder + "/job.plist";
    if (Status s = PlistValue::ReadFromFile(record, &root); !s.ok()) return s;
    if (!root.isDict() || !root["clips"].isArray() || !root["tasks"].isArray())
        return InvalidError(record + " is no farm job record");
    FarmJob j;
    j.folder = folder;
    j.name = root["name"].asString();
    j.program = root["program"].asString();
    j.dataRoot = root["dataRoot"].asString();
    j.chunk = static_cast<int>(root["chunk"].asInt());
    j.renderArgs = StringsOf(root["renderArgs"]);
    j.slurmJobs = StringsOf(root["slurmJobs"]);
    for (size_t i = 0; i < root["clips"].size(); ++i) {
        const PlistValue& d = root["clips"].at(i);
        FarmClip c;
        c.name = d["name"].asString();
        c.path = d["path"].asString();
        c.clipArgs = StringsOf(d["clipArgs"]);
        c.first = static_cast<int>(d["first"].asInt());
        c.last = static_cast<int>(d["last"].asInt());
        c.naming = {d["folder"].asString(), d["prefix"].asString(), d["extension"].asString(),
                    d["numberBase"].asInt()};
        if (c.last < c.first || c.naming.folder.empty()) return InvalidError(record + ": clip " + c.name + " is damaged");
        j.clips.push_back(std::move(c));
    }
    for (size_t i = 0; i < root["tasks"].size(); ++i) {
        const PlistValue& d = root["tasks"].at(i);
        FarmTask t{static_cast<int>(i), static_cast<int>(d["clip"].asInt()), static_cast<int>(d["first"].asInt()),
                   static_cast<int>(d["last"].asInt()), d["resumed"].asBool(), d["slurmJob"].asString()};
        if (t.clip < 0 || static_cast<size_t>(t.clip) >= j.clips.size() || t.last < t.first)
            return InvalidError(record + ": task " + std::to_string(i) + " is damaged");
        j.tasks.push_back(t);
    }
    *job = std::move(j);
    return OkStatus();
}

std::string FindJobFolder(const std::string& dir) {
    std::error_code ec;
    if (fs::is_regular_file(fs::path(dir) / "job.plist", ec)) return dir;
    std::string newest;
    // Job names are UTC stamps, so the greatest name is the newest job.
    for (const auto& e : fs::directory_iterator(fs::path(dir) / ".ombrel-farm", ec)) {
        const std::string name = e.path().filename().string();
        if (fs::is_regular_file(e.path() / "job.plist", ec) && (newest.empty() || name > fs::path(newest).filename()))
            newest = e.path().string();
    }
    return newest;
}

std::string OpenJobTemplate(const FarmJob& job, std::string* why) {
    std::string yaml = "specificationVersion: jobtemplate-2023-09\nname: " + YamlString("Ombrel render " + job.name) +
                       "\njobEnvironments:\n  - name: OmbrelDataRoot\n    variables:\n      OMBREL_DATA_DIR: " +
                       YamlString(job.dataRoot) + "\nsteps:\n";
    for (size_t c = 0; c < job.clips.size(); ++c) {
        const FarmClip& clip = job.clips[c];
        const std::vector<std::string> argv = job.ClipArguments(clip, "{{Task.Param.Frames}}");
        for (size_t i = 0; i < argv.size(); ++i)
            if (argv[i].find("{{") != std::string::npos && argv[i] != "{{Task.Param.Frames}}") {
                *why = "\"" + argv[i] + "\" holds \"{{\", which a job template would read as a placeholder";
                return {};
            }
        std::string ranges;
        for (const FrameRange& r : ChunkRange(clip.first, clip.last, job.chunk))
            ranges += (ranges.empty() ? "" : ", ") + YamlString(std::to_string(r.first) + "-" + std::to_string(r.last));
        std::string step = std::to_string(c + 1) + " " + clip.name;
        if (step.size() > 64) {
            // Cut at a character, not inside one.
            size_t cut = 64;
            while (cut > 0 && (static_cast<unsigned char>(step[cut]) & 0xC0) == 0x80) --cut;
            step.resize(cut);
        }
        yaml += "  - name: " + YamlString(step) +
                "\n"
                "    parameterSpace:\n"
                "      taskParameterDefinitions:\n"
                "        - name: Frames\n"
                "          type: STRING\n"
                "          range: [" +
                ranges +
                "]\n"
                "    script:\n"
                "      actions:\n"
                "        onRun:\n"
                "          command: " +
                YamlString(argv[0]) + "\n          args:\n";
        for (size_t i = 1; i < argv.size(); ++i) yaml += "            - " + YamlString(argv[i]) + "\n";
    }
    return yaml;
}

}  // namespace ombrel::farm
