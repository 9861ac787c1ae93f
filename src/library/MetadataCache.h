#pragma once

#include "core/Singleton.h"
#include "library/ClipMetadata.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace ombrel {

// What the footage library knows of each clip, by path, for the life of the process. Records
// are shared: every caller of the same path gets the same one. Safe from any thread.
class MetadataCache : public Singleton<MetadataCache> {
public:
    static constexpr const char* kClassName = "MetadataCache";

    // The record of a clip, loaded here and now when it is not known yet; null only for a
    // file that does not exist. A clip that cannot be read gets a record of defaults.
    std::shared_ptr<ClipMetadata> ForceMetadataForPath(const std::string& path);
    bool HasMetadataForPath(const std::string& path) const;
    // The known record, or null; never loads.
    std::shared_ptr<ClipMetadata> CacheGet(const std::string& path) const;

    // The timing steps of the two kinds of clip; a clip that cannot be opened leaves the
    // record as it was (a movie also marks it not playable).
    static void LoadMetaForR3D(ClipMetadata& meta);
    static void LoadMetaForMovie(ClipMetadata& meta);

private:
    friend class Singleton<MetadataCache>;
    MetadataCache() = default;

    mutable std::mutex lock_;
    std::map<std::string, std::shared_ptr<ClipMetadata>> metaCollection_;
};

}  // namespace ombrel
