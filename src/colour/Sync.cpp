#include "colour/Sync.h"

#include "core/Log.h"
#include "platform/icc/DisplayProfile.h"

namespace ombrel::Color {

struct Sync::SyncStruct {
    uint32_t encoding = kEncodingUTF8;
    std::string description;
    uint32_t displayId = 0;
    std::unique_ptr<IccProfile> profile;

    void Take(std::unique_ptr<IccProfile> p) {
        profile = std::move(p);
        if (profile) description = profile->Description();
    }
};

Sync::Sync() : Sync(unsigned(kMainDisplayId)) {}

Sync::Sync(unsigned int displayId) : sync_(std::make_unique<SyncStruct>()) {
    sync_->displayId = displayId;
    sync_->Take(DisplayProfile(displayId));
}

Sync::Sync(const IccProfile* profile) {
    if (!profile) return;
    Status status;
    std::unique_ptr<IccProfile> copy = profile->Copy(&status);
    if (copy) status = copy->Check();
    if (!status.ok()) {
        LogError("Color Sync:\n{{\n{}\n}}\n", status.message());
        LogError("ICC Profile Desc - Copying Color Sync profile failed!");
        return;
    }
    sync_ = std::make_unique<SyncStruct>();
    sync_->Take(std::move(copy));
}

Sync::Sync(const Sync& other) { *this = other; }

Sync& Sync::operator=(const Sync& other) {
    if (this == &other) return *this;
    if (!other.sync_) {
        sync_.reset();
        return *this;
    }
    auto copy = std::make_unique<SyncStruct>();
    copy->encoding = other.sync_->encoding;
    copy->description = other.sync_->description;
    copy->displayId = other.sync_->displayId;
    if (other.sync_->profile) {
        Status status;
        copy->profile = other.sync_->profile->Copy(&status);
        if (!copy->profile) {
            LogError("Color Sync:\n{{\n{}\n}}\n", status.message());
            LogError("ICC Profile Desc - Cloning an ICC profile failed!");
        }
    }
    sync_ = std::move(copy);
    return *this;
}

Sync::~Sync() = default;

uint32_t Sync::GetDirectDisplayID() const { return sync_ ? sync_->displayId : 0; }
const IccProfile* Sync::GetProfileRef() const { return sync_ ? sync_->profile.get() : nullptr; }
uint32_t Sync::GetProfileDescriptionEncoding() const { return sync_ ? sync_->encoding : kEncodingUTF8; }
const char* Sync::GetProfileDescription() const {
    return sync_ && sync_->profile ? sync_->description.c_str() : nullptr;
}

}  // namespace ombrel::Color
