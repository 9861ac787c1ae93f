#include "services/DownloadManager.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "core/Log.h"
#include "core/Paths.h"
#include "look/LutManager.h"
#include "platform/archive/Unzip.h"
#include "services/Server.h"

namespace ombrel::services {

namespace fs = std::filesystem;

std::string PackInstallFolder() {
    const std::string base = LutManager::PictureStyleBasePath();
    std::error_code ec;
    fs::create_directories(base, ec);
    if (::access(base.c_str(), W_OK) == 0) return base;
    return UserProfilesFolder();
}

DownloadManager::~DownloadManager() { theDownload_.reset(); }

void DownloadManager::startDownloadingURL(const std::string& url) {
    if (downloadActive_) {
        LogInfo("already downloading");
        return;
    }
    if (Offline()) {
        LogWarn("failed to start download: offline");
        if (client_) client_->setError("Downloads are off: Ombrel is set to work offline");
        return;
    }
    theRequest_ = url;
    platform::HttpHandlers h;
    h.decideDestination = [this](const platform::HttpResponse& r, std::string* refusal) {
        return DecideDestination(r, refusal);
    };
    h.didReceiveResponse = [this](const platform::HttpResponse& r) { DidReceiveResponse(r); };
    h.didReceiveData = [this](int64_t n, const std::string&) { DidReceiveDataOfLength(n); };
    h.didFinish = [this](const std::string& path) { DownloadDidFinish(path); };
    h.didFail = [this](const std::string& e) { DidFailWithError(e); };
    platform::HttpOptions options;
    options.idleLimit = idleLimit_;
    theDownload_ = platform::HttpTransfer::Get(url, std::move(h), options);
    if (!theDownload_) {
        LogWarn("failed to start download");
        return;
    }
    downloadActive_ = true;
}

// Worker thread: a pure function of the response and the store's path.
std::string DownloadManager::DecideDestination(const platform::HttpResponse& response, std::string* refusal) {
    const std::string& name = response.suggestedFilename;
    if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos) {
        *refusal = "The server's file name \"" + name + "\" is refused";
        return {};
    }
    const std::string folder = PackInstallFolder();
    std::error_code ec;
    fs::create_directories(folder, ec);
    if (ec) LogWarn("cannot make {}: {}", folder, ec.message());
    const std::string path = folder + "/" + name;
    LogInfo("\n\n Downloading to {}", path);
    return path;
}

void DownloadManager::DidReceiveResponse(const platform::HttpResponse& response) {
    downloadResponse_ = response;
    bytesReceived_ = 0;
    destPathForDownload_ = PackInstallFolder() + "/" + response.suggestedFilename;
}

void DownloadManager::DidReceiveDataOfLength(int64_t length) {
    bytesReceived_ += length;
    const int64_t expected = downloadResponse_.expectedLength;
    if (expected > 0 && client_) {
        const float percent = static_cast<float>(bytesReceived_) / static_cast<float>(expected) * 100.0f;
        client_->setProgress(percent);
    }
}

void DownloadManager::DidFailWithError(const std::string& description) {
    LogWarn("Download failed! Error - {} {}", description, theRequest_);
    if (client_) client_->setError(description);
    theDownload_.reset();
    downloadActive_ = false;
}

void DownloadManager::DownloadDidFinish(const std::string& path) {
    destPathForDownload_ = path;
    if (client_) client_->setProgress(100);
    UnzipArchive();
    SetPermissionsForDirectory(DeletingPathExtension(path));
    theDownload_.reset();
    downloadActive_ = false;
    if (client_) client_->setComplete();
}

void DownloadManager::CancelDownload() {
    if (downloadActive_) {
        theDownload_.reset();
        downloadActive_ = false;
    }
    LogInfo("Download cancelled");
    if (client_) client_->setError("Download cancelled");
}

bool DownloadManager::UnzipArchive() {
    const std::string archive = destPathForDownload_;
    const Status s = platform::UnzipArchive(archive, fs::path(archive).parent_path().string());
    if (!s.ok()) {
        LogWarn("{}", s.message());
        if (client_) client_->SetDownloadMessage(s.message());
    }
    std::error_code ec;
    fs::remove(archive, ec);
    return s.ok();
}

bool DownloadManager::SetPermissionsForPath(const std::string& path) {
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0 || ::chmod(path.c_str(), 0775) != 0) {
        const std::string error = std::strerror(errno);
        LogWarn("Error setting permissions: on {}\n{}", path, error);
        if (client_) client_->setError(error);
        return false;
    }
    return true;
}

bool DownloadManager::SetPermissionsForDirectory(const std::string& path) {
    if (!SetPermissionsForPath(path)) return false;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(path, ec)) {
        std::string ext = entry.path().extension().string();
        std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
        if (ext == ".tin") SetPermissionsForPath(entry.path().string());
    }
    return true;
}

}  // namespace ombrel::services
