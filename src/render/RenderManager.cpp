#include "render/RenderManager.h"

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <limits>

#include "core/Log.h"
#include "core/MainQueue.h"
#include "library/FileParser.h"
#include "model/LookRanges.h"
#include "model/SettingsManager.h"

namespace ombrel {
namespace {

constexpr auto kProgressInterval = std::chrono::milliseconds(100);
constexpr long kEtaInterval = 5;
constexpr auto kExitPoll = std::chrono::microseconds(16667);

long WholeSeconds(RenderManager::Clock::duration d) {
    return static_cast<long>(std::chrono::duration_cast<std::chrono::seconds>(d).count());
}

// True when an existing frame folder already holds output of this clip.
bool SequenceOutputExists(const std::string& dest, const std::string& baseName) {
    namespace fs = std::filesystem;
    std::error_code ec;
    if (!fs::exists(dest, ec)) return false;
    for (fs::directory_iterator it(dest, ec), end; !ec && it != end; it.increment(ec)) {
        if (it->path().filename().string().rfind(baseName, 0) == 0) return true;
    }
    return false;
}

}  // namespace

RenderManager::RenderManager() { renderQueue_.reserve(100); }

RenderManager::~RenderManager() {
    if (worker_.joinable()) worker_.join();
}

RenderManager::Clock::time_point RenderManager::Now() const {
    std::lock_guard lock(lock_);
    return clock_ ? clock_() : Clock::now();
}

void RenderManager::setRendererFactory(RendererFactory factory) {
    std::lock_guard lock(lock_);
    rendererFactory_ = std::move(factory);
}

void RenderManager::setUsageEventSink(UsageEventSink sink) {
    std::lock_guard lock(lock_);
    usageSink_ = std::move(sink);
}

UsageEventSink RenderManager::usageEventSink() const {
    std::lock_guard lock(lock_);
    return usageSink_;
}

void RenderManager::setClock(std::function<Clock::time_point()> clock) {
    std::lock_guard lock(lock_);
    clock_ = std::move(clock);
}

std::vector<RenderManagerItemPtr> RenderManager::renderQueue() const {
    std::lock_guard lock(lock_);
    return renderQueue_;
}

void RenderManager::Reset() {
    cancelling_ = false;
    activeThreads_ = 0;
    totalFrameCount_ = 0;
    framesRendered_ = 0;
    std::lock_guard lock(lock_);
    renderQueue_.clear();
}

bool RenderManager::AddItem(const RenderManagerItemPtr& item) {
    const auto& out = item->outputSettings();
    const auto& clip = item->settings();
    // A frame range of a sequence is refused by the renderer for its own frames only: ranges of
    // one clip rendered side by side must not refuse each other.
    const bool perFrame = item->frameRange() && out && out->format() != kFormatMovie;
    if (out && out->overwrite() == 1 && !perFrame) {
        const std::string dest = item->DestPath();
        std::error_code ec;
        const bool refused = out->format() == kFormatMovie ? std::filesystem::exists(dest, ec)
                                                           : SequenceOutputExists(dest, item->BaseName());
        if (refused) {
            item->setErrorState(true);
            item->Fail(std::string(kFileExistsNotRendering) + ": " + dest);
            if (clip) clip->setErrorState(3);
            std::lock_guard lock(lock_);
            findPaths_[item->filePath()] = dest;
            return false;
        }
    }
    bool useInOut = false;
    // Points that are no frame range are refused when the item's turn comes; until then
    // they count for nothing, so the totals never wrap.
    const bool pointsOk = !clip || InOutFault(clip->userFrameIn(), clip->userFrameOut()).empty();
    if (clip) {
        // As FrameRangeForItem: equal points stand for the whole clip.
        useInOut = pointsOk && !clip->snippets().has_value() && clip->userFrameOut() > clip->userFrameIn() &&
                   clip->totalFrames() - 1.0f > static_cast<float>(clip->userFrameOut());
    }
    if (const auto& range = item->frameRange()) {
        useInOut = true;
        item->setInoutFrames(range->second + 1 - range->first);
    } else if (useInOut) {
        item->setInoutFrames(clip->userFrameOut() + 1 - clip->userFrameIn());
    }
    item->setUseInOutPoints(useInOut);
    if (useInOut) {
        totalFrameCount_ += static_cast<uint32_t>(item->inoutFrames());
    } else if (pointsOk) {
        totalFrameCount_ += static_cast<uint32_t>(std::max(item->frames(), 0));
    }
    std::lock_guard lock(lock_);
    renderQueue_.push_back(item);
    return true;
}

void RenderManager::StartRender(std::shared_ptr<RenderNotifyTarget> target) {
    if (worker_.joinable()) worker_.join();
    startDate_ = Now();
    {
        std::lock_guard lock(lock_);
        notifyTarget_ = std::move(target);
        etaString_.clear();  // a new run starts with an empty estimate
    }
    // Counted before the thread starts, so that WaitUntilExit right after cannot miss it.
    activeThreads_ = 1;
    worker_ = std::thread([this] { RenderThread(); });
}

void RenderManager::CancelRender(const std::string& /*reason*/) {
    auto queue = renderQueue();
    if (queue.empty()) return;
    for (const auto& item : queue) {
        if (item->framesRendered() > 0 && item->framesRendered() < item->frames() - 1) item->setErrorState(true);
        if (const auto& clip = item->settings()) {
            const float done = clip->framesRendered();
            if (done > 0.0f && clip->totalFrames() - 1.0f > done) clip->setErrorState(2);
        }
    }
    cancelling_ = true;
}

void RenderManager::WaitUntilExit() {
    auto& queue = MainQueue::Instance();
    if (queue.IsMainThread()) {
        queue.ServeUntil([this] { return activeThreads_.load() == 0; }, kExitPoll);
    } else {
        while (activeThreads_.load() != 0) std::this_thread::sleep_for(kExitPoll);
    }
    if (worker_.joinable() && worker_.get_id() != std::this_thread::get_id()) worker_.join();
}

std::pair<int, int> RenderManager::FrameRangeForItem(const RenderManagerItem& item) {
    const int frames = item.frames();
    if (const auto& range = item.frameRange()) {
        const int last = std::max(frames - 1, 0);  // std::clamp wants its bounds in order
        return {std::clamp(range->first, 0, last), std::clamp(range->second, 0, last)};
    }
    const auto& clip = item.settings();
    if (!clip || clip->hasSnippets()) return {0, frames - 1};
    const int in = clip->userFrameIn();
    const int out = clip->userFrameOut();
    if (in < out && !(in <= 0 && (out <= 0 || out > frames - 1))) return {in, out};
    return {0, frames - 1};
}

void RenderManager::RenderThread() {
    const auto now = Now();
    lastUpdateDate_ = now;
    lastEtaUpdateDate_ = now;
    RendererFactory factory;
    std::shared_ptr<RenderNotifyTarget> target;
    {
        std::lock_guard lock(lock_);
        findPaths_.clear();
        factory = rendererFactory_;
        target = notifyTarget_;
    }
    auto& main = MainQueue::Instance();
    for (const auto& item : renderQueue()) {
        main.RunSync([&] { item->LogJob(); });
        const auto& points = item->settings();
        const std::string pointsFault = points ? InOutFault(points->userFrameIn(), points->userFrameOut()) : "";
        std::unique_ptr<Renderer> renderer =
            factory && pointsFault.empty() ? factory(item->outputSettings()->format()) : nullptr;
        if (!pointsFault.empty()) {
            item->Fail("The clip's frames cannot be rendered: " + pointsFault);
        } else if (!renderer) {
            const int format = item->outputSettings()->format();
            item->Fail("No renderer for output format " + std::to_string(format) + " in this build");
        } else if (renderer->LoadSettingsForRenderManagerItem(item)) {
            renderer->setRenderManager(this);
            if (auto top = SettingsManager::Instance().SettingsForClip(item->filePath())) top->setAcquired(true);
            if (item->settings()) item->settings()->setAcquired(true);
            {
                std::lock_guard lock(lock_);
                findPaths_[item->filePath()] = item->DestPath();
            }
            if (const auto& clip = item->settings(); clip && clip->userFrameOut() > item->frames() - 1)
                clip->setUserFrameOut(item->frames() - 1);
            auto [first, last] = FrameRangeForItem(*item);
            renderer->RenderFrameSequenceStartingEnding(first, last);
        } else if (item->errorMessage().empty()) {
            item->Fail("The clip could not be opened for rendering");
        }
        renderer.reset();
        // The caller reports failed items (the command line prints them); the log keeps a trace.
        if (!item->errorMessage().empty()) LogDebug("{}: {}", item->filePath(), item->errorMessage());
        if (target && target->UpdateProgress) main.RunSync([&] { target->UpdateProgress(); });
        main.RunSync([&] { SendReport(*item); });
        if (ShouldCancel()) break;
    }
    if (target && target->RenderCompleted) main.RunSync([&] { target->RenderCompleted(); });
    activeThreads_ = 0;
}

void RenderManager::UpdateFramesRendered(int /*frame*/) {
    if (cancelling_) return;
    uint32_t sum = 0;
    for (const auto& item : renderQueue()) {
        const auto& clip = item->settings();
        const int in = item->frameRange() ? item->frameRange()->first : clip ? clip->userFrameIn() : 0;
        if (item->useInOutPoints() && item->framesRendered() >= in)
            sum += static_cast<uint32_t>(item->framesRendered() - in);
        else
            sum += static_cast<uint32_t>(std::max(item->framesRendered(), 0));
    }
    framesRendered_ = sum;
    UpdateProgress();
}

void RenderManager::UpdateProgress() {
    const auto now = Now();
    if (now - lastUpdateDate_.load() < kProgressInterval && framesRendered_ < totalFrameCount_) return;
    lastUpdateDate_ = now;
    std::shared_ptr<RenderNotifyTarget> target;
    {
        std::lock_guard lock(lock_);
        target = notifyTarget_;
    }
    if (target && target->UpdateProgress) MainQueue::Instance().RunAsync([target] { target->UpdateProgress(); });
}

std::string RenderManager::TimeText(long seconds) {
    char buf[64];
    if (seconds < 3600) {
        const long minutes = seconds / 60;
        std::snprintf(buf, sizeof buf, "%ld min%s", minutes, minutes == 1 ? "" : "s");
    } else {
        const long hours = seconds / 3600;
        std::snprintf(buf, sizeof buf, "%ld hour%s", hours, hours == 1 ? "" : "s");
    }
    return buf;
}

std::string RenderManager::ElapsedString() const {
    if (framesRendered_ == 0) return " - ";
    return TimeText(WholeSeconds(Now() - startDate_.load()));
}

std::string RenderManager::ETAString() {
    const uint32_t done = framesRendered_;
    const uint32_t total = totalFrameCount_;
    if (done == 0) return " - ";
    const auto now = Now();
    const long elapsed = WholeSeconds(now - startDate_.load());
    if (done != total && (WholeSeconds(now - lastEtaUpdateDate_.load()) < kEtaInterval || elapsed < kEtaInterval)) {
        std::lock_guard lock(lock_);
        return etaString_;
    }
    lastEtaUpdateDate_ = now;
    const float remaining = static_cast<float>(static_cast<int64_t>(total) - static_cast<int64_t>(done)) *
                            (static_cast<float>(elapsed) / static_cast<float>(done));
    // Truncated like the counters; a bound keeps a runaway estimate defined.
    const long seconds = std::isfinite(remaining) && remaining < 1e9f ? static_cast<long>(remaining) : 999999999L;
    std::string text = TimeText(std::max(seconds, 0L));
    std::lock_guard lock(lock_);
    etaString_ = text;
    return text;
}

std::string RenderManager::FPSString() const {
    const uint32_t done = framesRendered_;
    if (done < 10) return " - ";
    const long elapsed = WholeSeconds(Now() - startDate_.load());
    char buf[64];
    std::snprintf(buf, sizeof buf, "%1.2f fps",
                  static_cast<double>(static_cast<float>(done) / static_cast<float>(elapsed)));
    return buf;
}

std::string RenderManager::DestPathForPath(const std::string& sourcePath) const {
    std::lock_guard lock(lock_);
    auto it = findPaths_.find(sourcePath);
    return it == findPaths_.end() ? std::string() : it->second;
}

void RenderManager::SendReport(const RenderManagerItem& item) const {
    UsageEventSink sink = usageEventSink();
    if (!sink) return;
    int32_t osMajor = 0, osMinor = 0;
    FileParser::getSystemVersionMajorminor(&osMajor, &osMinor);
    const auto queue = renderQueue();
    const std::string outputList = queue.empty() || !queue.front()->outputSettings()
                                       ? "(null)"
                                       : queue.front()->outputSettings()->ReadableList().Description();
    const bool snippets = item.settings() && item.settings()->hasSnippets();
    const std::string data = fmt::format(
        "{}\r\n {}\r\n{}{} FPS {}\r\nElapsed {}\r\nMac OS {}.{}\r\n{} cores\r\n{} MB Ram\r\ncpu {}MHz\r\nFrames "
        "Rendered "
        "{}\r\n:\r\n Output Settings: {}",
        ShouldCancel() ? "CANCELLED:" : "FINISHED:", FileParser::IsR3DFile(item.filePath()) ? "R3D" : "QT", "",
        snippets ? " USING EDL/XML\r\n" : "", FPSString(), ElapsedString(), osMajor, osMinor,
        std::thread::hardware_concurrency(), FileParser::RamInMegs(), FileParser::ClockSpeedInMHz(),
        fmt::format("{} of {}", item.framesRendered(), item.frames()), outputList);
    sink("COMPLETE", data);
}

}  // namespace ombrel
