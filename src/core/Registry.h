#pragma once

#include <map>
#include <mutex>
#include <utility>

namespace ombrel {

// A locked map from a key to a maker, for the plug-in points that are filled at start-up and
// read from worker threads (renderers by output format, sources by clip kind). A maker is
// copied out under the lock and called outside it, so a maker may itself use the registry.
template <typename Key, typename Maker>
class Registry {
public:
    // Puts `maker` under `key` and answers the one it replaces; an empty maker removes the key.
    Maker Set(const Key& key, Maker maker) {
        std::lock_guard lock(lock_);
        Maker previous;
        if (auto it = makers_.find(key); it != makers_.end()) {
            previous = std::move(it->second);
            makers_.erase(it);
        }
        if (maker) makers_.emplace(key, std::move(maker));
        return previous;
    }

    // The maker under `key`, or an empty one.
    Maker Find(const Key& key) const {
        std::lock_guard lock(lock_);
        auto it = makers_.find(key);
        return it == makers_.end() ? Maker() : it->second;
    }

    // Puts a maker in place for the life of the object and restores the previous one after.
    class Scoped {
    public:
        Scoped(Registry& registry, Key key, Maker maker)
            : registry_(registry), key_(std::move(key)), previous_(registry.Set(key_, std::move(maker))) {}
        ~Scoped() { registry_.Set(key_, std::move(previous_)); }
        Scoped(const Scoped&) = delete;
        Scoped& operator=(const Scoped&) = delete;

    private:
        Registry& registry_;
        Key key_;
        Maker previous_;
    };

private:
    mutable std::mutex lock_;
    std::map<Key, Maker> makers_;
};

}  // namespace ombrel
