#include "r3d/Stores.h"

#include <fmt/format.h>
#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace ombrel::r3d {

void IndexStore::Settle(Table* table) {
    if (table->count > table->entries.size()) table->count = static_cast<uint32_t>(table->entries.size());
    table->largest = 0;
    for (uint32_t i = 0; i < table->count; ++i) table->largest = std::max(table->largest, table->entries[i].size);
}

void IndexStore::Clear() {
    video = {};
    audio = {};
    aux = {};
}

void TempIndexStore::MoveTo(IndexStore::Table* table) const {
    table->entries.clear();
    table->entries.reserve(entries_.size());
    for (const auto& e : entries_) table->entries.push_back({e.position, e.size});
    table->count = static_cast<uint32_t>(entries_.size());
    table->entryWords = 3;
    IndexStore::Settle(table);
}

int64_t MetadataStore::ItemAsInt(const std::string& key) const {
    const auto it = items_.find(key);
    if (it == items_.end()) return 0;
    if (const auto* i = std::get_if<int64_t>(&it->second)) return *i;
    if (const auto* d = std::get_if<double>(&it->second)) {
        return std::isfinite(*d) && std::fabs(*d) < 9.0e18 ? static_cast<int64_t>(*d) : 0;
    }
    return std::strtoll(std::get<std::string>(it->second).c_str(), nullptr, 10);
}

double MetadataStore::ItemAsFloat(const std::string& key) const {
    const auto it = items_.find(key);
    if (it == items_.end()) return 0.0;
    if (const auto* i = std::get_if<int64_t>(&it->second)) return static_cast<double>(*i);
    if (const auto* d = std::get_if<double>(&it->second)) return *d;
    return std::strtod(std::get<std::string>(it->second).c_str(), nullptr);
}

std::string MetadataStore::ItemAsString(const std::string& key) const {
    const auto it = items_.find(key);
    if (it == items_.end()) return {};
    if (const auto* i = std::get_if<int64_t>(&it->second)) return std::to_string(*i);
    if (const auto* d = std::get_if<double>(&it->second)) return fmt::format("{}", *d);
    return std::get<std::string>(it->second);
}

}  // namespace ombrel::r3d
