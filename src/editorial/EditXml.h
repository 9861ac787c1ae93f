#pragma once

#include <pugixml.hpp>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace ombrel {

// What the three XML edit readers share: one loader, the text conversions every field goes
// through, and a map that keeps the order of the document.

// Text conversions as the editors' own tools read numbers: leading blanks skipped, the longest
// number taken, 0 when there is none. Integers saturate; a number too big for a double is 0.
int32_t IntValue(std::string_view text);
int64_t LongLongValue(std::string_view text);
double DoubleValue(std::string_view text);
// "TRUE", "Yes", "1" (any text starting with Y, y, T, t or a digit 1-9 after blanks, a sign and
// zeros) are true; everything else, the empty text too, is false.
bool BoolValue(std::string_view text);
// A double to an integer, towards zero, held inside the type's range; NaN is 0.
int32_t TruncatedInt32(double v);

// A double as a float, held inside the float's range.
float ClampedFloat(double v);

// The text of a node and of everything under it, in document order.
std::string StringValue(const pugi::xml_node& node);

// Readers walk the tree recursively, so a document nested deeper is refused at load.
inline constexpr int kMaxXmlDepth = 200;

// Reads and parses `path`. On failure `error` holds "Error Parsing <kind> at <path>\nERror:<why>",
// with the parser's description, line and offset, and the line is logged.
bool LoadEditXml(const std::string& path, const char* kind, unsigned options, pugi::xml_document& doc,
                 std::string& error);

// Pretty-prints `doc` to `path` through an atomic write; an existing file there is kept and
// the write fails. Empty on success, else why.
std::string WriteEditXml(const pugi::xml_document& doc, const std::string& path, unsigned format);

// The input path without its extension, plus "_for_relink.xml".
std::string RelinkPathFor(const std::string& path);

// A dictionary that iterates in the order keys were first inserted; assigning to a key that
// is there keeps its place.
template <typename K, typename V>
class OrderedMap {
public:
    using value_type = std::pair<K, V>;

    V* find(const K& key) {
        const auto it = index_.find(key);
        return it == index_.end() ? nullptr : &items_[it->second].second;
    }
    const V* find(const K& key) const { return const_cast<OrderedMap*>(this)->find(key); }
    bool contains(const K& key) const { return index_.count(key) != 0; }
    // Answers whether the key was new.
    bool insert_or_assign(const K& key, V value) {
        if (V* v = find(key)) {
            *v = std::move(value);
            return false;
        }
        index_.emplace(key, items_.size());
        items_.emplace_back(key, std::move(value));
        return true;
    }
    size_t size() const { return items_.size(); }
    bool empty() const { return items_.empty(); }
    void clear() {
        items_.clear();
        index_.clear();
    }
    auto begin() { return items_.begin(); }
    auto end() { return items_.end(); }
    auto begin() const { return items_.begin(); }
    auto end() const { return items_.end(); }

private:
    std::vector<value_type> items_;
    std::unordered_map<K, size_t> index_;
};

}  // namespace ombrel
