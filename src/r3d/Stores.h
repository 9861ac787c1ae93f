#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <variant>
#include <vector>

namespace ombrel::r3d {

// One entry of an index: the file position of the item's atom and its size. A negative
// size marks an item the camera dropped.
struct IndexEntry {
    uint64_t position = 0;
    int64_t size = 0;
};

// The tables of one video track, with the audio and auxiliary data that go with it.
class IndexStore {
public:
    struct Table {
        std::vector<IndexEntry> entries;
        uint32_t count = 0;       // entries that count; may be below entries.size()
        uint32_t entryWords = 0;  // words per entry in the file (2 for the legacy tables)
        int64_t largest = 0;      // largest positive size among the counted entries
    };

    // Index from 0; 0 for an index beyond the count.
    uint64_t GetVideoOffset(uint32_t index) const { return Offset(video, index); }
    int64_t GetVideoSize(uint32_t index) const { return Size(video, index); }
    uint64_t GetAudioOffset(uint32_t index) const { return Offset(audio, index); }
    int64_t GetAudioSize(uint32_t index) const { return Size(audio, index); }
    uint64_t GetAuxOffset(uint32_t index) const { return Offset(aux, index); }
    int64_t GetAuxSize(uint32_t index) const { return Size(aux, index); }

    // Cuts a table's count to what it holds and works out its largest size.
    static void Settle(Table* table);
    void Clear();

    Table video;
    Table audio;
    Table aux;

private:
    static uint64_t Offset(const Table& t, uint32_t i) {
        return i < t.count && i < t.entries.size() ? t.entries[i].position : 0;
    }
    static int64_t Size(const Table& t, uint32_t i) {
        return i < t.count && i < t.entries.size() ? t.entries[i].size : 0;
    }
};

// A growing list of items found by the recovery scan.
class TempIndexStore {
public:
    struct Entry {
        uint64_t position = 0;
        int64_t size = 0;
        int64_t third = 0;
    };
    TempIndexStore() { entries_.reserve(1024); }
    void Add(uint64_t position, int64_t size, int64_t third) { entries_.push_back({position, size, third}); }
    void RemoveLast() {
        if (!entries_.empty()) entries_.pop_back();
    }
    void Truncate(size_t count) {
        if (count < entries_.size()) entries_.resize(count);
    }
    size_t Count() const { return entries_.size(); }
    const std::vector<Entry>& Entries() const { return entries_; }
    // Moves the list into a table of the index store.
    void MoveTo(IndexStore::Table* table) const;

private:
    std::vector<Entry> entries_;
};

using MetadataValue = std::variant<int64_t, double, std::string>;

// Clip metadata by key. A missing key reads as 0, 0.0 or empty text.
class MetadataStore {
public:
    void SetInt(const std::string& key, int64_t value) { items_[key] = value; }
    void SetFloat(const std::string& key, double value) { items_[key] = value; }
    void SetString(const std::string& key, std::string value) { items_[key] = std::move(value); }
    void Remove(const std::string& key) { items_.erase(key); }
    bool Has(const std::string& key) const { return items_.count(key) != 0; }

    int64_t ItemAsInt(const std::string& key) const;
    double ItemAsFloat(const std::string& key) const;
    std::string ItemAsString(const std::string& key) const;

    const std::map<std::string, MetadataValue>& Items() const { return items_; }
    void Clear() { items_.clear(); }

private:
    std::map<std::string, MetadataValue> items_;
};

}  // namespace ombrel::r3d
