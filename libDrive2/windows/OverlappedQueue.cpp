#include "libDrive2/windows/OverlappedQueue.h"

#include <algorithm>

#include "libDrive2/windows/FilePlace.h"
#include "zel/windows/SystemCalls.h"

namespace libDrive2 {

/// Part of a transfer. The system writes to `overlapped` until the piece has ended.
struct OverlappedQueue::Piece {
    OVERLAPPED overlapped{};
    HANDLE event = nullptr;
    DWORD asked = 0;
    DWORD startError = ERROR_SUCCESS;  ///< of a piece that never was in flight
};

/// The course of one transfer: pieces in a ring, the oldest waited for first. The order in which a device
/// ends them hardly matters, as the next piece starts when the oldest has ended.
class OverlappedQueue::Run {
public:
    Run(Piece* ring, const OverlappedTransfer& transfer) : m_ring(ring), m_transfer(transfer) {}

    TransferOutcome finish() {
        while (wantsMore() || m_ended < m_started) {
            while (wantsMore() && m_started - m_ended < kDepth)
                start(m_ring[m_started++ % kDepth]);
            end(m_ring[m_ended++ % kDepth]);
        }
        return m_outcome;
    }

private:
    [[nodiscard]] bool wantsMore() const { return m_outcome.ok() && m_next < m_transfer.bytes; }

    void start(Piece& piece) {
        std::uint8_t* const data = m_transfer.buffer + m_next;
        piece.asked = static_cast<DWORD>(std::min(kPieceBytes, m_transfer.bytes - m_next));
        piece.overlapped = placeAt(m_transfer.offset + m_next);
        m_next += piece.asked;
        piece.overlapped.hEvent = piece.event;
        zel::SystemCalls& calls = zel::SystemCalls::current();
        const BOOL done =
            m_transfer.writing
                ? calls.writeFile(m_transfer.file, data, piece.asked, nullptr, &piece.overlapped)
                : calls.readFile(m_transfer.file, data, piece.asked, nullptr, &piece.overlapped);
        // One that is done at once tells its outcome like one that is pending.
        const DWORD error = done != FALSE ? ERROR_SUCCESS : GetLastError();
        piece.startError = error == ERROR_IO_PENDING ? DWORD{ERROR_SUCCESS} : error;
    }

    void end(Piece& piece) {
        TransferOutcome outcome{piece.startError, piece.asked, 0};
        if (outcome.error == ERROR_SUCCESS) {
            DWORD moved = 0;
            if (zel::SystemCalls::current().getOverlappedResult(m_transfer.file, &piece.overlapped, &moved,
                                                                TRUE) == FALSE)
                outcome.error = std::max(GetLastError(), DWORD{1});
            outcome.moved = moved;
        }
        // Pieces end in the order of their offsets: the first failure is the lowest.
        if (m_outcome.ok() && !outcome.ok())
            m_outcome = outcome;
    }

    Piece* m_ring;
    const OverlappedTransfer& m_transfer;
    std::size_t m_next = 0;
    std::size_t m_started = 0, m_ended = 0;
    TransferOutcome m_outcome;
};

OverlappedQueue::OverlappedQueue(std::unique_ptr<Piece[]> pieces) : m_pieces(std::move(pieces)) {}

OverlappedQueue::~OverlappedQueue() {
    for (unsigned i = 0; i < kDepth; ++i)
        if (m_pieces[i].event != nullptr)
            CloseHandle(m_pieces[i].event);
}

std::unique_ptr<OverlappedQueue> OverlappedQueue::create() {
    std::unique_ptr<OverlappedQueue> queue(new OverlappedQueue(std::make_unique<Piece[]>(kDepth)));
    for (unsigned i = 0; i < kDepth; ++i) {
        queue->m_pieces[i].event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        if (queue->m_pieces[i].event == nullptr)
            return nullptr;
    }
    return queue;
}

TransferOutcome OverlappedQueue::run(const OverlappedTransfer& transfer) {
    return Run(m_pieces.get(), transfer).finish();
}

}  // namespace libDrive2
