#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/net/HttpClient.h"

namespace ombrel::services {

// The client of a data pack download.
class LutDownloader {
public:
    virtual ~LutDownloader() = default;
    virtual void setProgress(double percent) = 0;
    virtual void setError(const std::string& text) = 0;
    virtual void setComplete() = 0;
    virtual void SetDownloadMessage(const std::string& text) = 0;
};

// Where data packs install: the profile store when it can be written, else the user's own
// ($XDG_DATA_HOME/ombrel/Profiles), which the stock tables are searched in after it.
std::string PackInstallFolder();

// Fetches one data pack at a time over HTTP into the profile store, unpacks it there and opens
// its permissions. Main thread; the transfer runs on a worker and reports through the main queue.
class DownloadManager {
public:
    DownloadManager() = default;
    ~DownloadManager();
    DownloadManager(const DownloadManager&) = delete;
    DownloadManager& operator=(const DownloadManager&) = delete;

    void startDownloadingURL(const std::string& url);
    void CancelDownload();
    bool downloadActive() const { return downloadActive_; }
    void setClient(LutDownloader* client) { client_ = client; }
    LutDownloader* client() const { return client_; }

    // Unpacks the archive at destPathForDownload beside it; the archive goes whatever happens.
    bool UnzipArchive();
    // Mode 0775; the owner stays (an ordinary user cannot give files to root).
    bool SetPermissionsForPath(const std::string& path);
    // The folder, then each of its ".tin" files.
    bool SetPermissionsForDirectory(const std::string& path);

    const std::string& destPathForDownload() const { return destPathForDownload_; }
    int64_t bytesReceived() const { return bytesReceived_; }
    // Tests shorten the idle limit.
    void setIdleLimit(std::chrono::seconds limit) { idleLimit_ = limit; }

private:
    std::string DecideDestination(const platform::HttpResponse& response, std::string* refusal);
    void DidReceiveResponse(const platform::HttpResponse& response);
    void DidReceiveDataOfLength(int64_t length);
    void DidFailWithError(const std::string& description);
    void DownloadDidFinish(const std::string& path);

    platform::HttpResponse downloadResponse_;
    std::string theRequest_;
    std::unique_ptr<platform::HttpTransfer> theDownload_;
    int64_t bytesReceived_ = 0;
    LutDownloader* client_ = nullptr;
    std::string destPathForDownload_;
    bool downloadActive_ = false;
    std::chrono::seconds idleLimit_{60};
};

}  // namespace ombrel::services
