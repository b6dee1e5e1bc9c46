#pragma once

namespace drivetest {

/// Turns the signals that ask the process to end (interrupt, terminate, terminal closed) into a stop request,
/// and makes a reader that goes away a failed write instead of the process's end. Signals that were ignored
/// stay ignored.
void stopOnSignals();

}  // namespace drivetest
