#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace libDrive2 {

/// One contiguous transfer between a file and memory.
struct RingTransfer {
    int fd;
    bool writing;
    std::uint64_t offset;
    std::uint8_t* buffer;
    std::size_t bytes;
};

/// Cuts a transfer into pieces and keeps many of them in flight (io_uring). One thread at a time.
class IoRing {
public:
    /// Null where the kernel refuses io_uring.
    static std::unique_ptr<IoRing> create();
    ~IoRing();
    IoRing(const IoRing&) = delete;
    IoRing& operator=(const IoRing&) = delete;

    /// What run() gives when the device ended before the transfer did.
    static constexpr int kEndOfDevice = -1;
    /// What run() gives when the kernel takes no more pieces: the ring is of no use any more.
    static constexpr int kRefused = -2;
    /// Blocks until nothing of the transfer is in flight any more. 0, kEndOfDevice, kRefused, or the errno of
    /// the failed piece with the lowest offset.
    int run(const RingTransfer& transfer);

    /// Transfers up to this size are one piece: plain positioned I/O does the same with less.
    static constexpr std::size_t kPieceBytes = std::size_t{512} * 1024;

private:
    struct State;
    class Run;
    explicit IoRing(std::unique_ptr<State> state);

    std::unique_ptr<State> m_state;
};

}  // namespace libDrive2
