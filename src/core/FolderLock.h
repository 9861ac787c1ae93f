#pragma once

#include <string>

#include "core/Status.h"

namespace ombrel {

// An advisory lock on a range of frames of an output folder, held while the object lives.
// Two renders whose ranges overlap would leave a mixed sequence; disjoint ranges (a render
// farm's chunks of one clip) go ahead side by side. The lock file lives in the user's runtime
// folder, named by the folder's device and inode, so the output folder holds only output.
class FolderLock {
public:
    FolderLock() = default;
    ~FolderLock();
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

    // kExists, naming the folder and the frames, when another holder has frames of first..last
    // of the folder. A folder that cannot be looked at or a file system without locks is not a
    // refusal: the lock is simply not held.
    Status TryLock(const std::string& folder, int first, int last);
    void Unlock();
    bool locked() const { return fd_ >= 0; }

private:
    int fd_ = -1;
};

}  // namespace ombrel
