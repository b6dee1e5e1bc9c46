#pragma once

namespace drivetest {

/// A reader that goes away, or a limit on the size of files, becomes a failed write.
void letWritesFail();

/// Turns every signal that would end the process, and is no fault of its own, into a stop request. Signals
/// that were ignored stay ignored; no call is restarted after a signal.
void stopOnSignals();

/// Keeps signals from the calling thread: they interrupt the others, whose waiting they are to end.
void leaveSignalsToOthers();

}  // namespace drivetest
