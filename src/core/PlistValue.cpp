#include "core/PlistValue.h"

#include <plist/plist.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <sstream>
#include <string_view>
#include <vector>

#include "core/AtomicFile.h"
#include "core/PlistLimits.h"
#include "core/RegularFile.h"

namespace ombrel {
namespace {

const PlistValue& NullValue() {
    static const PlistValue null;
    return null;
}

const PlistValue::ArrayT& EmptyArray() {
    static const PlistValue::ArrayT empty;
    return empty;
}

const PlistValue::DictT& EmptyDict() {
    static const PlistValue::DictT empty;
    return empty;
}

struct PlistFree {
    void operator()(plist_t p) const { plist_free(p); }
};
using PlistPtr = std::unique_ptr<void, PlistFree>;

plist_t ToNode(const PlistValue& v) {
    using T = PlistValue::Type;
    switch (v.type()) {
        case T::Null: return nullptr;
        case T::Bool: return plist_new_bool(v.asBool() ? 1 : 0);
        case T::Integer:
            // libplist keeps integers as 64-bit words and prints them signed.
            return plist_new_uint(static_cast<uint64_t>(v.asInt()));
        case T::Real: return plist_new_real(v.asReal());
        case T::String: return plist_new_string(v.asString().c_str());
        case T::Data: {
            const auto& d = v.asData();
            return plist_new_data(reinterpret_cast<const char*>(d.data()), d.size());
        }
        case T::Date: {
            double s = v.asDate().secondsSince2001;
            double whole = std::floor(s);
            return plist_new_date(static_cast<int32_t>(whole), static_cast<int32_t>(std::lround((s - whole) * 1e6)));
        }
        case T::Array: {
            plist_t a = plist_new_array();
            for (const auto& item : v.asArray()) {
                if (plist_t n = ToNode(item)) plist_array_append_item(a, n);
            }
            return a;
        }
        case T::Dict: {
            plist_t d = plist_new_dict();
            for (const auto& [key, item] : v.asDict()) {
                if (plist_t n = ToNode(item)) plist_dict_set_item(d, key.c_str(), n);
            }
            return d;
        }
    }
    return nullptr;
}

// Containers nested deeper than kMaxPlistDepth set *tooDeep and are cut off there; the caller
// throws the value away. The bound keeps the recursion within the stack.
PlistValue FromNode(plist_t node, int depth, bool* tooDeep) {
    if (!node) return {};
    const plist_type type = plist_get_node_type(node);
    if (depth > kMaxPlistDepth && (type == PLIST_ARRAY || type == PLIST_DICT)) {
        *tooDeep = true;
        return {};
    }
    switch (plist_get_node_type(node)) {
        case PLIST_BOOLEAN: {
            uint8_t b = 0;
            plist_get_bool_val(node, &b);
            return PlistValue(b != 0);
        }
        case PLIST_UINT: {
            uint64_t u = 0;
            plist_get_uint_val(node, &u);
            return PlistValue(static_cast<int64_t>(u));
        }
        case PLIST_REAL: {
            double d = 0;
            plist_get_real_val(node, &d);
            return PlistValue(d);
        }
        case PLIST_STRING:
        case PLIST_KEY: {
            char* s = nullptr;
            if (plist_get_node_type(node) == PLIST_KEY)
                plist_get_key_val(node, &s);
            else
                plist_get_string_val(node, &s);
            std::string out = s ? s : "";
            free(s);
            return PlistValue(std::move(out));
        }
        case PLIST_DATA: {
            char* buf = nullptr;
            uint64_t len = 0;
            plist_get_data_val(node, &buf, &len);
            PlistValue::DataT out(reinterpret_cast<uint8_t*>(buf), reinterpret_cast<uint8_t*>(buf) + len);
            free(buf);
            return PlistValue(std::move(out));
        }
        case PLIST_DATE: {
            int32_t sec = 0, usec = 0;
            plist_get_date_val(node, &sec, &usec);
            return PlistValue(PlistValue::DateT{sec + usec / 1e6});
        }
        case PLIST_ARRAY: {
            PlistValue::ArrayT out;
            uint32_t n = plist_array_get_size(node);
            out.reserve(n);
            for (uint32_t i = 0; i < n && !*tooDeep; ++i)
                out.push_back(FromNode(plist_array_get_item(node, i), depth + 1, tooDeep));
            return PlistValue(std::move(out));
        }
        case PLIST_DICT: {
            PlistValue::DictT out;
            plist_dict_iter it = nullptr;
            plist_dict_new_iter(node, &it);
            for (;;) {
                char* key = nullptr;
                plist_t item = nullptr;
                plist_dict_next_item(node, it, &key, &item);
                if (!key) break;
                if (!*tooDeep) out.emplace(key, FromNode(item, depth + 1, tooDeep));
                free(key);
            }
            free(it);
            return PlistValue(std::move(out));
        }
        default: return {};
    }
}

uint64_t BigEndian(std::string_view b, uint64_t at, unsigned width) {
    uint64_t v = 0;
    for (unsigned i = 0; i < width; ++i) v = v << 8 | static_cast<uint8_t>(b[at + i]);
    return v;
}

// A binary property list's nesting and its size once shared objects are copied out, read
// from its object table with a stack of our own: the reader would otherwise recurse once per
// level and walk every path of a list built to share one object many times over. Empty when
// both are within bounds; a table that points outside the file is left for the reader to
// refuse.
std::string BinaryShapeFault(std::string_view b) {
    constexpr uint64_t kMaxValues = 1u << 24;
    if (b.size() < 8 + 32) return {};
    const uint64_t t = b.size() - 32;
    const unsigned offsetSize = static_cast<uint8_t>(b[t + 6]), refSize = static_cast<uint8_t>(b[t + 7]);
    const uint64_t count = BigEndian(b, t + 8, 8), top = BigEndian(b, t + 16, 8), table = BigEndian(b, t + 24, 8);
    if (offsetSize < 1 || offsetSize > 8 || refSize < 1 || refSize > 8 || count == 0 || count > b.size() ||
        top >= count || table > t || (t - table) / offsetSize < count)
        return {};
    // The references of a container object; false when it is not a container or is broken.
    auto children = [&](uint64_t index, std::vector<uint64_t>* refs) {
        const uint64_t at = BigEndian(b, table + index * offsetSize, offsetSize);
        if (at >= t) return false;
        const unsigned marker = static_cast<uint8_t>(b[at]);
        const unsigned kind = marker >> 4;
        if (kind != 0xA && kind != 0xC && kind != 0xD) return false;
        uint64_t n = marker & 0xF, pos = at + 1;
        if (n == 0xF) {
            if (pos >= t || (static_cast<uint8_t>(b[pos]) >> 4) != 1) return false;
            const unsigned width = 1u << (static_cast<uint8_t>(b[pos]) & 0xF);
            if (width > 8 || pos + 1 + width > t) return false;
            n = BigEndian(b, pos + 1, width);
            pos += 1 + width;
        }
        if (kind == 0xD) n *= 2;
        if (n > (t - pos) / refSize) return false;
        refs->clear();
        for (uint64_t i = 0; i < n; ++i) refs->push_back(BigEndian(b, pos + i * refSize, refSize));
        return true;
    };
    std::vector<uint8_t> state(count, 0);  // 0 not seen, 1 on the path, 2 done
    std::vector<uint64_t> values(count, 1);
    struct Frame {
        uint64_t index;
        std::vector<uint64_t> refs;
        size_t next = 0;
        bool container = false;
    };
    std::vector<Frame> path;
    auto enter = [&](uint64_t index) {
        state[index] = 1;
        Frame f{index, {}, 0, false};
        f.container = children(index, &f.refs);
        if (!f.container) f.refs.clear();
        path.push_back(std::move(f));
    };
    enter(top);
    while (!path.empty()) {
        // Containers only, as the XML side counts them: a leaf adds no level.
        if (path.size() - (path.back().container ? 0 : 1) > static_cast<size_t>(kMaxPlistDepth))
            return "nested deeper than " + std::to_string(kMaxPlistDepth) + " levels";
        Frame& f = path.back();
        if (f.next < f.refs.size()) {
            const uint64_t child = f.refs[f.next++];
            if (child >= count) return {};
            if (state[child] == 1) return "an object that contains itself";
            if (state[child] == 0) enter(child);
            continue;
        }
        uint64_t sum = 1;
        for (uint64_t child : f.refs) sum = std::min(kMaxValues + 1, sum + values[child]);
        if (sum > kMaxValues)
            return "more than " + std::to_string(kMaxValues) + " values once shared objects are copied";
        values[f.index] = sum;
        state[f.index] = 2;
        path.pop_back();
    }
    return {};
}

void AppendEscaped(std::ostringstream& os, const std::string& s) {
    bool plain = !s.empty();
    for (char c : s) {
        if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '.' || c == '/' || c == '-'))
            plain = false;
    }
    if (plain) {
        os << s;
        return;
    }
    os << '"';
    for (char c : s) {
        if (c == '"' || c == '\\') os << '\\';
        if (c == '\n') {
            os << "\\n";
            continue;
        }
        os << c;
    }
    os << '"';
}

}  // namespace

