#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/Status.h"
#include "farm/FarmJob.h"

namespace ombrel::farm {

struct SlurmOptions {
    std::optional<std::string> partition;
    std::optional<std::string> time;
};

// Slurm's array list of task indices: runs of consecutive indices as "A-B", joined by commas.
std::string ArraySpec(std::vector<int> indices);

// The argument vector of `sbatch` for the array of `tasks`, and for the finishing job that
// runs once the array has ended, whatever its tasks' fates. Logs and scripts are named relative
// to the job folder, the jobs' working folder, so that no path meets Slurm's % patterns.
std::vector<std::string> ArraySubmitArgs(const FarmJob& job, const std::vector<int>& tasks, const SlurmOptions& o);
std::vector<std::string> FinishSubmitArgs(const FarmJob& job, const std::string& arrayJobId, const SlurmOptions& o);

// The job id of `sbatch --parsable` output ("123" or "123;cluster"); fails naming the text.
Status ParseSbatchJobId(const std::string& output, std::string* id);

// `squeue -h -r -o %K|%T` lines: array task index to state (PENDING, RUNNING...).
std::map<int, std::string> ParseSqueueTasks(const std::string& output);

// `scontrol show job` records, one map of Key=Value per job; values run to the next key.
std::vector<std::map<std::string, std::string>> ParseScontrolJobs(const std::string& output);

// The last "openjd_progress: N" of a task's stderr, -1 when it has none.
int LastProgress(const std::string& log);

}  // namespace ombrel::farm
