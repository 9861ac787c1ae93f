#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "core/Status.h"

namespace ombrel {

// A property-list value: the persistent form of every record in Ombrel.
// Reading is forgiving: a missing key or a value of another type reads as
// 0, false, an empty text or null, unless the caller names a default.
class PlistValue {
public:
    enum class Type { Null, Bool, Integer, Real, String, Data, Date, Array, Dict };

    using ArrayT = std::vector<PlistValue>;
    using DictT = std::map<std::string, PlistValue, std::less<>>;
    using DataT = std::vector<uint8_t>;
    // Seconds since 2001-01-01 00:00:00 UTC, the epoch of property-list dates.
    // XML keeps whole seconds only.
    struct DateT {
        double secondsSince2001 = 0.0;
        bool operator==(const DateT&) const = default;
    };

    PlistValue() = default;
    PlistValue(bool v) : value_(v) {}
    PlistValue(int v) : value_(int64_t{v}) {}
    PlistValue(unsigned v) : value_(int64_t{v}) {}
    PlistValue(int64_t v) : value_(v) {}
    PlistValue(uint64_t v) : value_(static_cast<int64_t>(v)) {}
    PlistValue(float v) : value_(double{v}) {}
    PlistValue(double v) : value_(v) {}
    PlistValue(const char* v) : value_(std::string(v)) {}
    PlistValue(std::string v) : value_(std::move(v)) {}
    PlistValue(std::string_view v) : value_(std::string(v)) {}
    PlistValue(DataT v) : value_(std::move(v)) {}
    PlistValue(DateT v) : value_(v) {}
    PlistValue(ArrayT v) : value_(std::make_shared<ArrayT>(std::move(v))) {}
    PlistValue(DictT v) : value_(std::make_shared<DictT>(std::move(v))) {}

    static PlistValue MakeArray() { return PlistValue(ArrayT{}); }
    static PlistValue MakeDict() { return PlistValue(DictT{}); }

    Type type() const { return static_cast<Type>(value_.index()); }
    bool isNull() const { return type() == Type::Null; }
    bool isDict() const { return type() == Type::Dict; }
    bool isArray() const { return type() == Type::Array; }
    bool isString() const { return type() == Type::String; }
    bool isNumber() const { return type() == Type::Integer || type() == Type::Real || type() == Type::Bool; }

    // Typed reads. Numbers convert among themselves (a real read as an integer truncates).
    bool asBool(bool fallback = false) const;
    int64_t asInt(int64_t fallback = 0) const;
    double asReal(double fallback = 0.0) const;
    std::string asString(std::string fallback = {}) const;
    const DataT& asData() const;
    DateT asDate() const;
    const ArrayT& asArray() const;
    const DictT& asDict() const;

    // Dictionary access. A missing key, or a lookup on a non-dictionary, gives a null value.
    const PlistValue& operator[](std::string_view key) const;
    bool contains(std::string_view key) const;
    // Turns a null value into an empty dictionary; assigning into other types is a programming error.
    PlistValue& set(std::string key, PlistValue v);
    bool erase(std::string_view key);

    // Array access.
    size_t size() const;
    const PlistValue& at(size_t i) const;
    PlistValue& append(PlistValue v);

    // Deep comparison; the copy-on-write sharing of containers is invisible here.
    bool operator==(const PlistValue& other) const;

    // XML property-list text, through libplist. A null value cannot be written
    // and is left out of containers.
    std::string ToXml() const;
    // Parses XML (or binary) property-list text into *out; *out is set only on success.
    static Status FromXml(std::string_view text, PlistValue* out);

    // File helpers. Writing goes to a temporary file in the same folder, then renames,
    // so a crash or a full disk never leaves a truncated file behind.
    Status WriteToFile(const std::string& path) const;
    static Status ReadFromFile(const std::string& path, PlistValue* out);

    // The standard text form, as a property list prints in a log or a usage report.
    std::string Description(int indent = 0) const;

private:
    // Containers are shared until written, so records can hand out copies cheaply.
    using Storage = std::variant<std::monostate, bool, int64_t, double, std::string, DataT, DateT,
                                 std::shared_ptr<ArrayT>, std::shared_ptr<DictT>>;
    ArrayT& mutableArray();
    DictT& mutableDict();

    Storage value_;
};

inline std::ostream& operator<<(std::ostream& os, const PlistValue& v) { return os << v.Description(); }

}  // namespace ombrel
