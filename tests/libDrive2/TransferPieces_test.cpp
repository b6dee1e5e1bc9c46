#include "libDrive2/drives/TransferPieces.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace libDrive2 {
namespace {

/// Carries out the pieces of transfers, of ten sectors each, in an order that differs from run to run.
class Pieces : public testing::Test {
protected:
    struct Answer {
        std::uint64_t lba = 0;  ///< of the piece that it is for; 0 where none was given
        bool isGood = false;
        _LIBDRIVE2_ERROR_TYPES error = LIBDRIVE2_NO_ERROR;
    };

    _LIBDRIVE2_ERROR_TYPES transfer(std::uint32_t sectors, unsigned inFlight) {
        judged.clear();
        begun.clear();
        m_running = m_most = 0;
        const auto execute = [this](const TransferPiece& piece) { return carryOut(piece); };
        const auto isGood = [](const Answer& answer) { return answer.isGood; };
        const auto judge = [this](const TransferPiece& piece, const Answer& answer) {
            EXPECT_EQ(answer.lba, piece.lba) << "judged by what nobody answered";
            EXPECT_EQ(m_running, 0) << "a command may still write to the buffer";
            judged.push_back(piece.lba);
            return answer.error;
        };
        const auto error =
            transferAsPulled(kFirst, sectors, {512, 10, inFlight}, m_pool, execute, isGood, judge);
        EXPECT_EQ(m_running, 0) << "a command may still write to the buffer";
        EXPECT_LE(m_most, static_cast<int>(inFlight));
        EXPECT_TRUE(std::ranges::is_sorted(judged));
        return error;
    }
    Answer carryOut(const TransferPiece& piece) {
        const std::lock_guard begin(m_mutex);
        m_most = std::max(m_most, ++m_running);
        EXPECT_TRUE(begun.insert(piece.lba).second) << "carried out twice: " << piece.lba;
        EXPECT_EQ(piece.offset, (piece.lba - kFirst) * 512);
        m_mutex.unlock();
        for (auto turns = (piece.lba * 7 + m_turn++) % 5; turns > 0; --turns)
            std::this_thread::yield();
        m_mutex.lock();
        --m_running;
        const bool isBad = bad.contains(piece.lba);
        return {piece.lba, !isBad && !doubtful.contains(piece.lba),
                isBad ? LIBDRIVE2_MEDIA_ERROR : LIBDRIVE2_NO_ERROR};
    }

    static constexpr std::uint64_t kFirst = 1000;
    std::set<std::uint64_t> bad,
        doubtful;  ///< pieces by their first sector; of doubtful ones no more is begun
    std::set<std::uint64_t> begun;
    std::vector<std::uint64_t> judged;

private:
    CommandPool m_pool;
    std::mutex m_mutex;
    int m_running = 0, m_most = 0;
    std::uint64_t m_turn = 0;
};

TEST_F(Pieces, AreAllMovedWhoeverIsDoneFirst) {
    for (const unsigned inFlight : {1U, 2U, 4U, 7U})
        for (const std::uint32_t sectors : {1U, 10U, 11U, 95U}) {
            EXPECT_EQ(transfer(sectors, inFlight), LIBDRIVE2_NO_ERROR);
            EXPECT_EQ(judged.size(), (sectors + 9) / 10);
            EXPECT_EQ(begun.size(), judged.size());
        }
}

TEST_F(Pieces, EndAtTheFirstThatFailsAndLeaveNoneUnderWay) {
    bad = {1050, 1060, 1130};
    for (int run = 0; run < 200; ++run) {
        EXPECT_EQ(transfer(200, 4), LIBDRIVE2_MEDIA_ERROR);
        EXPECT_EQ(judged, (std::vector<std::uint64_t>{1000, 1010, 1020, 1030, 1040, 1050}));
        EXPECT_TRUE(std::ranges::includes(begun, std::set(judged.begin(), judged.end())));
        EXPECT_LT(begun.size(), 20U) << "goes on behind the failure";
    }
}

TEST_F(Pieces, GoOnBehindADoubtThatTheJudgeDoesNotShare) {
    doubtful = {1000, 1030, 1040};
    for (int run = 0; run < 50; ++run) {
        EXPECT_EQ(transfer(95, 3), LIBDRIVE2_NO_ERROR);
        EXPECT_EQ(judged.size(), 10U);
    }
}

}  // namespace
}  // namespace libDrive2