bool PlistValue::asBool(bool fallback) const {
    switch (type()) {
        case Type::Bool: return std::get<bool>(value_);
        case Type::Integer: return std::get<int64_t>(value_) != 0;
        case Type::Real: return std::get<double>(value_) != 0.0;
        case Type::String: {
            const auto& s = std::get<std::string>(value_);
            return s == "YES" || s == "yes" || s == "true" || s == "1";
        }
        default: return fallback;
    }
}

int64_t PlistValue::asInt(int64_t fallback) const {
    switch (type()) {
        case Type::Bool: return std::get<bool>(value_) ? 1 : 0;
        case Type::Integer: return std::get<int64_t>(value_);
        case Type::Real: {
            double d = std::get<double>(value_);
            if (!std::isfinite(d)) return fallback;
            // Held at the ends of the range: the conversion of a larger value is undefined.
            if (d >= 9.2e18) return std::numeric_limits<int64_t>::max();
            if (d <= -9.2e18) return std::numeric_limits<int64_t>::min();
            return static_cast<int64_t>(d);
        }
        case Type::String: {
            const auto& s = std::get<std::string>(value_);
            char* end = nullptr;
            long long v = std::strtoll(s.c_str(), &end, 10);
            return end != s.c_str() ? v : fallback;
        }
        default: return fallback;
    }
}

