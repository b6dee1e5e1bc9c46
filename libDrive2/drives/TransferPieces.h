#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "libDrive2/DriveTypes.h"
#include "libDrive2/drives/CommandPool.h"

namespace libDrive2 {

/// A part of a transfer that one command moves.
struct TransferPiece {
    std::uint64_t lba;
    std::uint32_t count;
    std::size_t offset;  ///< of its data in the buffer
};

/// How a transfer is cut into commands, and how many of them are under way at the same time.
struct TransferCut {
    std::uint32_t sectorBytes;
    std::uint32_t maxSectors;  ///< of one command
    unsigned inFlight = 1;
};

/// Cuts a transfer into commands, as many in a round as the cut says: calls `executeAll(pieces, answers)` for
/// the answers of a round, and `judge(piece, answer)` in ascending order. Ends after the first round with an
/// error, and gives that of the lowest LBA.
template <class Answer, class ExecuteAll, class Judge>
_LIBDRIVE2_ERROR_TYPES transferInRounds(std::uint64_t lba, std::uint32_t count, const TransferCut& cut,
                                        ExecuteAll executeAll, Judge judge) {
    const std::uint64_t end = lba + count;
    const auto pieceAt = [&](std::uint64_t at) {
        return TransferPiece{at,
                             static_cast<std::uint32_t>(std::min<std::uint64_t>(cut.maxSectors, end - at)),
                             static_cast<std::size_t>(at - lba) * cut.sectorBytes};
    };
    std::vector<TransferPiece> pieces;
    std::vector<Answer> answers;
    for (std::uint64_t at = lba; at < end;) {
        pieces.clear();
        for (unsigned i = 0; i < cut.inFlight && at < end; ++i, at += pieces.back().count)
            pieces.push_back(pieceAt(at));
        answers.resize(pieces.size());
        executeAll(pieces, answers);
        for (std::size_t i = 0; i < pieces.size(); ++i)
            if (const auto error = judge(pieces[i], answers[i]); error != LIBDRIVE2_NO_ERROR)
                return error;
    }
    return LIBDRIVE2_NO_ERROR;
}

/// Cuts a transfer into commands: calls `execute(piece)`, from several threads where the cut says so, for the
/// answer.
template <class Execute, class Judge>
_LIBDRIVE2_ERROR_TYPES transferInPieces(std::uint64_t lba, std::uint32_t count, const TransferCut& cut,
                                        CommandPool& pool, Execute execute, Judge judge) {
    using Answer = decltype(execute(TransferPiece{}));
    return transferInRounds<Answer>(
        lba, count, cut,
        [&](const std::vector<TransferPiece>& pieces, std::vector<Answer>& answers) {
            pool.run(pieces.size(), [&](std::size_t i) { answers[i] = execute(pieces[i]); });
        },
        judge);
}

/// Whole sectors in so many bytes, at least one and at most `limit`.
inline std::uint32_t wholeSectors(std::uint64_t bytes, std::uint32_t sectorBytes, std::uint32_t limit) {
    const std::uint64_t sectors = sectorBytes != 0 ? bytes / sectorBytes : 1;
    return static_cast<std::uint32_t>(std::clamp<std::uint64_t>(sectors, 1, std::max(1U, limit)));
}

/// What getOptimalRd() answers: what the commands in flight move together, within a test's limit.
inline std::uint16_t optimalSectors(const TransferCut& cut, std::uint16_t limit) {
    const std::uint64_t together = std::uint64_t{cut.maxSectors} * cut.inFlight;
    return static_cast<std::uint16_t>(
        std::clamp<std::uint64_t>(together, 1, std::max<std::uint16_t>(limit, 1)));
}

}  // namespace libDrive2
