#pragma once

#include "editorial/ConformPort.h"
#include "editorial/AvidXML.h"
#include "editorial/FCPEdl.h"
#include "editorial/FCPXml.h"
#include "editorial/FinalCutXXML.h"
#include "library/R3DFileMeta.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace ombrel {

// Reader tags of the input type popup.
enum InputTypeTag : int { kTagFcpXml = 0, kTagEdl = 1, kTagEdlToo = 2, kTagAvid = 3, kTagFcpxXml = 4 };

struct ConformRequest {
    std::string inputPath;
    // Walked in turn. With none and stageOneOnly set, only the input file is read.
    std::vector<std::string> sourceDirectories;
    int inputType = kTagEdl;
    // The popup's title of the type, quoted by the first log line.
    std::string typeTitle = "EDL";
    bool r3d = true;
    bool stageOneOnly = false;
};

// The conform: reads an edit, finds its footage, matches the two and loads the shot list, in
// four stages shown through a port. Stage 1 runs on the caller's (main) thread, stages 2 to 4
// on one worker thread that reaches the port through the main queue; the caller serves that
// queue until Finished().
class EdlGuiController {
public:
    using MetaList = std::vector<std::shared_ptr<R3DFileMeta>>;

    explicit EdlGuiController(ConformPort& port);
    // Cancels a run and waits for its worker, serving the main queue meanwhile.
    ~EdlGuiController();
    EdlGuiController(const EdlGuiController&) = delete;
    EdlGuiController& operator=(const EdlGuiController&) = delete;

    // Starts a run; during a run, cancels it instead.
    void LoadEDL(const ConformRequest& request);
    void Cancel() { shouldScan_ = false; }
    // No run, or the last one has ended.
    bool Finished() const { return !inProgress_; }
    // Idle stage rows: all icons hidden.
    void ResetMatchMessages();

    // Of the last run: the stage that stopped it (0 for none), whether the shot list was
    // loaded, edits read and clips that found no file.
    int stoppedStage() const { return stoppedStage_; }
    bool shotListLoaded() const { return shotListLoaded_; }
    int edits() const { return edits_; }
    int failCount() const { return failCount_; }
    // Why the input could not be read, when it could not.
    const std::string& errorString() const { return errorString_; }
    // The reader of the last run, kept after it; null when none was made.
    const FCPEdl* fcpEdl() const { return fcpEdl_.get(); }
    const FCPXml* fcpXml() const { return fcpXml_.get(); }
    const AvidXML* avid() const { return avid_.get(); }
    const FinalCutXXML* fcpXXml() const { return fcpXXml_.get(); }
    const MetaList& fileList() const { return fileList_; }
    const MetaList& shotList() const { return shotList_; }
    const MetaList& shotListEdgecode() const { return shotListEdgecode_; }
    // What the log view holds.
    std::string LogText() const;

    // Appends to the log; a run of ticks ends on a fresh line first.
    void Log(const std::string& text);
    // A dot when the log has been quiet for over a second.
    void LogTick();
    void ClearLog();
    // The log to the usage report as "EDL LOG", when under 8000 characters.
    void SendLog();

private:
    void RunStages();
    bool ReadInput();
    void StageOneFailed(const std::string& label, const std::string& logText);
    void LoadForPath(const std::string& path, std::set<std::string>& visited);
    void LoadEDLFinish();
    void MatchEdl();
    void MatchFCP();
    void MatchAvid();
    void MatchFCPX();
    // The add-or-fail step of Avid and Final Cut X matching, for one clip's meta.
    void MatchMeta(const std::shared_ptr<R3DFileMeta>& meta, FCPFile* file, const std::string& prefix);
    // Whether the file found its footage; a file without an R3D name is passed over.
    enum class FcpMatch { kMatched, kFailed, kPassedOver };
    FcpMatch MatchFcpR3d(FCPFile& file);
    FcpMatch MatchFcpMovie(FCPFile& file);
    // Counts and logs the edits of a Final Cut XML and lists its file records.
    void CountFcpEdits();
    // The ranges of the reader of this run, for the shot list.
    std::map<std::string, FCPFile> FilesForShotList() const;
    void LogFrames(const FCPFile& file);
    void Port(std::function<void(ConformPort&)> call);
    void StageBegins(int stage, const std::string& label);
    void End(int stoppedStage);

    ConformPort& port_;
    ConformRequest request_;
    std::thread worker_;
    std::atomic<bool> shouldScan_{false};
    std::atomic<bool> inProgress_{false};
    std::atomic<bool> isScanning_{false};

    mutable std::mutex logLock_;
    std::string logView_;
    bool writingTicks_ = false;
    std::chrono::steady_clock::time_point tickDate_ = std::chrono::steady_clock::now();

    std::unique_ptr<FCPEdl> fcpEdl_;
    std::unique_ptr<FCPXml> fcpXml_;
    std::unique_ptr<AvidXML> avid_;
    std::unique_ptr<FinalCutXXML> fcpXXml_;
    MetaList fileList_;
    MetaList shotList_;
    MetaList shotListEdgecode_;
    std::string errorString_;
    int failCount_ = 0;
    int edits_ = 0;
    int stoppedStage_ = 0;
    bool shotListLoaded_ = false;
};

}  // namespace ombrel
