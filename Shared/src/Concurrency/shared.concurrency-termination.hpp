#pragma once
// The agent may stop a run by asking the process to terminate (SIGTERM on Linux). Once watched,
// that request signals an event instead of ending the process, so that the run ends the way
// its exit event ends it: the probes stop and the results gathered so far are written whole.

#include "Shared/src/Concurrency/shared.concurrency-event.hpp"

namespace Shared::Concurrency {

// An unnamed manual-reset event that lives as long as the process; signalled by the request.
Event& TerminationEvent();

// From now on a request to terminate signals TerminationEvent(), as often as it comes.
// Linux: SIGTERM. Windows: nothing; no other process can send a console program that request.
// Throws Win32Exception "sigaction() failed".
void WatchTermination();

bool TerminationRequested();

}  // namespace Shared::Concurrency
