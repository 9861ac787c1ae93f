// A one-node Slurm cluster on loopback inside a scratch folder: a private munged with its own
// key and socket, slurmctld and slurmd on free ports, SLURM_CONF pointing the client commands
// at it. Every daemon is ended by its process id when the cluster goes, also after a failure.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "support/TempDir.h"

namespace ombrel::farmtest {

class LoopbackCluster {
public:
    LoopbackCluster() = default;
    ~LoopbackCluster() { Stop(); }
    LoopbackCluster(const LoopbackCluster&) = delete;
    LoopbackCluster& operator=(const LoopbackCluster&) = delete;

    // Brings the cluster up under `dir`; empty when its node is idle, else why it is not.
    std::string Start(const std::string& dir);
    // Cancels what is left of the jobs, then ends the daemons, newest first.
    void Stop();

private:
    std::string Spawn(const std::vector<std::string>& argv, const std::string& log);
    std::string Exited();  // the first daemon that has died, with its log's end

    std::string user_;  // the daemons' and the jobs' user
    std::vector<std::pair<pid_t, std::string>> daemons_;  // pid and log
    std::unique_ptr<test::ScopedEnv> conf_;
};

}  // namespace ombrel::farmtest
