#pragma once

#include <cstdint>
#include <vector>

#include "ReadingOrder.h"
#include "libDrive2/DriveTypes.h"

namespace libDriveTest {

/// Reads as much as possible of a drive that may be dying, before it reads what hurts it. Four rounds:
/// 1. Onward. Behind a bad or slow chunk it jumps, twice as far each time, and half as far after each good
/// one.
/// 2. What was jumped over, each piece from its end backwards to the first bad chunk.
/// 3. What is left lies between bad chunks: the largest piece first, from its middle to both sides.
/// 4. The bad chunks, sector by sector.
class GentleOrder : public ReadingOrder {
public:
    /// `ranges` rise and do not overlap; `chunkSectors` are read at once.
    GentleOrder(const std::vector<libDrive2::SectorSpan>& ranges, std::uint32_t chunkSectors);

    std::optional<Reading> next() override;
    void note(const Finding& finding) override;

private:
    enum class Direction : std::uint8_t { forward, backward, middle };
    struct Piece {
        std::uint64_t first;
        std::uint64_t end;
        Direction direction;

        [[nodiscard]] std::uint64_t size() const { return end - first; }
    };
    enum class Round : std::uint8_t { onward, backward, middle, singly };

    bool takePiece();
    void beginRound();
    void goOnward(const Reading& read, bool isWell);
    void goBackward(const Reading& read, bool isWell);
    void goThroughTheMiddle(const Reading& read, bool isWell);
    void push(const Piece& piece);
    [[nodiscard]] bool isSlow(zel::Clock::Duration took);

    std::uint32_t m_chunk;
    std::uint64_t m_nearest;  ///< jumps
    std::uint64_t m_farthest;
    std::uint64_t m_jump;
    Round m_round = Round::onward;
    std::vector<Piece> m_pieces;  ///< of this round; the next one last
    std::vector<Piece> m_later;   ///< of the next round, rising
    std::vector<Reading> m_bad;   ///< chunks that failed
    Piece m_piece{0, 0, Direction::forward};
    Reading m_reading{0, 0};          ///< the one that was given last
    zel::Clock::Duration m_usual{0};  ///< what a good chunk takes
};

}  // namespace libDriveTest
