#pragma once

#include <liburing.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <vector>

namespace libDrive2 {

/// The kernel's side of a ring of io_uring, in the ring's own memory: takes entries when it is called, and
/// ends them when and as a test says. Answers as Linux does: a call that takes some entries, but not all,
/// does not wait; one that is interrupted has taken them. The calls of liburing reach the object that was
/// made last.
class PlayedKernel {
public:
    PlayedKernel();
    ~PlayedKernel();
    PlayedKernel(const PlayedKernel&) = delete;
    PlayedKernel& operator=(const PlayedKernel&) = delete;

    static constexpr unsigned kAll = ~0U;
    /// What becomes of a call. Where a test says no more of them, all entries are taken and one ends.
    struct Call {
        int error = 0;          ///< of the call, which then takes nothing
        unsigned takes = kAll;  ///< entries
        unsigned ends = 1;      ///< at least, where it waits; 0 as if interrupted meanwhile
    };
    std::deque<Call> calls;
    bool endsNewestFirst = false;
    bool knowsCommands = true;  ///< IORING_OP_URING_CMD
    int setUpError = 0;

    /// An entry that was taken.
    struct Work {
        std::uint64_t number;  ///< that completions are told apart by
        std::uint8_t opcode;
        std::uint32_t commandKind;
        std::uint64_t offset;
        std::uint64_t address;
        std::uint32_t bytes;
        std::vector<std::byte> command;  ///< behind the entry, in rings with long ones
    };
    struct End {
        std::int32_t result;
        std::uint64_t extra = 0;
    };
    /// Does the work: fills the buffer, and tells how that ended. Called when it ends, not when it is taken.
    std::function<End(const Work& work)> carryOut;

    [[nodiscard]] std::size_t inFlight() const { return m_inFlight.size(); }
    [[nodiscard]] std::size_t mostInFlight() const { return m_most; }
    [[nodiscard]] unsigned flags() const { return m_flags; }
    /// Whether somebody waited for what could never come, or let go of a ring that the kernel still worked
    /// for.
    [[nodiscard]] bool wasMisused() const { return m_wasMisused; }

    // What the functions of liburing are here.
    static PlayedKernel* current;
    int setUp(unsigned entries, io_uring& ring, unsigned flags);
    void tearDown();
    int submitAndWait(io_uring& ring, unsigned least);
    int wait(io_uring& ring);

private:
    [[nodiscard]] Call nextCall();
    unsigned take(io_uring& ring, unsigned most);
    int end(io_uring& ring, unsigned count);

    unsigned m_flags = 0;
    unsigned m_sqHead = 0, m_sqTail = 0, m_sqFlags = 0, m_cqHead = 0, m_cqTail = 0;
    std::vector<io_uring_sqe> m_entries;
    std::vector<std::uint64_t> m_completions;  ///< the ring's memory for them
    std::vector<Work> m_inFlight;
    std::size_t m_most = 0;
    bool m_wasMisused = false;
};

}  // namespace libDrive2
