#include "libDrive2/linux/IoRing.h"

#include <liburing.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <vector>

namespace libDrive2 {

namespace {

constexpr unsigned kDepth = 16;

/// Part of a transfer, from its first byte that is not yet done.
struct Piece {
    std::size_t start;
    std::size_t bytes;
};

}  // namespace

struct IoRing::State {
    io_uring ring{};
};

/// The course of one transfer.
class IoRing::Run {
public:
    Run(io_uring& ring, const RingTransfer& transfer) : m_ring(ring), m_transfer(transfer) {
        for (unsigned slot = 0; slot < kDepth; ++slot)
            m_free.push_back(slot);
    }

    int finish() {
        while (wantsMore() || m_inFlight > 0) {
            while (wantsMore() && !m_free.empty())
                prepareNext();
            const int submitted = io_uring_submit_and_wait(&m_ring, 1);
            reap();
            if (submitted < 0 && !isPassing(-submitted))
                return abandon();
        }
        return m_error;
    }

private:
    [[nodiscard]] bool wantsMore() const { return m_error == 0 && m_next < m_transfer.bytes; }

    /// Pieces that the kernel works on; the others only wait in the ring.
    [[nodiscard]] unsigned submittedPieces() const { return m_inFlight - io_uring_sq_ready(&m_ring); }

    /// Whether a failed submission may succeed at the next try.
    [[nodiscard]] bool isPassing(int error) const {
        return error == EINTR || ((error == EAGAIN || error == EBUSY) && submittedPieces() > 0);
    }

    /// Waits for what the kernel still works on: until then it may write to the caller's buffer.
    int abandon() {
        m_error = kRefused;
        while (submittedPieces() > 0) {
            io_uring_cqe* completion = nullptr;
            (void)io_uring_wait_cqe(&m_ring, &completion);
            reap();
        }
        return kRefused;
    }

    void prepareNext() {
        const unsigned slot = m_free.back();
        m_free.pop_back();
        m_pieces[slot] = {m_next, std::min(kPieceBytes, m_transfer.bytes - m_next)};
        m_next += m_pieces[slot].bytes;
        prepare(slot);
    }

    void prepare(unsigned slot) {
        const Piece& piece = m_pieces[slot];
        // The ring has as many entries as there are slots: one is always free.
        io_uring_sqe* const entry = io_uring_get_sqe(&m_ring);
        const auto length = static_cast<unsigned>(piece.bytes);
        if (m_transfer.writing)
            io_uring_prep_write(entry, m_transfer.fd, m_transfer.buffer + piece.start, length,
                                m_transfer.offset + piece.start);
        else
            io_uring_prep_read(entry, m_transfer.fd, m_transfer.buffer + piece.start, length,
                               m_transfer.offset + piece.start);
        io_uring_sqe_set_data64(entry, slot);
        ++m_inFlight;
    }

    void reap() {
        for (io_uring_cqe* completion = nullptr; io_uring_peek_cqe(&m_ring, &completion) == 0;) {
            const auto slot = static_cast<unsigned>(io_uring_cqe_get_data64(completion));
            const int result = completion->res;
            io_uring_cqe_seen(&m_ring, completion);
            --m_inFlight;
            complete(slot, result);
        }
    }

    void complete(unsigned slot, int result) {
        Piece& piece = m_pieces[slot];
        if (result > 0) {
            piece.start += static_cast<std::size_t>(result);
            piece.bytes -= std::min(piece.bytes, static_cast<std::size_t>(result));
        } else if (result == 0) {
            noteError(piece.start, kEndOfDevice);
        } else if (result != -EINTR && result != -EAGAIN) {
            noteError(piece.start, -result);
        }
        if (piece.bytes > 0 && m_error == 0)
            prepare(slot);
        else
            m_free.push_back(slot);
    }

    void noteError(std::size_t start, int error) {
        if (m_error == 0 || start < m_errorStart) {
            m_error = error;
            m_errorStart = start;
        }
    }

    io_uring& m_ring;
    const RingTransfer& m_transfer;
    std::array<Piece, kDepth> m_pieces{};
    std::vector<unsigned> m_free;
    std::size_t m_next = 0;
    unsigned m_inFlight = 0;
    int m_error = 0;
    std::size_t m_errorStart = 0;
};

IoRing::IoRing(std::unique_ptr<State> state) : m_state(std::move(state)) {}

IoRing::~IoRing() {
    io_uring_queue_exit(&m_state->ring);
}

std::unique_ptr<IoRing> IoRing::create() {
    auto state = std::make_unique<State>();
    if (io_uring_queue_init(kDepth, &state->ring, 0) != 0)
        return nullptr;
    return std::unique_ptr<IoRing>(new IoRing(std::move(state)));
}

int IoRing::run(const RingTransfer& transfer) {
    return Run(m_state->ring, transfer).finish();
}

}  // namespace libDrive2
