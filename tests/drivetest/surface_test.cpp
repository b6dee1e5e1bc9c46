#include <gtest/gtest.h>

#include <algorithm>

#include "WrittenSurface.h"
#include "drivetest/record/RunLengths.h"
#include "drivetest/statistics/DriveStatistics.h"

namespace drivetest {
namespace {

using namespace std::chrono_literals;
using libDrive2::DriveOperation;
using libDrive2::LIBDRIVE2_MEDIA_ERROR;
using libDrive2::LIBDRIVE2_NO_ERROR;

TEST(DriveGrid, HasAsManyPartsAsMayBe) {
    const struct {
        std::uint64_t sectors;
        std::size_t mostParts;
        std::size_t size;
        std::uint64_t sectorsPerPart;
    } cases[] = {{0, 8, 0, 1},
                 {1, 8, 1, 1},
                 {8, 8, 8, 1},
                 {9, 8, 5, 2},
                 {16, 8, 8, 2},
                 {17, 8, 5, 4},
                 {~std::uint64_t{0}, 1U << 20, 1U << 20, std::uint64_t{1} << 44}};
    for (const auto& c : cases) {
        const DriveGrid grid(c.sectors, c.mostParts);
        EXPECT_EQ(grid.size(), c.size) << c.sectors;
        EXPECT_EQ(grid.sectorsPerPart(), c.sectorsPerPart) << c.sectors;
    }
}

TEST(SurfaceMap, KeepsTheWorstOfACell) {
    SurfaceMap map(6);
    map.addOutcome(0, 6, SectorOutcome::good);
    map.addOutcome(1, 3, SectorOutcome::recovered);
    map.addOutcome(3, 1, SectorOutcome::failed);
    map.addOutcome(3, 2, SectorOutcome::good);
    map.addTransfer(0, 2, 10us);
    map.addTransfer(0, 1, 30us);
    map.addTransfer(2, 1, 20us);
    map.addTransfer(2, 0, 70us);
    EXPECT_EQ(writtenSurface(map).dump(),
              R"({"sectorsPerCell":1,"cells":6,"outcomes":[[1,1],[3,2],[2,1],[1,2]],)"
              R"("slowestUs":[[33,1],[11,1],[21,1],[null,3]],)"
              R"("cellsPerValue":{"outcomes":1,"slowestUs":1}})");
}

TEST(SurfaceMap, RaisesExactlyTheCellsOfATransfer) {
    for (std::uint64_t first = 0; first < 70; ++first)
        for (std::uint32_t count = 1; first + count <= 140; ++count) {
            SurfaceMap map(140);
            map.addOutcome(first, count, SectorOutcome::good);
            std::vector<SectorOutcome> expected(140);
            std::fill_n(expected.begin() + static_cast<std::ptrdiff_t>(first), count, SectorOutcome::good);
            ASSERT_EQ(map.outcomes(), expected) << first << "+" << count;
        }
}

TEST(SurfaceMap, TellsDurationsWithinAQuarter) {
    for (std::chrono::nanoseconds duration = 1ns; duration < 1h; duration += duration / 3 + 1ns) {
        SurfaceMap map(1);
        map.addTransfer(0, 1, duration);
        const auto told = SurfaceMap::upTo(map.slowest()[0]);
        EXPECT_GT(told, duration);
        EXPECT_LE(told, duration + duration / 4 + 1ns);
    }
    SurfaceMap longest(1);
    longest.addTransfer(0, 1, std::chrono::nanoseconds::max());
    EXPECT_EQ(SurfaceMap::upTo(longest.slowest()[0]), std::chrono::nanoseconds::max());
}

TEST(SurfaceMap, IsOfFixedSizeAndTakesWhatLiesOutside) {
    const std::uint64_t sectors = (std::uint64_t{1} << 40) - 5;
    SurfaceMap huge(sectors);
    EXPECT_EQ(huge.outcomes().size(), SurfaceMap::kMostCells);
    huge.addOutcome(sectors - 1, 1, SectorOutcome::failed);
    huge.addOutcome(sectors - 1, 1U << 30, SectorOutcome::good);
    huge.addTransfer(sectors * 2, 8, 1s);
    EXPECT_EQ(writtenSurface(huge)["outcomes"].dump(), "[[0,1048575],[2,1]]");
    EXPECT_EQ(writtenSurface(huge)["slowestUs"].dump(), "[[null,1048576]]");
    EXPECT_EQ(writtenSurface(SurfaceMap(0))["outcomes"].dump(), "[]");
}

TEST(RunLengths, StayBelowTheirBoundAndKeepTheWorst) {
    const struct {
        std::vector<int> cells;
        std::size_t cellsPerValue;
        std::vector<std::pair<int, std::uint64_t>> runs;
    } cases[] = {
        {{}, 1, {}},
        {{1, 1, 1, 2, 2, 3}, 1, {{1, 3}, {2, 2}, {3, 1}}},
        {{1, 2, 1, 1, 1}, 1, {{1, 1}, {2, 1}, {1, 3}}},
        {{1, 2, 1, 2, 5}, 2, {{2, 4}, {5, 1}}},
        {{1, 1, 9, 1, 2, 1, 3, 1, 1}, 4, {{9, 4}, {3, 4}, {1, 1}}},
    };
    for (const auto& c : cases) {
        const auto list = runLengths(c.cells, 3);
        EXPECT_EQ(list.runs, c.runs);
        EXPECT_EQ(list.cellsPerValue, c.cellsPerValue);
    }
}

TEST(SurfaceMap, OfTheWorstDriveTakesAMegabyteOrTwo) {
    SurfaceMap map(SurfaceMap::kMostCells);
    for (std::uint64_t lba = 0; lba < SurfaceMap::kMostCells; ++lba) {
        map.addTransfer(lba, 1, std::chrono::microseconds(1000 + lba * 7919 % 1000000));
        map.addOutcome(lba, 1, lba % 2 == 0 ? SectorOutcome::good : SectorOutcome::failed);
    }
    const Json json = writtenSurface(map);
    EXPECT_LE(json["slowestUs"].size(), kMostRuns);
    EXPECT_LT(json.dump().size(), 2U << 20);
}

TEST(RateProfile, SharesATransferAmongItsRegions) {
    constexpr auto kRead = &RateProfile::Region::read;
    RateProfile rates(4096);
    ASSERT_EQ(rates.sectorsPerRegion(), 4U);
    rates.add(kRead, 0, 4, 40us);
    rates.add(kRead, 2, 8, 801us);
    rates.add(kRead, 4094, 10, 10us);
    rates.add(kRead, 9999, 1, 10us);
    rates.add(&RateProfile::Region::written, 4095, 1, 5us);
    const auto& regions = rates.regions();
    const auto told = [](const RateProfile::Moved& moved) {
        return std::to_string(moved.sectors) + " in " + std::to_string(moved.elapsed.count());
    };
    EXPECT_EQ(told(regions[0].read), "6 in 240250");
    EXPECT_EQ(told(regions[1].read), "4 in 400500");
    EXPECT_EQ(told(regions[2].read), "2 in 200250");
    EXPECT_EQ(told(regions[1023].read), "2 in 2000");
    EXPECT_EQ(told(regions[1023].written), "1 in 5000");
}

/// A report of a timed operation; "!" failed, "2" needed two attempts, "c" the drive corrected.
libDrive2::DriveOperationReport report(DriveOperation operation, std::uint64_t lba, std::uint32_t count,
                                       char how) {
    return {operation,
            lba,
            count,
            2ms,
            1ms,
            how == '2' ? 2U : 1U,
            how == '!' ? LIBDRIVE2_MEDIA_ERROR : LIBDRIVE2_NO_ERROR,
            false,
            how == 'c'};
}

TEST(DriveStatistics, TellsWhatNeededAFurtherTry) {
    DriveStatistics statistics(24, 512);
    const zel::String none;
    const auto read = [&](std::uint64_t lba, std::uint32_t count, char how) {
        statistics.onOperation(report(DriveOperation::read, lba, count, how));
    };
    read(0, 4, ' ');
    read(4, 4, '2');
    read(8, 4, 'c');
    read(12, 2, '!');  // and nothing is wrong with its sectors: nobody knows which one it was
    read(12, 1, ' ');
    read(13, 1, ' ');
    read(14, 2, '!');  // its second one is to blame
    read(14, 1, ' ');
    read(15, 1, '!');
    statistics.onCondemned({{15, 1}, libDrive2::SectorFault::unreadable, none});
    read(16, 1, '!');  // tried again by the test
    read(16, 1, ' ');
    statistics.onOperation(report(DriveOperation::write, 20, 2, ' '));
    statistics.finish();
    EXPECT_EQ(writtenSurface(statistics.surface())["outcomes"].dump(),
              "[[1,4],[3,10],[1,1],[2,1],[3,1],[0,3],[1,2],[0,2]]");
    EXPECT_EQ(transfersJson(statistics)["operations"].dump(),
              R"([{"operation":"read","firstTry":5,"recovered":2,"failed":4},)"
              R"({"operation":"write","firstTry":1,"recovered":0,"failed":0}])");
    const Json regions = regionsJson(statistics.rates(), 512);
    EXPECT_EQ(regions["read"]["bytes"][4].dump() + regions["read"]["us"][4].dump(), "512500");
    EXPECT_EQ(regions["read"]["us"][15], 0) << "no rate of what failed";
    EXPECT_EQ(regions["written"]["bytes"].size(), 24U);
}

}  // namespace
}  // namespace drivetest
