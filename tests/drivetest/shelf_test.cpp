#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "drivetest/shelf/ChildReport.h"
#include "drivetest/shelf/RunOutcome.h"
#include "drivetest/shelf/ShelfDrive.h"

namespace drivetest {
namespace {

TEST(ChildReport, ComesBackFromItsText) {
    ChildReport report;
    report.stage = RunStage::resting;
    report.share = 0.25;
    report.bytes = ~std::uint64_t{0};
    report.visited = 8;
    report.rate = 150.5;
    report.secondsLeft = 0;
    report.sector = 0;
    report.temperatureC = -3;
    report.errors = 2;
    report.stake = AtStake::journaledSectors;
    report.journal = "/var/lib/\"x\"\n\xff";
    const std::string text = report.toText();
    ASSERT_EQ(text.find('\n'), text.size() - 1);
    const auto again = ChildReport::fromText(std::string_view(text).substr(0, text.size() - 1));
    ASSERT_TRUE(again);
    EXPECT_EQ(again->toText(), text);
    EXPECT_EQ(again->journal.substr(0, 13), "/var/lib/\"x\"\n");
    EXPECT_FALSE(again->meanRate);
}

TEST(ChildReport, LinesThatAreNoneAndFiguresThatCannotBe) {
    for (const char* const line :
         {"", "{", "7", "[]", "null", "{}", R"({"stage":7})", R"({"stage":"flying"})",
          R"({"stage":"testing","stake":3})", R"({"stage":"testing","stake":18446744073709551615})",
          "{\"stage\":\"testing\"} x"})
        EXPECT_FALSE(ChildReport::fromText(line)) << line;
    const auto odd = ChildReport::fromText(
        R"({"stage":"testing","share":1e300,"rate":-5,"left":"soon","bytes":-1,"errors":"9","journal":{},"temperature":1.5})");
    ASSERT_TRUE(odd);
    EXPECT_EQ(odd->share, 1);
    EXPECT_EQ(odd->rate, 0);
    EXPECT_FALSE(odd->secondsLeft || odd->temperatureC || odd->bytes || odd->errors);
}

TEST(ChildReport, WhatIsProgress) {
    ChildReport before;
    before.stage = RunStage::testing;
    before.bytes = 5;
    ChildReport now = before;
    now.rate = 3;
    now.secondsLeft = 99;
    EXPECT_FALSE(now.isBeyond(before));
    now.errors = 1;
    EXPECT_TRUE(now.isBeyond(before));
    now = before;
    now.stage = RunStage::resting;
    EXPECT_TRUE(now.isBeyond(before));
    EXPECT_FALSE(now.isBeyond(now));  // a rest has an end, too
}

TEST(WorstStatus, OfSeveral) {
    struct Row {
        std::vector<int> statuses;
        int worst;
    };
    for (const Row& row :
         {Row{{}, 0}, Row{{0, 3, 0}, 3}, Row{{3, 4}, 4}, Row{{4, 5, 6}, 6}, Row{{2, 6}, 2}, Row{{2, 7}, 7},
          Row{{7, 130}, 130}, Row{{130, 1, 0}, 1}, Row{{1, 8}, 8}, Row{{9, 8, 1}, 9}, Row{{0, 77}, 8}})
        EXPECT_EQ(worstStatus(row.statuses), row.worst) << row.worst;
}

/// A folder in which nothing can be made, so that each run fails before it has a process.
class NoRoom : public testing::Test {
protected:
    NoRoom() {
        std::string problem;
        m_path = testing::TempDir() + "drivetest-no-room";
        m_folder = ShelfFolder::make(m_path, "", problem);
        std::filesystem::remove_all(m_path);
        std::ofstream(m_path) << "in the way";
    }
    ~NoRoom() override { std::filesystem::remove(m_path); }

    std::string m_path;
    std::optional<ShelfFolder> m_folder;
};

TEST_F(NoRoom, WhatAFailureMeansForTheRestOfADrive) {
    ASSERT_TRUE(m_folder);
    for (const auto& [onFailure, waits] :
         {std::pair(OnFailure::goOn, true), std::pair(OnFailure::stopDrive, false),
          std::pair(OnFailure::stopAll, false)}) {
        DriveWork work{"sim:disk", "D1", std::vector<RunOptions>(3), onFailure};
        ShelfDrive drive(work);
        drive.startNext(*m_folder, {}, {}, true);
        EXPECT_FALSE(drive.isRunning());
        EXPECT_EQ(drive.isWaiting(), waits);
        ASSERT_EQ(drive.outcomes().size(), waits ? 1U : 3U);
        EXPECT_EQ(drive.outcomes().front().end, RunEnd::notStarted);
        EXPECT_NE(drive.outcomes().front().words, "");
        EXPECT_EQ(drive.worstStatus(), 8);
    }
}

TEST(ShelfDrive, ThatIsRefusedIsOverAtOnce) {
    DriveWork work{"sim:disk", "D1", std::vector<RunOptions>(2)};
    work.refusal = "it is in use";
    work.refusedAs = kExitBusy;
    const ShelfDrive drive(work);
    EXPECT_TRUE(drive.isOver());
    ASSERT_EQ(drive.outcomes().size(), 1U);
    EXPECT_EQ(drive.outcomes().front().words, "it is in use");
    EXPECT_EQ(drive.worstStatus(), 5);
}

}  // namespace
}  // namespace drivetest
