#include "editorial/EditXml.h"

#include "core/AtomicFile.h"
#include "core/Log.h"
#include "core/Paths.h"

#include <cerrno>
#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace ombrel {
namespace {

// Edit documents are small; a bigger file is refused before it is read.
constexpr std::streamoff kMaxXmlBytes = 256ll << 20;

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; }

// A copy that ends at the first NUL, so strtod and strtoll never read past the text.
std::string Terminated(std::string_view text) {
    std::string s(text);
    s.resize(std::char_traits<char>::length(s.c_str()));
    return s;
}

void AppendText(const pugi::xml_node& node, std::string& out) {
    for (pugi::xml_node n = node.first_child(); n;) {
        if (n.type() == pugi::node_pcdata || n.type() == pugi::node_cdata) out += n.value();
        if (n.first_child()) {
            n = n.first_child();
            continue;
        }
        while (n && n != node && !n.next_sibling()) n = n.parent();
        if (!n || n == node) break;
        n = n.next_sibling();
    }
}

int DepthOf(const pugi::xml_document& doc) {
    int depth = 0, deepest = 0;
    for (pugi::xml_node n = doc.first_child(); n;) {
        if (n.first_child()) {
            n = n.first_child();
            deepest = std::max(deepest, ++depth);
            if (deepest > kMaxXmlDepth) return deepest;
            continue;
        }
        while (n && !n.next_sibling()) {
            n = n.parent();
            --depth;
        }
        if (n) n = n.next_sibling();
    }
    return deepest;
}

}  // namespace

int64_t LongLongValue(std::string_view text) {
    const std::string s = Terminated(text);
    errno = 0;
    return std::strtoll(s.c_str(), nullptr, 10);  // saturates on overflow
}

int32_t IntValue(std::string_view text) {
    const int64_t v = LongLongValue(text);
    return static_cast<int32_t>(std::clamp<int64_t>(v, INT32_MIN, INT32_MAX));
}

double DoubleValue(std::string_view text) {
    std::string s = Terminated(text);
    size_t b = 0;
    while (b < s.size() && IsBlank(s[b])) ++b;
    // Only decimal numbers: no hexadecimal, infinity or NaN spellings.
    size_t e = b;
    if (e < s.size() && (s[e] == '+' || s[e] == '-')) ++e;
    while (e < s.size() && (std::isdigit(static_cast<unsigned char>(s[e])) || s[e] == '.' || s[e] == 'e' ||
                            s[e] == 'E' || ((s[e] == '+' || s[e] == '-') && (s[e - 1] == 'e' || s[e - 1] == 'E'))))
        ++e;
    s = s.substr(b, e - b);
    const double v = std::strtod(s.c_str(), nullptr);
    return std::isfinite(v) ? v : 0.0;
}

bool BoolValue(std::string_view text) {
    size_t i = 0;
    while (i < text.size() && IsBlank(text[i])) ++i;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
    while (i < text.size() && text[i] == '0') ++i;
    if (i >= text.size()) return false;
    const char c = text[i];
    return c == 'Y' || c == 'y' || c == 'T' || c == 't' || (c >= '1' && c <= '9');
}

int32_t TruncatedInt32(double v) {
    if (std::isnan(v)) return 0;
    if (v >= 2147483647.0) return INT32_MAX;
    if (v <= -2147483648.0) return INT32_MIN;
    return static_cast<int32_t>(v);
}

float ClampedFloat(double v) {
    return static_cast<float>(std::clamp(v, -static_cast<double>(FLT_MAX), static_cast<double>(FLT_MAX)));
}

std::string StringValue(const pugi::xml_node& node) {
    if (node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata) return node.value();
    std::string out;
    AppendText(node, out);
    return out;
}

bool LoadEditXml(const std::string& path, const char* kind, unsigned options, pugi::xml_document& doc,
                 std::string& error) {
    doc.reset();
    error.clear();
    const auto fail = [&](const std::string& why) {
        error = fmt::format("Error Parsing {} at {}\nERror:{}", kind, path, why);
        LogInfo("{}", error);
        doc.reset();
        return false;
    };
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    if (!in) return fail("cannot open the file");
    const std::streamoff size = in.tellg();
    if (size < 0 || size > kMaxXmlBytes) return fail("not a readable file under 256 MB");
    std::string bytes(static_cast<size_t>(size), '\0');
    in.seekg(0);
    if (!in.read(bytes.data(), size)) return fail("cannot read the file");
    const pugi::xml_parse_result result = doc.load_buffer(bytes.data(), bytes.size(), options, pugi::encoding_auto);
    if (!result) {
        const auto offset = static_cast<size_t>(std::max<ptrdiff_t>(result.offset, 0));
        size_t line = 1;
        for (size_t i = 0; i < offset && i < bytes.size(); ++i) line += bytes[i] == '\n';
        return fail(fmt::format("{} at line {}, offset {}", result.description(), line, offset));
    }
    if (DepthOf(doc) > kMaxXmlDepth) return fail(fmt::format("elements nested deeper than {} levels", kMaxXmlDepth));
    return true;
}

std::string WriteEditXml(const pugi::xml_document& doc, const std::string& path, unsigned format) {
    std::ostringstream out;
    doc.save(out, "\t", format, pugi::encoding_utf8);
    AtomicFileWriter::Options options;
    options.mode = AtomicFileWriter::Mode::kKeepExisting;
    const Status status = WriteFileAtomically(path, out.str(), options);
    return status.ok() ? std::string() : status.message();
}

std::string RelinkPathFor(const std::string& path) { return DeletingPathExtension(path) + "_for_relink.xml"; }

}  // namespace ombrel
