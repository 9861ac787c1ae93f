#pragma once

#include "editorial/ReaderRules.h"

#include "editorial/FCPEdlClip.h"
#include "library/FCPFile.h"
#include "library/R3DFileMeta.h"

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace ombrel {

// Reads a CMX-style edit decision list with its comment lines into clips, ties them to the
// footage found on disk and gives each matched file its frame ranges.
class FCPEdl : public EditDocument {
public:
    using MetaList = std::vector<std::shared_ptr<R3DFileMeta>>;

    // Reads the file as UTF-8 and splits it into rows; false when it cannot be read, is not
    // UTF-8 or holds no row. lastError() says which.
    bool LoadFcpEdl(const std::string& path);
    // Parses the loaded rows into clips.
    void TraverseTree();
    // Ties each clip to the first file that holds its frames and gives the files their ranges.
    void MatchToFileList(const MetaList& fileList);

    // One record per path; a path already known is left as it is.
    void AddFileForMeta(const R3DFileMeta& meta);

    const std::vector<std::shared_ptr<FCPEdlClip>>& Clips() const { return clips_; }
    size_t ClipCount() const { return clips_.size(); }
    const std::map<std::string, FCPFile>& Files() const { return files_; }
    std::map<std::string, FCPFile>& Files() { return files_; }
    const std::vector<std::string>& rows() const { return rows_; }

private:
    void ParseRow(const std::string& row);
    void ParseEditRow(const std::string& row);
    void Flush();

    std::vector<std::string> rows_;
    std::map<std::string, FCPFile> files_;
    std::vector<std::shared_ptr<FCPEdlClip>> clips_;

    std::vector<std::shared_ptr<FCPEdlClip>> pending_;
    int32_t lastEditNumber_ = 0;
    size_t m2Position_ = 0;
};

}  // namespace ombrel
