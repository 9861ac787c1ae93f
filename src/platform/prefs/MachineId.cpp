#include "platform/prefs/MachineId.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>

namespace ombrel::platform {

std::string FormatMachineId(const std::array<uint8_t, 6>& mac) {
    char text[32];
    std::snprintf(text, sizeof text, "%3.0i%3.0i%3.0i%3.0i%3.0i%3.0i", mac[0], mac[1], mac[2], mac[3], mac[4],
                  mac[5]);
    std::string id(text);
    std::replace(id.begin(), id.end(), ' ', '0');
    return id;
}

namespace {

bool ParseMac(const std::string& text, std::array<uint8_t, 6>* out) {
    unsigned b[6];
    char tail = 0;
    if (std::sscanf(text.c_str(), "%2x:%2x:%2x:%2x:%2x:%2x%c", &b[0], &b[1], &b[2], &b[3], &b[4], &b[5], &tail) !=
        6)
        return false;
    for (size_t i = 0; i < 6; ++i) (*out)[i] = static_cast<uint8_t>(b[i]);
    return true;
}

}  // namespace

std::string MachineIdFromInterfaces(std::vector<NetInterface> interfaces) {
    std::sort(interfaces.begin(), interfaces.end(),
              [](const NetInterface& a, const NetInterface& b) { return a.name < b.name; });
    for (const NetInterface& n : interfaces) {
        std::array<uint8_t, 6> mac{};
        if (n.loopback || !ParseMac(n.address, &mac)) continue;
        if (std::all_of(mac.begin(), mac.end(), [](uint8_t b) { return b == 0; })) continue;
        return FormatMachineId(mac);
    }
    return {};
}

std::vector<NetInterface> SystemNetInterfaces() {
    namespace fs = std::filesystem;
    std::vector<NetInterface> out;
    std::error_code ec;
    for (fs::directory_iterator it("/sys/class/net", ec), end; !ec && it != end; it.increment(ec)) {
        NetInterface n;
        n.name = it->path().filename().string();
        std::ifstream address(it->path() / "address");
        std::getline(address, n.address);
        // ARPHRD_LOOPBACK is 772.
        std::ifstream type(it->path() / "type");
        int t = 0;
        type >> t;
        n.loopback = t == 772 || n.name == "lo";
        out.push_back(std::move(n));
    }
    return out;
}

std::string MachineId() { return MachineIdFromInterfaces(SystemNetInterfaces()); }

}  // namespace ombrel::platform
