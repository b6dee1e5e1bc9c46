#include "GentleOrder.h"

#include <algorithm>
#include <chrono>
#include <numeric>

namespace libDriveTest {

namespace {

/// A jump passes over this part of everything at least, and at most.
constexpr std::uint64_t kNearestPart = 100000;
constexpr std::uint64_t kFarthestPart = 64;
/// Slow is what takes so many times as long as usual, and longer than a drive needs without trying again.
constexpr int kSlowTimes = 8;
constexpr std::chrono::milliseconds kSlowAtLeast{150};
/// How much a new time weighs in the usual one: a part of so many.
constexpr int kUsualParts = 16;

std::uint64_t sectorsOf(const std::vector<libDrive2::SectorSpan>& ranges) {
    return std::accumulate(
        ranges.begin(), ranges.end(), std::uint64_t{0},
        [](std::uint64_t sum, const libDrive2::SectorSpan& range) { return sum + range.count; });
}

}  // namespace

GentleOrder::GentleOrder(const std::vector<libDrive2::SectorSpan>& ranges, std::uint32_t chunkSectors)
    : m_chunk(chunkSectors),
      m_nearest(std::max<std::uint64_t>(sectorsOf(ranges) / kNearestPart, chunkSectors)),
      m_farthest(std::max<std::uint64_t>(sectorsOf(ranges) / kFarthestPart, chunkSectors)),
      m_jump(m_nearest) {
    for (const libDrive2::SectorSpan& range : ranges)
        m_pieces.push_back({range.lba, range.lba + range.count, Direction::forward});
    std::ranges::reverse(m_pieces);
}

std::optional<Reading> GentleOrder::next() {
    while (m_round != Round::singly) {
        if (m_piece.size() == 0 && !takePiece()) {
            beginRound();
            continue;
        }
        const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(m_chunk, m_piece.size()));
        std::uint64_t lba = m_piece.first;
        if (m_piece.direction == Direction::backward)
            lba = m_piece.end - count;
        else if (m_piece.direction == Direction::middle)
            lba = m_piece.first + (m_piece.size() - count) / 2;
        m_reading = Reading{lba, count};
        return m_reading;
    }
    if (m_bad.empty())
        return std::nullopt;
    m_reading = m_bad.back();
    m_bad.pop_back();
    return m_reading;
}

bool GentleOrder::takePiece() {
    if (m_pieces.empty())
        return false;
    if (m_round == Round::middle)
        std::ranges::pop_heap(m_pieces, {}, &Piece::size);
    m_piece = m_pieces.back();
    m_pieces.pop_back();
    return true;
}

void GentleOrder::beginRound() {
    m_pieces = std::move(m_later);
    m_later.clear();
    switch (m_round) {
        case Round::onward:  // the last piece comes first
            m_round = Round::backward;
            break;
        case Round::backward:
            m_round = Round::middle;
            std::ranges::make_heap(m_pieces, {}, &Piece::size);
            break;
        default:
            m_round = Round::singly;
            std::ranges::sort(m_bad, std::ranges::greater(), &Reading::lba);
    }
}

bool GentleOrder::isSlow(zel::Clock::Duration took) {
    if (m_usual.count() == 0)
        m_usual = took;
    if (took > kSlowAtLeast && took > kSlowTimes * m_usual)
        return true;
    m_usual += (took - m_usual) / kUsualParts;
    return false;
}

void GentleOrder::note(const Finding& finding) {
    const Reading read = m_reading;
    if (read.singly)
        return;
    if (!finding.isGood)
        m_bad.push_back({read.lba, read.count, true});
    const bool isWell = finding.isGood && !isSlow(finding.took);
    if (m_round == Round::onward)
        goOnward(read, isWell);
    else if (m_round == Round::backward)
        goBackward(read, isWell);
    else
        goThroughTheMiddle(read, isWell);
}

void GentleOrder::goOnward(const Reading& read, bool isWell) {
    m_piece.first = read.end();
    if (isWell) {
        m_jump = std::max(m_jump / 2, m_nearest);
        return;
    }
    const std::uint64_t landing = m_piece.first + std::min(m_jump, m_piece.size());
    if (landing != m_piece.first)
        m_later.push_back({m_piece.first, landing, Direction::backward});
    m_piece.first = landing;
    m_jump = std::min(m_jump * 2, m_farthest);
}

void GentleOrder::goBackward(const Reading& read, bool isWell) {
    m_piece.end = read.lba;
    if (isWell || m_piece.size() == 0)
        return;
    m_later.push_back({m_piece.first, m_piece.end, Direction::middle});
    m_piece.first = m_piece.end;
}

void GentleOrder::goThroughTheMiddle(const Reading& read, bool isWell) {
    const Piece piece = m_piece;
    m_piece.first = m_piece.end;
    if (isWell && piece.direction == Direction::forward) {
        m_piece.first = read.end();
    } else if (isWell && piece.direction == Direction::backward) {
        m_piece = {piece.first, read.lba, piece.direction};
    } else {
        push({piece.first, read.lba, isWell ? Direction::backward : Direction::middle});
        push({read.end(), piece.end, isWell ? Direction::forward : Direction::middle});
    }
}

void GentleOrder::push(const Piece& piece) {
    if (piece.size() == 0)
        return;
    m_pieces.push_back(piece);
    std::ranges::push_heap(m_pieces, {}, &Piece::size);
}

}  // namespace libDriveTest
