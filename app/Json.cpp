#include "Json.h"

#include <fmt/format.h>

#include <cmath>

namespace ombrel::cli {

std::string JsonString(const std::string& s) {
    std::string out = "\"";
    for (const unsigned char c : s) {
        switch (c) {
            case '"': out += "\\\""; break;
            case '\\': out += "\\\\"; break;
            case '\n': out += "\\n"; break;
            case '\r': out += "\\r"; break;
            case '\t': out += "\\t"; break;
            default:
                if (c < 0x20)
                    out += fmt::format("\\u{:04x}", unsigned(c));
                else
                    out += char(c);
        }
    }
    return out + "\"";
}

std::string JsonNumber(double v) { return std::isfinite(v) ? fmt::format("{}", v) : std::string("0"); }

}  // namespace ombrel::cli
