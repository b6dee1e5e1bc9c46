#pragma once

namespace drivetest {

/// A reader that goes away, or a limit on the size of files, becomes a failed write.
void letWritesFail();

/// Turns every signal that would end the process, and is no fault of its own, into a stop request. The second
/// SIGINT or SIGTERM insists on it, the third ends the process at once. Signals that were ignored stay
/// ignored; no call is restarted after a signal.
void stopOnSignals();

/// Whether somebody has asked since the last call how far the run is: by SIGUSR1, where there are
/// signals.
bool takeProgressRequest();

/// What an end at once leaves behind.
enum class AtStake : unsigned char {
    nothing,
    journaledSectors,    ///< the journal keeps their data
    unprotectedSectors,  ///< nothing but this process does
};
/// For the last words of such an end, and its exit status.
void setAtStake(AtStake stake);

/// What such an end does first; safe in a signal handler. Null for nothing.
void setLastDeed(void (*deed)());

/// A status is shown on this output: an end at once takes it off, and so does a pause of the process where it
/// can be paused by SIGTSTP. -1 for none.
void setStatusOn(int descriptor);

/// Keeps signals from the calling thread: they interrupt the others, whose waiting they are to end.
void leaveSignalsToOthers();

/// Requests to stop that wait as the thread which should take them is kept by a drive that never answers.
class LateSignals {
public:
    /// To be called again and again by a thread that leaves signals to others. Takes those that still wait
    /// after some calls.
    void look();

private:
    unsigned m_looks = 0;
};

}  // namespace drivetest
