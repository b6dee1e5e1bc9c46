#pragma once

#include <algorithm>
#include <atomic>
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

/// The piece of a transfer that begins at `at`.
inline TransferPiece pieceOf(std::uint64_t lba, std::uint32_t count, const TransferCut& cut,
                             std::uint64_t at) {
    return {at, static_cast<std::uint32_t>(std::min<std::uint64_t>(cut.maxSectors, lba + count - at)),
            static_cast<std::size_t>(at - lba) * cut.sectorBytes};
}

/// Cuts a transfer into commands, as many in a round as the cut says: calls `executeAll(pieces, answers)` for
/// the answers of a round, and `judge(piece, answer)` in ascending order. Ends after the first round with an
/// error, and gives that of the lowest LBA.
template <class Answer, class ExecuteAll, class Judge>
_LIBDRIVE2_ERROR_TYPES transferInRounds(std::uint64_t lba, std::uint32_t count, const TransferCut& cut,
                                        ExecuteAll executeAll, Judge judge) {
    const std::uint64_t end = lba + count;
    std::vector<TransferPiece> pieces;
    std::vector<Answer> answers;
    for (std::uint64_t at = lba; at < end;) {
        pieces.clear();
        for (unsigned i = 0; i < cut.inFlight && at < end; ++i, at += pieces.back().count)
            pieces.push_back(pieceOf(lba, count, cut, at));
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

/// As transferInPieces(), but each thread takes the next piece as soon as it is done with one: for short
/// commands. No further piece is begun once `isGood(answer)` is false of one.
template <class Execute, class IsGood, class Judge>
_LIBDRIVE2_ERROR_TYPES transferAsPulled(std::uint64_t lba, std::uint32_t count, const TransferCut& cut,
                                        CommandPool& pool, Execute execute, IsGood isGood, Judge judge) {
    using Answer = decltype(execute(TransferPiece{}));
    std::vector<TransferPiece> pieces;
    for (std::uint64_t at = lba; at < lba + count; at += pieces.back().count)
        pieces.push_back(pieceOf(lba, count, cut, at));
    std::vector<Answer> answers(pieces.size());
    for (std::size_t judged = 0; judged < pieces.size();) {
        std::atomic<std::size_t> next{judged};
        std::atomic<bool> isStopped{false};
        pool.run(std::min<std::size_t>(cut.inFlight, pieces.size() - judged), [&](std::size_t) {
            // What was taken is carried out: all in front of the last one that was taken have an answer.
            for (std::size_t piece = 0; !isStopped && (piece = next++) < pieces.size();) {
                answers[piece] = execute(pieces[piece]);
                if (!isGood(answers[piece]))
                    isStopped = true;
            }
        });
        for (const std::size_t end = std::min<std::size_t>(next, pieces.size()); judged < end; ++judged)
            if (const auto error = judge(pieces[judged], answers[judged]); error != LIBDRIVE2_NO_ERROR)
                return error;
    }
    return LIBDRIVE2_NO_ERROR;
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
