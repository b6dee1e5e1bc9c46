#pragma once

#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "drivetest/run/OutputFile.h"

namespace drivetest {

/// Writes to one output from a thread of its own: a terminal that is stopped, or a pipe that nobody reads,
/// must not keep a test from putting back what it overwrote. Nothing that was added is lost unless it cannot
/// be written, or the program is to end and nobody takes it. Safe to use from several threads.
class OutputQueue {
public:
    /// Begins the file.
    explicit OutputQueue(OutputFile file);
    /// Like finish().
    ~OutputQueue();
    OutputQueue(const OutputQueue&) = delete;
    OutputQueue& operator=(const OutputQueue&) = delete;

    /// A queue for the file: that of standard output when it is that.
    static std::shared_ptr<OutputQueue> of(OutputFile file);
    /// The queue of standard output (1) or standard error (2): one for both when they lead to the same place.
    static std::shared_ptr<OutputQueue> standard(int descriptor);
    /// Waits for the standard streams as long as `isPatient`; false when they still have something to write.
    static bool waitForStandard(const std::function<bool()>& isPatient);
    /// finish() for the standard streams that were used.
    static void finishStandard();
    /// Why one of them takes nothing more ("standard output cannot be written to: No space left on device");
    /// empty while both do.
    static std::string standardFailure();
    /// Whether there is one; costs next to nothing.
    static bool hasStandardFailed();

    /// Returns at once. With `isDurable`, the text and all before it outlive a power cut once it is written.
    void add(std::string text, bool isDurable = false);
    /// Whether something waits to be written.
    [[nodiscard]] bool isBusy() const;
    /// Waits until all is written; once a stop is requested, no longer than two seconds after the first call
    /// in the process, and half a second once it is insisted on, and gives the rest up. False when something
    /// could not be written.
    bool finish();
    /// Why it takes nothing more, in the system's words; empty while it does.
    [[nodiscard]] std::string failure() const;
    /// Whether any queue of the process takes nothing more; costs next to nothing.
    static bool hasAnyFailed();
    /// Whether finish() left something unwritten because nobody took it.
    [[nodiscard]] bool wasGivenUp() const;

    /// Bytes that wait in all queues.
    static std::size_t waitingBytes();
    /// Returns when a moderate amount of bytes waits in all queues, or a stop is requested.
    static void waitForRoom();

private:
    struct State;
    bool wait(const std::function<bool()>& isPatient) const;

    std::shared_ptr<State>
        m_state;  ///< shared with the thread, which may outlive the queue when it is blocked
    std::thread m_thread;
};

}  // namespace drivetest
