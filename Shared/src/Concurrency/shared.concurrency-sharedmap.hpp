#pragma once
// A map shared between threads: lookups under a shared lock, inserts under an exclusive lock
// with a second look. Entries are never erased, so a returned reference stays valid.

#include <map>
#include <mutex>
#include <shared_mutex>

namespace Shared::Concurrency {

template <typename K, typename V>
class SharedMap {
public:
    // The value under `key`, inserted as V(initial...) when absent; an existing value is kept.
    template <typename... Initial>
    V& FindOrInsert(const K& key, Initial&&... initial) {
        {
            std::shared_lock lock(mutex_);
            if (auto found = map_.find(key); found != map_.end()) {
                return found->second;
            }
        }
        std::unique_lock lock(mutex_);
        return map_.try_emplace(key, std::forward<Initial>(initial)...).first->second;
    }

    V* Find(const K& key) {
        std::shared_lock lock(mutex_);
        const auto found = map_.find(key);
        return found == map_.end() ? nullptr : &found->second;
    }

private:
    mutable std::shared_mutex mutex_;
    std::map<K, V> map_;
};

}  // namespace Shared::Concurrency