double PlistValue::asReal(double fallback) const {
    switch (type()) {
        case Type::Bool: return std::get<bool>(value_) ? 1.0 : 0.0;
        case Type::Integer: return static_cast<double>(std::get<int64_t>(value_));
        case Type::Real: return std::get<double>(value_);
        case Type::String: {
            const auto& s = std::get<std::string>(value_);
            char* end = nullptr;
            double v = std::strtod(s.c_str(), &end);
            return end != s.c_str() ? v : fallback;
        }
        default: return fallback;
    }
}

std::string PlistValue::asString(std::string fallback) const {
    if (type() == Type::String) return std::get<std::string>(value_);
    return fallback;
}

const PlistValue::DataT& PlistValue::asData() const {
    static const DataT empty;
    if (type() == Type::Data) return std::get<DataT>(value_);
    return empty;
}

PlistValue::DateT PlistValue::asDate() const {
    if (type() == Type::Date) return std::get<DateT>(value_);
    return {};
}

const PlistValue::ArrayT& PlistValue::asArray() const {
    if (type() == Type::Array) return *std::get<std::shared_ptr<ArrayT>>(value_);
    return EmptyArray();
}

const PlistValue::DictT& PlistValue::asDict() const {
    if (type() == Type::Dict) return *std::get<std::shared_ptr<DictT>>(value_);
    return EmptyDict();
}

PlistValue::ArrayT& PlistValue::mutableArray() {
    if (type() == Type::Null) value_ = std::make_shared<ArrayT>();
    auto& p = std::get<std::shared_ptr<ArrayT>>(value_);
    if (p.use_count() > 1) p = std::make_shared<ArrayT>(*p);
    return *p;
}

PlistValue::DictT& PlistValue::mutableDict() {
    if (type() == Type::Null) value_ = std::make_shared<DictT>();
    auto& p = std::get<std::shared_ptr<DictT>>(value_);
    if (p.use_count() > 1) p = std::make_shared<DictT>(*p);
    return *p;
}

const PlistValue& PlistValue::operator[](std::string_view key) const {
    const auto& d = asDict();
    auto it = d.find(key);
    return it == d.end() ? NullValue() : it->second;
}

bool PlistValue::contains(std::string_view key) const {
    const auto& d = asDict();
    return d.find(key) != d.end();
}

PlistValue& PlistValue::set(std::string key, PlistValue v) {
    auto& d = mutableDict();
    auto& slot = d[std::move(key)];
    slot = std::move(v);
    return slot;
}

