#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "zel/windows/Windows.h"

namespace libDrive2 {

/// One contiguous transfer between a file that was opened with FILE_FLAG_OVERLAPPED and memory.
struct OverlappedTransfer {
    HANDLE file;
    bool writing;
    std::uint64_t offset;
    std::uint8_t* buffer;
    std::size_t bytes;
};

/// How a transfer ended: the error of its failed piece with the lowest offset, and what that piece moved.
struct TransferOutcome {
    DWORD error = ERROR_SUCCESS;
    std::size_t asked = 0;
    std::size_t moved = 0;  ///< less than was asked for without an error: the device ended

    [[nodiscard]] bool ok() const { return error == ERROR_SUCCESS && moved == asked; }
};

/// Cuts a transfer into pieces and keeps many of them in flight. One thread at a time.
class OverlappedQueue {
public:
    /// Null, with the system's error set, when there are no events to wait with.
    static std::unique_ptr<OverlappedQueue> create();
    ~OverlappedQueue();
    OverlappedQueue(const OverlappedQueue&) = delete;
    OverlappedQueue& operator=(const OverlappedQueue&) = delete;

    /// Blocks until nothing of the transfer is in flight any more.
    TransferOutcome run(const OverlappedTransfer& transfer);

    static constexpr std::size_t kPieceBytes = std::size_t{512} * 1024;
    static constexpr unsigned kDepth = 16;

private:
    struct Piece;
    class Run;
    explicit OverlappedQueue(std::unique_ptr<Piece[]> pieces);

    std::unique_ptr<Piece[]> m_pieces;
};

}  // namespace libDrive2
