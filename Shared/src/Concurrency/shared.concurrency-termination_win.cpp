#include "Shared/src/Concurrency/shared.concurrency-termination.hpp"

namespace Shared::Concurrency {

// A console program can be killed (TerminateProcess) but not asked; nothing to watch.
void WatchTermination() {}

}  // namespace Shared::Concurrency