bool PlistValue::erase(std::string_view key) {
    if (!isDict() || !contains(key)) return false;
    auto& d = mutableDict();
    d.erase(d.find(key));
    return true;
}

size_t PlistValue::size() const {
    if (type() == Type::Array) return asArray().size();
    if (type() == Type::Dict) return asDict().size();
    return 0;
}

const PlistValue& PlistValue::at(size_t i) const {
    const auto& a = asArray();
    return i < a.size() ? a[i] : NullValue();
}

PlistValue& PlistValue::append(PlistValue v) {
    auto& a = mutableArray();
    a.push_back(std::move(v));
    return a.back();
}

bool PlistValue::operator==(const PlistValue& other) const {
    if (type() != other.type()) return false;
    switch (type()) {
        case Type::Array: return asArray() == other.asArray();
        case Type::Dict: return asDict() == other.asDict();
        default: return value_ == other.value_;
    }
}

std::string PlistValue::ToXml() const {
    PlistPtr node(ToNode(*this));
    if (!node) return {};
    char* xml = nullptr;
    uint32_t len = 0;
    plist_to_xml(node.get(), &xml, &len);
    std::string out(xml ? xml : "", len);
    plist_to_xml_free(xml);
    return out;
}

Status PlistValue::FromXml(std::string_view text, PlistValue* out) {
    const bool binary = text.substr(0, 6) == "bplist";
    // The XML reader takes any depth without recursing; the binary one recurses.
    if (const std::string shape = binary ? BinaryShapeFault(text) : ""; !shape.empty()) return InvalidError(shape);
    plist_t raw = nullptr;
    if (!text.empty()) plist_from_memory(text.data(), static_cast<uint32_t>(text.size()), &raw);
    PlistPtr node(raw);
    if (!node) return InvalidError("not a property list");
    bool tooDeep = false;
    PlistValue value = FromNode(node.get(), 1, &tooDeep);
    if (tooDeep) return InvalidError("nested deeper than " + std::to_string(kMaxPlistDepth) + " levels");
    // A top level of a kind we do not keep (a UID, a null node) reads as nothing.
    if (value.isNull()) return InvalidError("not a property list");
    if (out) *out = std::move(value);
    return OkStatus();
}

Status PlistValue::WriteToFile(const std::string& path) const { return WriteFileAtomically(path, ToXml()); }

Status PlistValue::ReadFromFile(const std::string& path, PlistValue* out) {
    std::string text;
    if (Status read = ReadRegularFile(path, &text); !read.ok()) return read;
    if (Status parsed = FromXml(text, out); !parsed.ok()) return {parsed.code(), path + ": " + parsed.message()};
    return OkStatus();
}

std::string PlistValue::Description(int indent) const {
    std::ostringstream os;
    std::string pad(static_cast<size_t>(indent) * 4, ' ');
    std::string inner(static_cast<size_t>(indent + 1) * 4, ' ');
    switch (type()) {
        case Type::Null: os << "(null)"; break;
        case Type::Bool: os << (asBool() ? 1 : 0); break;
        case Type::Integer: os << asInt(); break;
        case Type::Real: {
            char buf[64];
            std::snprintf(buf, sizeof buf, "%.17g", asReal());
            os << buf;
            break;
        }
        case Type::String: AppendEscaped(os, asString()); break;
        case Type::Data: {
            os << '<';
            const auto& d = asData();
            for (size_t i = 0; i < d.size(); ++i) {
                char buf[3];
                std::snprintf(buf, sizeof buf, "%02x", d[i]);
                if (i && i % 4 == 0) os << ' ';
                os << buf;
            }
            os << '>';
            break;
        }
        case Type::Date: os << asDate().secondsSince2001; break;
        case Type::Array: {
            os << "(\n";
            const auto& a = asArray();
            for (size_t i = 0; i < a.size(); ++i) {
                os << inner << a[i].Description(indent + 1) << (i + 1 < a.size() ? ",\n" : "\n");
            }
            os << pad << ')';
            break;
        }
        case Type::Dict: {
            os << "{\n";
            for (const auto& [k, v] : asDict()) {
                os << inner;
                AppendEscaped(os, k);
                os << " = " << v.Description(indent + 1) << ";\n";
            }
            os << pad << '}';
            break;
        }
    }
    return os.str();
}

}  // namespace ombrel
