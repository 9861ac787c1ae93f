#include "render/RenderManagerItem.h"

#include "core/Paths.h"
#include "library/FileParser.h"
#include "render/RenderManager.h"

namespace ombrel {

RenderManagerItemPtr RenderManagerItem::Make(std::string filePath, int32_t frames, ClipSettingsPtr settings,
                                             OutputSettingsPtr outputSettings) {
    auto item = std::make_shared<RenderManagerItem>();
    item->setFilePath(std::move(filePath));
    item->setFrames(frames);
    item->setSettings(std::move(settings));
    item->setOutputSettings(std::move(outputSettings));
    return item;
}

std::string RenderManagerItem::BaseName() const {
    std::string base = DeletingPathExtension(LastPathComponent(filePath_));
    const std::string suffix = "_001";
    if (FileParser::IsR3DFile(filePath_) && base.size() >= suffix.size() &&
        base.compare(base.size() - suffix.size(), suffix.size(), suffix) == 0)
        base.erase(base.size() - suffix.size());
    return base;
}

std::string RenderManagerItem::DestPath() const {
    const std::string dir =
        outputSettings_ && outputSettings_->outputDirectory() ? *outputSettings_->outputDirectory() : "";
    const std::string base = BaseName();
    const int format = outputSettings_ ? outputSettings_->format() : kFormatMovie;
    if (format == kFormatMovie) return AppendingPathComponent(dir, base + ".mov");
    if (FileParser::IsUseableQuicktimeMov(filePath_)) return AppendingPathComponent(dir, base);
    // Camera names carry the reel in characters 0-3 and the clip in 5-8 (A001_C001_...).
    std::string reel = base, clip = "_";
    if (base.size() >= 10) {
        reel = base.substr(0, 4);
        clip = base.substr(5, 4);
    }
    switch (outputSettings_->folders()) {
        case 0: return AppendingPathComponent(dir, base);
        case 1: return AppendingPathComponent(dir, reel + "_" + clip);
        case 2: return AppendingPathComponent(dir, reel + "/" + clip);
        default: return {};
    }
}

void RenderManagerItem::LogJob() const {
    auto sink = RenderManager::Instance().usageEventSink();
    if (!sink) return;
    const std::string clip = settings_ ? settings_->propertyList().Description() : "(null)";
    const std::string out = outputSettings_ ? outputSettings_->propertyList().Description() : "(null)";
    sink("RENDER", "\nClipSettings:\n" + clip + "\nOuputSettings:\n" + out + "\nPath:\n" + filePath_);
}

std::string RenderManagerItem::errorMessage() const {
    std::lock_guard lock(messageLock_);
    return errorMessage_;
}

void RenderManagerItem::Fail(const std::string& message) {
    errorState_ = true;
    std::lock_guard lock(messageLock_);
    if (errorMessage_.empty()) errorMessage_ = message;
}

}  // namespace ombrel
