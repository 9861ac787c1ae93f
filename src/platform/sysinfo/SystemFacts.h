#pragma once

namespace ombrel {

// Facts about the machine for usage reports: the kernel's major and minor version,
// processors, memory and clock speed. Unknown values read as 0.
struct SystemFacts {
    int osMajor = 0;
    int osMinor = 0;
    int processors = 0;
    int ramMegabytes = 0;
    int cpuMegahertz = 0;
};

SystemFacts ReadSystemFacts();

}  // namespace ombrel
