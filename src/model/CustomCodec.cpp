#include "model/CustomCodec.h"

#include <ctime>

#include "core/Paths.h"
#include "model/OutputSettings.h"

namespace ombrel {

void CustomCodec::setSlot(int slot) {
    slot_ = slot;
    popupTag_ = kFirstPopupTag + slot;
    // The user's codec files sit where OutputSettings::PathForPresetID looks for tags 100 and up.
    path_ = DataFolder() + "/Codecs/" + OutputSettings::PresetResourceNameForTag(popupTag_).value_or("cust") + ".dat";
    dateCreated_ = static_cast<uint32_t>(std::time(nullptr));
}

PlistValue CustomCodec::propertyList() const {
    PlistValue d = PlistValue::MakeDict();
    d.set("name", name_);
    d.set("path", path_);
    d.set("popupTag", popupTag_);
    d.set("slot", slot_);
    d.set("dateCreated", dateCreated_);
    return d;
}

void CustomCodec::LoadFromDictionary(const PlistValue& d) {
    name_ = d["name"].asString();
    path_ = d["path"].asString();
    popupTag_ = static_cast<int>(d["popupTag"].asInt());
    slot_ = static_cast<int>(d["slot"].asInt());
    dateCreated_ = static_cast<uint32_t>(d["dateCreated"].asInt());
}

}  // namespace ombrel
