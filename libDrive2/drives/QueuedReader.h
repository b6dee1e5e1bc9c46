#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "libDrive2/AtaDevice.h"
#include "libDrive2/drives/TransferPieces.h"

namespace libDrive2 {

/// What became of a read.
struct QueuedAnswer {
    AtaResponse response;
    /// Why it had to be repeated alone, where that went well; empty else.
    zel::Wording trouble{};
};

/// Reads of an ATA drive by queued commands, of which the drive has several at the same time.
///
/// How it works: a queued command that fails ends those beside it, and the drive does not always tell which
/// one was to blame. Where it names a sector of the command, or nothing came from it at all, that is the
/// answer, as it is of other commands. Else the command is repeated alone by one that is not queued, and the
/// answer to that counts. Where it goes well, it is not known what queueing did to the others: there is no
/// more of it.
class QueuedReader {
public:
    /// From several threads at the same time. `data` has room for the piece.
    QueuedAnswer read(AtaDevice& device, const TransferPiece& piece, void* data, std::size_t bytes);
    /// Queued commands again, if they were given up.
    void restart() { m_isGivenUp = false; }

private:
    std::atomic<bool> m_isGivenUp{false};
};

}  // namespace libDrive2
