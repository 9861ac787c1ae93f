#include "model/Gauge.h"

#include <cctype>
#include <charconv>

namespace ombrel {

const std::vector<Gauge>& GaugeList() {
    static const std::vector<Gauge> list{
        {69, "35mm Full Frame"}, {100, "Super 35"}, {113, "35mm Academy"}, {200, "Super 16"},
        {243, "16mm"},           {400, "Super 8"},  {553, "8mm"},
    };
    return list;
}

std::string GrainSizeForMultiplier(double multiplier) {
    const int m = static_cast<int>(multiplier * 100.0);
    if (m >= 500) return "8mm";
    if (m >= 400) return "Super 8";
    if (m >= 240) return "16mm";
    if (m >= 199) return "Super 16";
    if (m >= 110) return "35mm Academy";
    if (m >= 99) return "Super 35";
    return "35mm Full Frame";
}

namespace {

// Lower case, letters and digits only: "Super 16", "super-16" and "SUPER16" all read "super16".
std::string Folded(const std::string& text) {
    std::string out;
    for (unsigned char c : text)
        if (std::isalnum(c)) out.push_back(static_cast<char>(std::tolower(c)));
    return out;
}

}  // namespace

std::optional<int> GaugeTagForName(const std::string& text) {
    const std::string key = Folded(text);
    if (key.empty()) return std::nullopt;
    for (const Gauge& g : GaugeList())
        if (Folded(g.name) == key) return g.tag;
    struct Alias {
        const char* key;
        int tag;
    };
    static constexpr Alias kAliases[] = {
        {"s35", 100},   {"35", 100},  {"35mm", 100}, {"cp35", 100}, {"academy", 113}, {"ff", 69}, {"fullframe", 69},
        {"35mmff", 69}, {"s16", 200}, {"16", 243},   {"cp16", 243}, {"s8", 400},      {"8", 553}, {"cp8", 553},
    };
    for (const Alias& a : kAliases)
        if (key == a.key) return a.tag;
    // A bare tag number: any positive scale x 100 the popup could carry.
    int tag = 0;
    const char* end = text.data() + text.size();
    const auto [ptr, ec] = std::from_chars(text.data(), end, tag);
    if (ec == std::errc() && ptr == end && tag > 0 && tag <= 1000) return tag;
    return std::nullopt;
}

std::optional<std::string> GrainScanForName(const std::string& text) {
    const std::string key = Folded(text);
    for (const char* scan : {"CP35", "CP16", "CP8"})
        if (key == Folded(scan)) return std::string(scan);
    return std::nullopt;
}

}  // namespace ombrel
