#include "platform/sysinfo/SystemFacts.h"

#include <sys/utsname.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>

namespace ombrel {
namespace {

int CpuMegahertz() {
    // The rated maximum where the kernel reports one; else the clock as last seen.
    std::ifstream max("/sys/devices/system/cpu/cpu0/cpufreq/cpuinfo_max_freq");
    long khz = 0;
    if (max >> khz && khz > 0) return static_cast<int>(khz / 1000);
    std::ifstream info("/proc/cpuinfo");
    std::string line;
    while (std::getline(info, line)) {
        if (line.rfind("cpu MHz", 0) == 0) {
            auto colon = line.find(':');
            if (colon != std::string::npos) return static_cast<int>(std::stod(line.substr(colon + 1)));
        }
    }
    return 0;
}

}  // namespace

SystemFacts ReadSystemFacts() {
    SystemFacts facts;
    utsname u{};
    if (::uname(&u) == 0) std::sscanf(u.release, "%d.%d", &facts.osMajor, &facts.osMinor);
    long cores = ::sysconf(_SC_NPROCESSORS_ONLN);
    facts.processors = cores > 0 ? static_cast<int>(cores) : 0;
    long pages = ::sysconf(_SC_PHYS_PAGES);
    long pageSize = ::sysconf(_SC_PAGESIZE);
    if (pages > 0 && pageSize > 0)
        facts.ramMegabytes = static_cast<int>((static_cast<long long>(pages) * pageSize) / (1024 * 1024));
    facts.cpuMegahertz = CpuMegahertz();
    return facts;
}

}  // namespace ombrel
