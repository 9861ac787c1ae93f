#pragma once

#include <cstdint>
#include <string>

#include "core/PlistValue.h"

namespace ombrel {

// One user-defined movie codec setting: a menu entry tagged 100 + slot whose
// compression settings live in the file "cust_<slot>.dat".
class CustomCodec {
public:
    static constexpr int kSlotCount = 8;
    static constexpr int kFirstPopupTag = 100;

    PlistValue propertyList() const;
    void LoadFromDictionary(const PlistValue& dict);
    // Newest first: true when this codec was created after the other.
    bool sortOrder(const CustomCodec& other) const { return dateCreated_ > other.dateCreated_; }

    const std::string& name() const { return name_; }
    void setName(std::string v) { name_ = std::move(v); }
    const std::string& path() const { return path_; }
    void setPath(std::string v) { path_ = std::move(v); }
    int popupTag() const { return popupTag_; }
    void setPopupTag(int v) { popupTag_ = v; }
    int slot() const { return slot_; }
    // Takes the slot and derives the menu tag, the settings file and the creation time (now).
    void setSlot(int slot);
    uint32_t dateCreated() const { return dateCreated_; }
    void setDateCreated(uint32_t v) { dateCreated_ = v; }

    bool operator==(const CustomCodec&) const = default;

private:
    std::string name_;
    std::string path_;
    int popupTag_ = 0;
    int slot_ = 0;
    uint32_t dateCreated_ = 0;
};

}  // namespace ombrel
