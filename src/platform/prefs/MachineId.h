#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace ombrel::platform {

// The identifier of this machine in usage reports: the six bytes of a hardware address,
// each printed three wide with blanks read as "0", so 18 decimal digits.
std::string FormatMachineId(const std::array<uint8_t, 6>& mac);

struct NetInterface {
    std::string name;
    std::string address;  // "00:1b:63:84:45:e6"
    bool loopback = false;
};

// The first interface by name that is not a loopback and has a non-zero address.
// Empty when there is none.
std::string MachineIdFromInterfaces(std::vector<NetInterface> interfaces);
// The interfaces of /sys/class/net.
std::vector<NetInterface> SystemNetInterfaces();
std::string MachineId();

}  // namespace ombrel::platform
