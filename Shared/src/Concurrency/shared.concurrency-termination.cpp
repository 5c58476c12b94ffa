#include "Shared/src/Concurrency/shared.concurrency-termination.hpp"

namespace Shared::Concurrency {

Event& TerminationEvent() {
    // Never destroyed: a request arriving during exit must not write into a reused descriptor.
    static auto* const event = new Event(true);
    return *event;
}

bool TerminationRequested() {
    return TerminationEvent().WaitOnEvent(0, false);
}

}  // namespace Shared::Concurrency
