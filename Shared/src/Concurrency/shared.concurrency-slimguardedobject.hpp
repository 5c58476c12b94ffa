#pragma once
// One object behind a reader/writer lock, reachable only through the lock.

#include <mutex>
#include <shared_mutex>

namespace Shared::Concurrency {

template <typename T>
class SlimGuardedObject {
public:
    template <typename Reader>
    auto ReadShared(Reader&& reader) const {
        std::shared_lock lock(mutex_);
        return reader(static_cast<const T&>(object_));
    }

    template <typename Writer>
    auto WriteExclusive(Writer&& writer) {
        std::unique_lock lock(mutex_);
        return writer(object_);
    }

private:
    mutable std::shared_mutex mutex_;
    T object_{};
};

}  // namespace Shared::Concurrency
