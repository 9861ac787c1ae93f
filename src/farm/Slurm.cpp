#include "farm/Slurm.h"

#include <algorithm>
#include <cctype>
#include <sstream>

namespace ombrel::farm {

std::string ArraySpec(std::vector<int> indices) {
    std::sort(indices.begin(), indices.end());
    indices.erase(std::unique(indices.begin(), indices.end()), indices.end());
    std::string spec;
    for (size_t i = 0; i < indices.size();) {
        size_t j = i;
        while (j + 1 < indices.size() && indices[j + 1] == indices[j] + 1) ++j;
        if (!spec.empty()) spec += ',';
        spec += std::to_string(indices[i]);
        if (j > i) spec += "-" + std::to_string(indices[j]);
        i = j + 1;
    }
    return spec;
}

namespace {

std::vector<std::string> Common(const FarmJob& job, const std::string& what, const SlurmOptions& o) {
    std::vector<std::string> argv{"sbatch", "--parsable", "--job-name=ombrel-" + what + "-" + job.name,
                                  "--chdir=" + job.folder};
    if (o.partition) argv.push_back("--partition=" + *o.partition);
    if (o.time) argv.push_back("--time=" + *o.time);
    return argv;
}

}  // namespace

std::vector<std::string> ArraySubmitArgs(const FarmJob& job, const std::vector<int>& tasks, const SlurmOptions& o) {
    std::vector<std::string> argv = Common(job, "render", o);
    argv.insert(argv.end(), {"--array=" + ArraySpec(tasks), "--output=logs/task-%a.out", "--error=logs/task-%a.err",
                             job.FilePath("task.sh")});
    return argv;
}

std::vector<std::string> FinishSubmitArgs(const FarmJob& job, const std::string& arrayJobId, const SlurmOptions& o) {
    std::vector<std::string> argv = Common(job, "check", o);
    argv.insert(argv.end(), {"--dependency=afterany:" + arrayJobId, "--output=logs/finish.out",
                             "--error=logs/finish.err", job.FilePath("finish.sh")});
    return argv;
}

Status ParseSbatchJobId(const std::string& output, std::string* id) {
    std::string text = output;
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.pop_back();
    // Warnings may come first; the id is the last line.
    if (const size_t nl = text.rfind('\n'); nl != std::string::npos) text = text.substr(nl + 1);
    const std::string number = text.substr(0, text.find(';'));
    if (number.empty() || number.find_first_not_of("0123456789") != std::string::npos)
        return InvalidError("sbatch answered no job id: \"" + output.substr(0, 200) + "\"");
    *id = number;
    return OkStatus();
}

std::map<int, std::string> ParseSqueueTasks(const std::string& output) {
    std::map<int, std::string> states;
    std::istringstream in(output);
    std::string line;
    while (std::getline(in, line)) {
        const size_t bar = line.find('|');
        if (bar == std::string::npos) continue;
        const std::string index = line.substr(0, bar);
        std::string state = line.substr(bar + 1);
        while (!state.empty() && std::isspace(static_cast<unsigned char>(state.back()))) state.pop_back();
        // A task not yet split off the array shows its range ("0-3" or "[0-3%2]"); -r lists them
        // one by one, so anything but a number is skipped.
        if (index.empty() || index.find_first_not_of("0123456789") != std::string::npos) continue;
        states[std::stoi(index)] = state;
    }
    return states;
}

std::vector<std::map<std::string, std::string>> ParseScontrolJobs(const std::string& output) {
    std::vector<std::map<std::string, std::string>> jobs;
    std::istringstream in(output);
    std::string word;
    std::string key;
    while (in >> word) {
        const size_t eq = word.find('=');
        // A word that starts "Key=" starts a field; one without "=" continues the value before.
        if (eq != std::string::npos && eq > 0 && std::isupper(static_cast<unsigned char>(word[0]))) {
            key = word.substr(0, eq);
            if (key == "JobId") jobs.emplace_back();
            if (jobs.empty()) continue;
            jobs.back()[key] = word.substr(eq + 1);
        } else if (!jobs.empty() && !key.empty()) {
            jobs.back()[key] += " " + word;
        }
    }
    return jobs;
}

int LastProgress(const std::string& log) {
    const std::string tag = "openjd_progress: ";
    const size_t at = log.rfind(tag);
    if (at == std::string::npos) return -1;
    int value = 0;
    size_t i = at + tag.size();
    if (i >= log.size() || !std::isdigit(static_cast<unsigned char>(log[i]))) return -1;
    while (i < log.size() && std::isdigit(static_cast<unsigned char>(log[i])) && value <= 1000)
        value = value * 10 + (log[i++] - '0');
    return std::min(value, 100);
}

}  // namespace ombrel::farm
