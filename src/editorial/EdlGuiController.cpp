#include "editorial/EdlGuiController.h"

#include "core/Log.h"
#include "core/MainQueue.h"
#include "core/Paths.h"
#include "library/FileParser.h"
#include "library/FileParserHooks.h"

#include <algorithm>
#include <filesystem>

namespace ombrel {
namespace {

namespace fs = std::filesystem;

constexpr double kAlphaIdle = 0.15;
constexpr double kAlphaActive = 0.8;
constexpr size_t kLogSendLimit = 8000;

const char* const kIdleLabels[] = {"1. Read Input File", "2. Scan File System", "3. Match Footage",
                                   "4. Load Shot List"};

// The messages of stage 1 for one input type.
struct TypeTexts {
    const char* found;
    const char* noEdits;
    const char* cannotOpen;
    const char* noEditsLabel;
};

TypeTexts TextsFor(int tag) {
    switch (tag) {
        case kTagFcpXml:
            return {"{} Edits found in FCP XML '{}'\n\n", "No Edits found in FCP XML '{}'\n\n",
                    "Error opening Final Cut XML '{}'", "1. No edits found in '{}'."};
        case kTagAvid:
            return {"{} Edits found in Avid Filmscribe '{}'\n\n", "No Edits found in Avid Filmscribe '{}'\n\n",
                    "Error opening Avid Filmscribe '{}'\n\n", "1. No edits found in '{}'.\n\n"};
        case kTagFcpxXml:
            return {"{} Edits found in FCP-X XML '{}'\n\n", "No Edits found in FCP-X XML '{}'\n\n",
                    "Error opening FCP-X XML '{}'\n\n", "1. No edits found in '{}'.\n\n"};
        default:
            return {"Found {} Edits in EDL '{}'\n\n", "No Edits found in EDL '{}'\n\n", "Error opening EDL '{}'\n\n",
                    "1. No edits found in '{}'."};
    }
}

std::string Format(const char* pattern, const std::string& a) { return fmt::format(fmt::runtime(pattern), a); }
std::string Format(const char* pattern, int n, const std::string& a) {
    return fmt::format(fmt::runtime(pattern), n, a);
}

// Characters as the log view counts them: UTF-16 units.
size_t ViewLength(const std::string& text) {
    size_t n = 0;
    for (const char ch : text) {
        const auto c = static_cast<unsigned char>(ch);
        if ((c & 0xC0) != 0x80) n += c >= 0xF0 ? 2 : 1;
    }
    return n;
}

bool Holds(const EdlGuiController::MetaList& list, const std::shared_ptr<R3DFileMeta>& meta) {
    return std::find(list.begin(), list.end(), meta) != list.end();
}

}  // namespace

const char* StageIconName(StageIcon icon) {
    switch (icon) {
        case StageIcon::kDone: return "Done";
        case StageIcon::kFailed: return "Failed";
        case StageIcon::kAlert: return "Alert";
        case StageIcon::kNone: break;
    }
    return "";
}

EdlGuiController::EdlGuiController(ConformPort& port) : port_(port) {}

EdlGuiController::~EdlGuiController() {
    shouldScan_ = false;
    if (!worker_.joinable()) return;
    // The worker may be waiting for the main thread to take its port calls.
    if (MainQueue::Instance().IsMainThread()) MainQueue::Instance().ServeUntil([this] { return Finished(); });
    worker_.join();
}

void EdlGuiController::Port(std::function<void(ConformPort&)> call) {
    MainQueue::Instance().RunSync([&] { call(port_); });
}

void EdlGuiController::ResetMatchMessages() {
    for (int stage = 1; stage <= 4; ++stage) {
        Port([&](ConformPort& p) {
            p.SetStageIcon(stage, StageIcon::kNone);
            p.SetStageSpinner(stage, false);
            p.SetStageLabel(stage, kIdleLabels[stage - 1]);
            p.SetStageAlpha(stage, kAlphaIdle);
        });
    }
}

void EdlGuiController::StageBegins(int stage, const std::string& label) {
    Port([&](ConformPort& p) {
        p.SetStageAlpha(stage, kAlphaActive);
        p.SetStageLabel(stage, label);
        p.SetStageSpinner(stage, true);
    });
}

std::string EdlGuiController::LogText() const {
    std::lock_guard lock(logLock_);
    return logView_;
}

void EdlGuiController::Log(const std::string& text) {
    std::string out;
    {
        std::lock_guard lock(logLock_);
        tickDate_ = std::chrono::steady_clock::now();
        if (writingTicks_ && text.size() >= 2) {
            writingTicks_ = false;
            out = "\n";
        }
        out += text;
        logView_ += out;
    }
    Port([&](ConformPort& p) { p.AppendLog(out); });
}

void EdlGuiController::LogTick() {
    {
        std::lock_guard lock(logLock_);
        if (std::chrono::steady_clock::now() - tickDate_ <= std::chrono::seconds(1)) return;
        tickDate_ = std::chrono::steady_clock::now();
        writingTicks_ = true;
        logView_ += ".";
    }
    Port([](ConformPort& p) { p.AppendLog("."); });
}

void EdlGuiController::ClearLog() {
    {
        std::lock_guard lock(logLock_);
        logView_ = " ";
        writingTicks_ = false;
    }
    Port([](ConformPort& p) { p.ReplaceLog(" "); });
}

void EdlGuiController::SendLog() {
    const std::string text = LogText();
    if (ViewLength(text) >= kLogSendLimit) return;
    if (const UsageEventSink sink = GetUsageEventSink()) sink("EDL LOG", text);
}

void EdlGuiController::LoadEDL(const ConformRequest& request) {
    if (inProgress_) {
        shouldScan_ = false;
        return;
    }
    // The worker of the last run has ended (inProgress_ cleared) but may still be joinable.
    if (worker_.joinable()) worker_.join();
    request_ = request;
    stoppedStage_ = 0;
    shotListLoaded_ = false;
    edits_ = 0;
    failCount_ = 0;

    ClearLog();
    fileList_.clear();
    errorString_.clear();
    shotList_.clear();
    shotListEdgecode_.clear();
    Port([](ConformPort& p) { p.RemoveAllClips(); });
    shouldScan_ = true;
    inProgress_ = true;
    Port([](ConformPort& p) { p.SetEdlButtons(false); });
    ResetMatchMessages();
    Port([](ConformPort& p) { p.EnableViewDetails(); });
    StageBegins(1, "1. Reading Input File...");
    Log(fmt::format("\nOpening {} file '{}'...\n", request_.typeTitle, LastPathComponent(request_.inputPath)));

    if (!ReadInput()) return;
    Port([](ConformPort& p) {
        p.SetStageSpinner(1, false);
        p.SetStageIcon(1, StageIcon::kDone);
    });
    if (request_.stageOneOnly) {
        End(0);
        return;
    }
    StageBegins(2, "2. Scanning File System...");
    isScanning_ = true;
    worker_ = std::thread([this] { RunStages(); });
}

bool EdlGuiController::ReadInput() {
    fcpEdl_.reset();
    fcpXml_.reset();
    avid_.reset();
    fcpXXml_.reset();
    const int tag = request_.inputType;
    const TypeTexts texts = TextsFor(tag);
    const std::string name = LastPathComponent(request_.inputPath);
    if (tag < kTagFcpXml || tag > kTagFcpxXml) return true;  // no reader: nothing will match
    const auto cannotOpen = [&](const std::string& why) {
        errorString_ = why;
        StageOneFailed(Format("1. Error reading '{}'.", name), Format(texts.cannotOpen, name));
        return false;
    };
    if (tag == kTagFcpXml) {
        fcpXml_ = std::make_unique<FCPXml>();
        fcpXml_->setR3dMode(request_.r3d);
        if (!fcpXml_->LoadFcpXml(request_.inputPath)) return cannotOpen(fcpXml_->lastError());
        fcpXml_->TraverseTree();
        CountFcpEdits();
    } else if (tag == kTagEdl || tag == kTagEdlToo) {
        fcpEdl_ = std::make_unique<FCPEdl>();
        fcpEdl_->setR3dMode(request_.r3d);
        if (!fcpEdl_->LoadFcpEdl(request_.inputPath)) return cannotOpen(fcpEdl_->lastError());
        fcpEdl_->TraverseTree();
        edits_ = static_cast<int>(fcpEdl_->ClipCount());
        for (const auto& clip : fcpEdl_->Clips())
            Log(fmt::format("       .  .  .  .  .  .  .  .  .  {}\n", clip->DumpSummary()));
    } else if (tag == kTagAvid) {
        avid_ = std::make_unique<AvidXML>();
        avid_->setR3dMode(request_.r3d);
        if (!avid_->LoadAvidXml(request_.inputPath)) return cannotOpen(avid_->lastError());
        avid_->TraverseTree();
        edits_ = static_cast<int>(avid_->ClipList().size());
    } else {
        fcpXXml_ = std::make_unique<FinalCutXXML>();
        fcpXXml_->setR3dMode(request_.r3d);
        if (!fcpXXml_->LoadFCPXXml(request_.inputPath)) return cannotOpen(fcpXXml_->lastError());
        fcpXXml_->TraverseTree();
        edits_ = static_cast<int>(fcpXXml_->ClipList().size());
    }
    if (edits_ == 0) {
        StageOneFailed(Format(texts.noEditsLabel, name), Format(texts.noEdits, name));
        return false;
    }
    Port([&](ConformPort& p) { p.SetStageLabel(1, Format("1. Found {} edits in '{}'.", edits_, name)); });
    Log(Format(texts.found, edits_, name));
    return true;
}

void EdlGuiController::CountFcpEdits() {
    // A clip whose summary has text is an edit; with no file records there are none.
    int count = 0;
    for (const auto& clip : fcpXml_->Clips()) {
        const std::string summary = clip->DumpSummary();
        if (summary.empty()) continue;
        ++count;
        Log(fmt::format("    {}\n", summary));
    }
    const auto& files = fcpXml_->Files();
    if (count == 0 || files.empty()) {
        edits_ = 0;
        return;
    }
    edits_ = count;
    Log(fmt::format("\nFound {} File Nodes... \n", files.size()));
    for (const auto& [id, file] : files)
        Log(fmt::format("   {} - {}\n", file.reference(), LastPathComponent(file.sourcePath())));
    Log("\n");
}

void EdlGuiController::StageOneFailed(const std::string& label, const std::string& logText) {
    Log(logText);
    Port([&](ConformPort& p) {
        p.SetStageLabel(1, label);
        p.SetStageIcon(1, StageIcon::kFailed);
        p.SetStageSpinner(1, false);
    });
    End(1);
}

void EdlGuiController::End(int stoppedStage) {
    stoppedStage_ = stoppedStage;
    SendLog();
    Port([](ConformPort& p) { p.SetEdlButtons(true); });
    shouldScan_ = false;
    inProgress_ = false;
}

void EdlGuiController::RunStages() {
    std::set<std::string> visited;
    for (const std::string& dir : request_.sourceDirectories) {
        Log(fmt::format("Looking for footage in directory {}...\n", dir));
        LoadForPath(dir, visited);
    }
    LoadEDLFinish();
}

void EdlGuiController::LoadForPath(const std::string& path, std::set<std::string>& visited) {
    if (!shouldScan_) return;
    std::error_code ec;
    const fs::file_status status = fs::status(path, ec);
    if (ec || !fs::exists(status)) return;
    if (fs::is_directory(status)) {
        // A link back up the tree is walked once.
        const std::string real = fs::canonical(path, ec).string();
        if (ec || !visited.insert(real).second) return;
        std::vector<std::string> names;
        for (fs::directory_iterator it(path, ec), end; !ec && it != end; it.increment(ec))
            names.push_back(it->path().filename().string());
        // Sorted, so that a run over the same folders repeats.
        std::sort(names.begin(), names.end());
        for (const std::string& name : names) {
            if (name.empty() || name[0] == '.') continue;
            LogTick();
            LoadForPath(AppendingPathComponent(path, name), visited);
        }
        return;
    }
    const bool r3d = request_.r3d;
    const bool candidate = r3d ? FileParser::IsR3DFile(path) : FileParser::IsUseableQuicktimeMov(path);
    if (!candidate) {
        LogTick();
        return;
    }
    Log(fmt::format("Found {} ", LastPathComponent(path)));
    auto meta = std::make_shared<R3DFileMeta>();
    if (meta->LoadMetadataFromPathIsR3d(path, r3d)) fileList_.push_back(meta);
    if (r3d)
        Log(fmt::format(" {} - {}, IN:{} Out:{} Cnt:{}\n", meta->timecodeIn(), meta->timecodeOut(), meta->frameIn(),
                        meta->frameOut(), meta->frameCount()));
    else
        Log(fmt::format(" {} Frames. {:.3f} fps.\n", meta->frameCount(), meta->fps()));
}

void EdlGuiController::LogFrames(const FCPFile& file) {
    for (const FCPSnippet& snippet : file.GetSnippets())
        Log(fmt::format("                        frames {} to {}\n", snippet.inPoint(), snippet.outPoint()));
}

void EdlGuiController::MatchEdl() {
    failCount_ = 0;
    errorString_.clear();
    if (!fcpEdl_) return;
    auto& files = fcpEdl_->Files();
    for (const auto& clip : fcpEdl_->Clips()) {
        if (!shouldScan_) break;
        if (!clip->consolidated) {
            // Every clip without a file counts, whether or not edge code matched others.
            if (!clip->isAttachment) {
                ++failCount_;
                Log(fmt::format("!! .Failed to match {}\n", clip->originalText));
            }
            continue;
        }
        const auto found = files.find(clip->filePath);
        if (found == files.end() || Holds(shotList_, clip->meta) || found->second.GetSnippets().empty()) continue;
        FCPFile& file = found->second;
        file.setSourcePath(clip->meta->path());
        if (clip->usedEdgecode) {
            Log(fmt::format("   .{} added (edgecode)\n", clip->meta->BaseFilename()));
            shotListEdgecode_.push_back(clip->meta);
        } else {
            shotList_.push_back(clip->meta);
            Log(fmt::format("   {} added\n", clip->meta->BaseFilename()));
        }
        LogFrames(file);
    }
}

EdlGuiController::FcpMatch EdlGuiController::MatchFcpR3d(FCPFile& file) {
    const std::optional<std::string> prefix = file.R3dPrefix();
    Log(fmt::format("*** Checking For R3D [{}]\n", prefix.value_or("(null)")));
    if (!prefix) {
        Log(fmt::format("   Err: [{}] has no R3D PRefix\n", LastPathComponent(file.sourcePath())));
        return FcpMatch::kPassedOver;
    }
    for (const auto& meta : fileList_) {
        if (meta->fps() == 0) {
            Log(fmt::format("       Err: No Metadata.. FPS = 0! {}\n", meta->path()));
            continue;
        }
        if (meta->R3dPrefix() != *prefix) continue;
        Log(fmt::format("       Prefix matching for {}\n", LastPathComponent(meta->path())));
        if (Holds(shotList_, meta)) {
            Log(fmt::format("       {} already added...\n", meta->BaseFilename()));
            return FcpMatch::kFailed;
        }
        if (file.GetSnippets().empty()) {
            Log(fmt::format("       No Snippets for file {}\n", file.name()));
            continue;
        }
        file.setSourcePath(meta->path());
        shotList_.push_back(meta);
        Log(fmt::format("   {} added\n", meta->BaseFilename()));
        LogFrames(file);
        return FcpMatch::kMatched;
    }
    return FcpMatch::kFailed;
}

EdlGuiController::FcpMatch EdlGuiController::MatchFcpMovie(FCPFile& file) {
    const std::string shortName = file.shortName();
    Log(fmt::format("*** Checking For QT Mov [{}]\n", shortName));
    bool matched = false;
    // Every movie of the name is added; the record keeps the last one's path.
    for (const auto& meta : fileList_) {
        if (meta->ShortName() != shortName) continue;
        Log(fmt::format("       Name matching for {}\n", LastPathComponent(meta->path())));
        if (Holds(shotList_, meta)) {
            Log(fmt::format("       {} already added...\n", meta->BaseFilename()));
            break;
        }
        if (file.GetSnippets().empty()) {
            Log(fmt::format("       No Snippets for file {}\n", file.name()));
            continue;
        }
        file.setSourcePath(meta->path());
        shotList_.push_back(meta);
        Log(fmt::format("   {} added\n", LastPathComponent(meta->path())));
        LogFrames(file);
        matched = true;
    }
    return matched ? FcpMatch::kMatched : FcpMatch::kFailed;
}

void EdlGuiController::MatchFCP() {
    failCount_ = 0;
    for (auto& [id, file] : fcpXml_->Files()) {
        if (!shouldScan_) break;
        if ((request_.r3d ? MatchFcpR3d(file) : MatchFcpMovie(file)) != FcpMatch::kFailed) continue;
        ++failCount_;
        const std::optional<std::string> prefix = file.R3dPrefix();
        Log(fmt::format("!! .Failed to match {}\n", prefix ? *prefix : LastPathComponent(file.sourcePath())));
    }
}

std::map<std::string, FCPFile> EdlGuiController::FilesForShotList() const {
    if (fcpEdl_) return fcpEdl_->Files();
    std::map<std::string, FCPFile> out;
    if (fcpXml_)
        for (const auto& [key, file] : fcpXml_->Files()) out.emplace(key, file);
    if (avid_)
        for (const auto& [key, file] : avid_->Files()) out.emplace(key, file);
    if (fcpXXml_)
        for (const auto& [key, file] : fcpXXml_->Files()) out.emplace(key, file);
    return out;
}

void EdlGuiController::MatchMeta(const std::shared_ptr<R3DFileMeta>& meta, FCPFile* file, const std::string& prefix) {
    if (meta && Holds(shotList_, meta)) return;
    if (!meta || !file || file->GetSnippets().empty()) {
        ++failCount_;
        Log(fmt::format("!! .Failed to match {}\n", prefix));
        return;
    }
    shotList_.push_back(meta);
    Log(fmt::format("   {} added\n", meta->BaseFilename()));
    file->setSourcePath(meta->path());
    LogFrames(*file);
}

void EdlGuiController::MatchFCPX() {
    failCount_ = 0;
    errorString_.clear();
    for (const auto& clip : fcpXXml_->ClipList()) {
        if (!shouldScan_) break;
        if (clip->metaDict.size() <= 1)
            Log(fmt::format("   Clip {} references single asset\n", clip->nameString));
        else
            Log(fmt::format("   Clip {} has {} sub-clips\n", clip->nameString, clip->metaDict.size()));
        // A compound has no name of its own: a failure names the file looked for.
        const std::string prefix = clip->R3dPrefix();
        for (const auto& [key, meta] : clip->metaDict)
            MatchMeta(meta, fcpXXml_->Files().find(meta->path()), prefix.empty() ? key : prefix);
    }
}

void EdlGuiController::MatchAvid() {
    failCount_ = 0;
    errorString_.clear();
    for (const auto& clip : avid_->ClipList()) {
        if (!shouldScan_) break;
        const auto& meta = clip->meta;
        MatchMeta(meta, meta ? avid_->Files().find(meta->path()) : nullptr, clip->R3dPrefix());
    }
}

void EdlGuiController::LoadEDLFinish() {
    isScanning_ = false;
    Port([&](ConformPort& p) {
        p.SetStageSpinner(2, false);
        p.SetStageLabel(2, fmt::format("2. Found {} movie files.", fileList_.size()));
    });
    if (fileList_.empty()) {
        Port([](ConformPort& p) { p.SetStageIcon(2, StageIcon::kFailed); });
        End(2);
        return;
    }
    Port([](ConformPort& p) { p.SetStageIcon(2, StageIcon::kDone); });
    StageBegins(3, "3. Matching Footage...");
    Log("\nMatching your EDL / XML with the movie files found\n");
    Log(request_.r3d ? "Attempting to re-link original R3D Files\n" : "Searching for .Mov files\n");
    if (fcpXml_) {
        MatchFCP();
    } else if (fcpEdl_) {
        fcpEdl_->MatchToFileList(fileList_);
        MatchEdl();
    } else if (avid_) {
        avid_->MatchToFileList(fileList_);
        MatchAvid();
    } else if (fcpXXml_) {
        fcpXXml_->MatchToFileList(fileList_);
        MatchFCPX();
    }
    Port([](ConformPort& p) { p.SetStageSpinner(3, false); });
    const int matches = static_cast<int>(shotList_.size() + shotListEdgecode_.size());
    if (matches == 0) {
        Port([](ConformPort& p) {
            p.SetStageLabel(3, "3. No matching files");
            p.SetStageIcon(3, StageIcon::kFailed);
        });
        End(3);
        return;
    }
    Port([&](ConformPort& p) {
        if (failCount_ > 0) {
            p.SetStageIcon(3, StageIcon::kAlert);
            p.SetStageLabel(3, fmt::format("3. Found {} matching files... {} failed matches.", matches, failCount_));
        } else {
            p.SetStageIcon(3, StageIcon::kDone);
            p.SetStageLabel(3, fmt::format("3. Found {} matching files.", matches));
        }
    });
    if (!shouldScan_) {
        // Cancelled: what matched is shown, the shot list stays as it was.
        stoppedStage_ = 3;
        Port([](ConformPort& p) { p.SetEdlButtons(true); });
        inProgress_ = false;
        return;
    }

    StageBegins(4, "4. Loading Shot List...");
    Port([](ConformPort& p) { p.RemoveAllItems(); });
    Log("Loading Shot List\n");
    const auto add = [&](const std::shared_ptr<R3DFileMeta>& meta) {
        Log(fmt::format("Adding {}", meta->path()));
        Port([&](ConformPort& p) { p.AddPath(meta->path()); });
        Log("  ...Added.\n");
    };
    for (const auto& meta : shotList_) add(meta);
    for (const auto& meta : shotListEdgecode_)
        if (!Holds(shotList_, meta)) add(meta);
    Log("Finilize Pull List\n");
    const std::map<std::string, FCPFile> files = FilesForShotList();
    Port([&](ConformPort& p) { p.SetFileSnippets(files); });
    Log("Reloading Data\n");
    MainQueue::Instance().RunAsync([this] { port_.ReloadGUI(); });
    Port([](ConformPort& p) {
        p.SetStageIcon(4, StageIcon::kDone);
        p.SetStageLabel(4, "4. Shot List Loaded. ");
        p.SetStageSpinner(4, false);
    });
    Log("Cleanup\n");
    shotListLoaded_ = true;
    End(0);
}

}  // namespace ombrel
