#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "core/Singleton.h"
#include "render/RenderManagerItem.h"
#include "render/Renderer.h"

namespace ombrel {

// Why a clip whose output exists and is to be kept is not rendered, as the render list says it.
inline constexpr const char* kFileExistsNotRendering = "File already exists. Not Rendering";

// The receiver of a run's progress. Both calls are optional and run on the main thread.
struct RenderNotifyTarget {
    std::function<void()> UpdateProgress;
    std::function<void()> RenderCompleted;
};

// Makes the renderer that fits an output format, or null when this build has none for it.
using RendererFactory = std::function<std::unique_ptr<Renderer>(int format)>;
// Takes the usage events ("RENDER", "COMPLETE") with their data.
using UsageEventSink = std::function<void(const std::string& name, const std::string& data)>;

// The one place where rendering enters the system: a queue of clips walked by one
// worker thread, clip after clip, and the run's counters and display strings.
class RenderManager : public Singleton<RenderManager> {
public:
    static constexpr const char* kClassName = "RenderManager";
    using Clock = std::chrono::system_clock;

    void Reset();
    // False when the item is refused because its output exists and is to be kept.
    bool AddItem(const RenderManagerItemPtr& item);
    // Starts the worker thread and returns at once.
    void StartRender(std::shared_ptr<RenderNotifyTarget> target);
    // Marks what is cut short and asks every thread of the run to stop. The reason is not kept.
    void CancelRender(const std::string& reason);
    bool ShouldCancel() const { return cancelling_.load(); }
    // Blocks until the worker has ended, serving the main-thread queue meanwhile when
    // called on the main thread, so that the worker's last hops can finish.
    void WaitUntilExit();
    // Recomputes framesRendered over the queue; main thread only. The argument is ignored.
    void UpdateFramesRendered(int frame = 0);
    void UpdateProgress();

    std::string ETAString();
    std::string ElapsedString() const;
    std::string FPSString() const;
    // Where a clip's output went, or empty.
    std::string DestPathForPath(const std::string& sourcePath) const;
    // Sends the end-of-clip usage event. Main thread.
    void SendReport(const RenderManagerItem& item) const;

    uint32_t totalFrameCount() const { return totalFrameCount_.load(); }
    uint32_t framesRendered() const { return framesRendered_.load(); }
    Clock::time_point startDate() const { return startDate_.load(); }
    int activeThreads() const { return activeThreads_.load(); }
    std::vector<RenderManagerItemPtr> renderQueue() const;

    // Frame range of one clip after the out-point clamp; the snippet rule comes first.
    static std::pair<int, int> FrameRangeForItem(const RenderManagerItem& item);

    // Wiring: the renderers of this build, the usage-event sink, and (for tests) the clock.
    void setRendererFactory(RendererFactory factory);
    void setUsageEventSink(UsageEventSink sink);
    void setClock(std::function<Clock::time_point()> clock);
    UsageEventSink usageEventSink() const;

private:
    friend class Singleton<RenderManager>;
    RenderManager();
    ~RenderManager();

    void RenderThread();
    void RenderItem(const RenderManagerItemPtr& item);
    Clock::time_point Now() const;
    static std::string TimeText(long seconds);

    mutable std::mutex lock_;  // the queue, the paths and the wiring; never held across a hop
    std::vector<RenderManagerItemPtr> renderQueue_;
    std::atomic<uint32_t> totalFrameCount_{0};
    std::atomic<uint32_t> framesRendered_{0};
    std::atomic<Clock::time_point> startDate_{};
    std::atomic<bool> cancelling_{false};
    std::atomic<int> activeThreads_{0};
    std::shared_ptr<RenderNotifyTarget> notifyTarget_;
    std::string etaString_;
    std::atomic<Clock::time_point> lastUpdateDate_{};
    std::atomic<Clock::time_point> lastEtaUpdateDate_{};
    std::map<std::string, std::string> findPaths_;
    std::thread worker_;
    RendererFactory rendererFactory_;
    UsageEventSink usageSink_;
    std::function<Clock::time_point()> clock_;
};

}  // namespace ombrel
