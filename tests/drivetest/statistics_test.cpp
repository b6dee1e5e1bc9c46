#include <gmock/gmock.h>

#include "drivetest/record/StatisticsJson.h"
#include "drivetest/statistics/DriveStatistics.h"

namespace drivetest {
namespace {

using namespace std::chrono_literals;
using libDrive2::LIBDRIVE2_BUSY;
using libDrive2::LIBDRIVE2_MEDIA_ERROR;
using libDrive2::LIBDRIVE2_NO_ACCESS;
using libDrive2::LIBDRIVE2_NO_ERROR;

struct Transfer {
    std::uint64_t lba;
    std::uint32_t count;
    libDrive2::_LIBDRIVE2_ERROR_TYPES outcome;
};

struct CoverageCase {
    const char* what;
    std::uint64_t planned;
    std::vector<Transfer> transfers;
    std::string expected;  ///< requested = tested + failed + skipped
};

std::string coverageOf(const CoverageCase& example) {
    CoverageCounter counter;
    counter.plan(example.planned);
    for (const Transfer& transfer : example.transfers)
        counter.add(transfer.lba, transfer.count, transfer.outcome);
    const Coverage coverage = counter.finish();
    return std::to_string(coverage.requested) + " = " + std::to_string(coverage.tested) + " + " +
           std::to_string(coverage.failed) + " + " + std::to_string(coverage.skipped);
}

TEST(CoverageCounter, CountsEverySectorOnceAndAddsUp) {
    constexpr auto ok = LIBDRIVE2_NO_ERROR;
    constexpr auto bad = LIBDRIVE2_MEDIA_ERROR;
    const CoverageCase cases[] = {
        {"all good", 12, {{0, 8, ok}, {8, 4, ok}}, "12 = 12 + 0 + 0"},
        {"narrowed", 4, {{0, 4, bad}, {0, 1, ok}, {1, 1, bad}, {2, 1, ok}, {3, 1, bad}}, "4 = 2 + 2 + 0"},
        {"not narrowed", 8, {{0, 4, bad}, {4, 4, ok}}, "8 = 4 + 4 + 0"},
        {"recovered while narrowing", 2, {{0, 2, bad}, {0, 1, ok}, {1, 1, ok}}, "2 = 2 + 0 + 0"},
        {"narrowing cut short", 4, {{0, 4, bad}, {0, 1, bad}}, "4 = 0 + 1 + 3"},
        {"failed sector, later good", 1, {{7, 1, bad}, {7, 1, ok}}, "1 = 0 + 1 + 0"},
        {"chunk written, then unreadable", 2, {{0, 2, ok}, {0, 2, bad}}, "2 = 0 + 2 + 0"},
        {"failed chunk, second pass good", 4, {{0, 4, bad}, {0, 4, ok}}, "4 = 0 + 4 + 0"},
        {"chunk worked on several times", 4, {{0, 4, ok}, {0, 4, ok}, {0, 4, ok}}, "4 = 4 + 0 + 0"},
        {"drive gone", 8, {{0, 4, ok}, {4, 4, LIBDRIVE2_NO_ACCESS}}, "8 = 4 + 0 + 4"},
        {"busy while narrowing", 2, {{0, 2, bad}, {0, 1, bad}, {1, 1, LIBDRIVE2_BUSY}}, "2 = 0 + 1 + 1"},
        {"gone while narrowing", 4, {{0, 4, bad}, {0, 1, LIBDRIVE2_NO_ACCESS}}, "4 = 0 + 0 + 4"},
        {"strided", 2, {{0, 1, ok}, {10, 1, ok}}, "2 = 2 + 0 + 0"},
        {"never planned", 0, {{0, 4, ok}}, "4 = 4 + 0 + 0"},
        {"never started", 9, {}, "9 = 0 + 0 + 9"},
        {"the last sectors there can be",
         2,
         {{~0ULL - 1, 2, bad}, {~0ULL - 1, 1, ok}, {~0ULL, 1, bad}},
         "2 = 1 + 1 + 0"},
    };
    for (const CoverageCase& example : cases)
        EXPECT_EQ(coverageOf(example), example.expected) << example.what;
}

TEST(CoverageCounter, CountsAnnouncedVisitsEachTime) {
    CoverageCounter counter;
    for (const std::uint64_t lba : {5, 5, 6}) {  // a seek test that comes back
        counter.visit(lba, 1);
        counter.add(lba, 1, LIBDRIVE2_NO_ERROR);
    }
    counter.visit(10, 8);  // a chunk in pieces, twice over; the second time a piece fails
    for (const auto outcome : {LIBDRIVE2_NO_ERROR, LIBDRIVE2_MEDIA_ERROR}) {
        counter.add(10, 4, LIBDRIVE2_NO_ERROR);
        counter.add(14, 4, outcome);
    }
    const Coverage coverage = counter.finish();
    EXPECT_EQ(coverage.tested, 7U);
    EXPECT_EQ(coverage.failed, 4U);
}

TEST(SurfaceMap, KeepsTheWorstOfACellAndFixedSize) {
    SurfaceMap small(10);
    small.addOutcome(0, 10, SectorOutcome::good);
    small.addOutcome(3, 1, SectorOutcome::failed);
    small.addOutcome(3, 1, SectorOutcome::good);
    EXPECT_EQ(small.sectorsPerCell(), 1U);
    EXPECT_EQ(small.cells()[3].outcome, SectorOutcome::failed);
    EXPECT_EQ(small.cells()[4].outcome, SectorOutcome::good);

    SurfaceMap huge(std::uint64_t{1} << 40);
    EXPECT_EQ(huge.cells().size(), 16384U);
    huge.addOutcome((std::uint64_t{1} << 40) - 1, 1, SectorOutcome::failed);
    EXPECT_EQ(huge.cells().back().outcome, SectorOutcome::failed);
    huge.addOutcome((std::uint64_t{1} << 40) - 1, 5, SectorOutcome::good);  // beyond the end: ignored there

    EXPECT_TRUE(SurfaceMap(0).cells().empty());
}

TEST(SurfaceMap, SharesATransferAmongItsCells) {
    SurfaceMap map(4);
    map.addTransfer(0, 2, 10us);
    map.addTransfer(0, 1, 30us);
    EXPECT_EQ(map.cells()[0].slowest, 30us);
    EXPECT_EQ(map.cells()[1].slowest, 10us);
    EXPECT_NEAR(map.cells()[0].seconds, 35e-6, 1e-9);
    EXPECT_EQ(surfaceJson(map, 512)["slowestUs"].dump(), "[[30.0,1],[10.0,1],[null,2]]");
    EXPECT_EQ(surfaceJson(map, 512)["outcomes"].dump(), "[[0,4]]");
}

TEST(LatencyHistogram, PercentilesAreWithinAnEighth) {
    LatencyHistogram histogram;
    EXPECT_EQ(histogram.percentile(0.5), 0ns);
    for (int i = 1; i <= 1000; ++i)
        histogram.add(std::chrono::microseconds(i));
    for (const double share : {0.01, 0.5, 0.9, 0.99}) {
        const double exact = share * 1e6;
        const auto found = static_cast<double>(histogram.percentile(share).count());
        EXPECT_GE(found, exact) << share;
        EXPECT_LE(found, exact * 1.126) << share;
    }
    EXPECT_EQ(histogram.percentile(1), 1000us);
    EXPECT_EQ(histogram.count(), 1000U);

    LatencyHistogram extremes;
    for (const auto duration : {0ns, 7ns, 8ns, std::chrono::nanoseconds::max()})
        extremes.add(duration);
    EXPECT_EQ(extremes.buckets().size(), 4U);
    EXPECT_EQ(extremes.longest(), std::chrono::nanoseconds::max());
}

TEST(DriveStatistics, RatesAndTotalsInSimulatedTime) {
    zel::SimulatedClock clock;
    zel::Clock* const before = zel::Clock::install(&clock);
    DriveStatistics statistics(4096, 512);
    statistics.onPlan(4096);
    const auto report = [&](std::uint64_t lba, std::uint32_t count,
                            libDrive2::_LIBDRIVE2_ERROR_TYPES outcome) {
        clock.advance(500ms);
        statistics.onOperation({libDrive2::DriveOperation::read, lba, count, 500ms, clock.now(), 1, outcome});
    };
    report(0, 2048, LIBDRIVE2_NO_ERROR);
    report(2048, 2048, LIBDRIVE2_NO_ERROR);
    statistics.finish();
    zel::Clock::install(before);

    const TransferTotals reads = statistics.totals(libDrive2::DriveOperation::read);
    EXPECT_EQ(reads.bytes, 2097152U);
    EXPECT_EQ(reads.elapsed, 1s);
    EXPECT_EQ(reads.megabytesPerSecond(), 2.0);
    EXPECT_EQ(statistics.totals(libDrive2::DriveOperation::write).megabytesPerSecond(), std::nullopt);
    EXPECT_EQ(coverageJson(statistics.coverage()).dump(),
              R"({"requested":4096,"tested":4096,"failed":0,"skipped":0})");
    EXPECT_EQ(latencyJson(statistics.latencies())["operations"].size(), 1U);
}

}  // namespace
}  // namespace drivetest
