#pragma once
// A blocking call that nothing can interrupt (a name look-up against a name server that never
// answers) runs on a thread of its own, so that its caller can stop waiting for it. At the
// time-out, or when a give-up handle is signalled, that thread is abandoned, not joined: it
// finishes alone and its result is dropped. So the call may touch nothing its caller owns and
// must not log: it may end after the logger has shut down.

#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "Shared/src/Concurrency/shared.concurrency-event.hpp"
#include "Shared/src/Concurrency/shared.concurrency-functions.hpp"

namespace Shared::Concurrency {

template <typename Result>
struct AbandonableOutcome {
    std::optional<Result> value;  // empty when the call was not waited for to its end
    bool givenUp = false;         // a give-up handle, not the time-out, ended the wait
};

namespace detail {

template <typename Result>
struct AbandonableCall {
    std::promise<Result> result;
    Event done{true};
};

}  // namespace detail

// The call's result, unless `timeoutMs` runs out or one of `giveUpOn` is signalled first; when
// one already is, the call is not made at all. What the call throws is thrown here, and
// std::system_error when no thread can be started.
template <typename Result>
AbandonableOutcome<Result> CallAbandonable(std::function<Result()> call, std::uint32_t timeoutMs,
                                           const std::vector<NativeHandle>& giveUpOn) {
    if (!giveUpOn.empty() && WaitFor(giveUpOn, false, 0, false) != kWaitTimeout) {
        return {std::nullopt, true};
    }
    auto state = std::make_shared<detail::AbandonableCall<Result>>();
    auto result = state->result.get_future();
    std::thread([state, call = std::move(call)]() noexcept {
        try {
            state->result.set_value(call());
        } catch (...) {
            state->result.set_exception(std::current_exception());
        }
        try {
            state->done.Signal();
        } catch (...) {
        }
    }).detach();
    std::vector<NativeHandle> handles{state->done.Handle()};
    handles.insert(handles.end(), giveUpOn.begin(), giveUpOn.end());
    const auto ended = WaitFor(handles, false, timeoutMs, false);
    if (ended != kWaitObject0) {
        return {std::nullopt, ended != kWaitTimeout};
    }
    return {result.get(), false};
}

}  // namespace Shared::Concurrency
