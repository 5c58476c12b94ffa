#pragma once
// A queue whose items-waiting event is signalled exactly while it holds items, so consumers
// can wait on the event (together with other objects) and then take the front item.

#include <cstdint>
#include <mutex>
#include <vector>

#include <fmt/format.h>

#include "Shared/src/Concurrency/shared.concurrency-event.hpp"
#include "Shared/src/Exception/shared.exception-baseexception.hpp"

namespace Shared::Concurrency {

template <typename T>
class ThreadSafeQueue {
public:
    explicit ThreadSafeQueue(bool manualResetEvent = true) : itemsWaiting_(manualResetEvent) {}
    ThreadSafeQueue(const ThreadSafeQueue&) = delete;
    ThreadSafeQueue& operator=(const ThreadSafeQueue&) = delete;

    void Push(T item) {
        std::lock_guard lock(mutex_);
        const bool wasEmpty = items_.empty();
        items_.push_back(std::move(item));
        // A manual-reset event is already signalled while items wait: skip the system call.
        if (wasEmpty || !itemsWaiting_.IsManualReset()) {
            itemsWaiting_.Signal();
        }
    }

    // Removes and returns the item at `index`; throws "Index {} is out of bounds of {}".
    T EraseOne(const std::uint64_t index) {
        std::lock_guard lock(mutex_);
        if (index >= items_.size()) {
            throw Shared::Exception::RuntimeError(
                fmt::format("Index {} is out of bounds of {}", index, items_.size()));
        }
        T item = items_[index];
        Erase(index);
        return item;
    }

    // Removes the item at `index` (nothing when out of range). Called with or without the lock.
    void Erase(const std::uint64_t index) {
        std::lock_guard lock(mutex_);
        if (index < items_.size()) {
            items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(index));
        }
        if (items_.empty() && itemsWaiting_.IsManualReset()) {
            itemsWaiting_.Reset();
        }
    }

    std::size_t Size() const {
        std::lock_guard lock(mutex_);
        return items_.size();
    }

    std::vector<T> Copy() const {
        std::lock_guard lock(mutex_);
        return items_;
    }

    const Event& ItemsWaiting() const noexcept { return itemsWaiting_; }

private:
    mutable std::recursive_mutex mutex_;
    std::vector<T> items_;
    Event itemsWaiting_;
};

}  // namespace Shared::Concurrency
