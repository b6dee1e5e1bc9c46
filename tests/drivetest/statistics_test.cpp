#include <gmock/gmock.h>

#include <random>
#include <set>
#include <sstream>

#include "drivetest/record/EventJoiner.h"
#include "drivetest/record/StatisticsJson.h"
#include "drivetest/report/BadList.h"
#include "drivetest/statistics/DriveStatistics.h"

namespace drivetest {
namespace {

using namespace std::chrono_literals;
using libDrive2::LIBDRIVE2_MEDIA_ERROR;
using libDrive2::LIBDRIVE2_NO_ACCESS;
using libDrive2::LIBDRIVE2_NO_ERROR;

using Coverages = Coverage::Unit;

/// Does what its words say: "r0+4" a good transfer, "r0+4!" a failed one, "r0+4?" one of a drive that is
/// gone; "v" announces a chunk, "x" condemns sectors, "s" skips them.
std::string coverageOf(std::uint64_t planned, Coverages unit, const std::string& course) {
    BadSectors bad;
    CoverageCounter counter;
    counter.plan(planned, unit);
    std::istringstream words(course);
    const zel::String none;
    for (std::string word; words >> word;) {
        const std::uint64_t lba = std::stoull(word.substr(1));
        const auto count = static_cast<std::uint32_t>(std::stoul(word.substr(word.find('+') + 1)));
        if (word[0] == 'v')
            counter.visit(lba, count);
        else if (word[0] == 's')
            counter.skip(lba, count);
        else if (word[0] == 'r')
            counter.add(lba, count,
                        word.back() == '!'   ? LIBDRIVE2_MEDIA_ERROR
                        : word.back() == '?' ? LIBDRIVE2_NO_ACCESS
                                             : LIBDRIVE2_NO_ERROR);
        else {
            counter.condemn(lba, count);
            bad.add({{lba, count}, libDrive2::SectorFault::unreadable, none});
        }
    }
    const Coverage coverage = counter.finish(bad);
    return std::to_string(coverage.requested) + " = " + std::to_string(coverage.tested) + " + " +
           std::to_string(coverage.failed) + " + " + std::to_string(coverage.skipped);
}

TEST(CoverageCounter, CountsEverySectorOnceAndAddsUp) {
    const struct {
        const char* what;
        std::uint64_t planned;
        const char* course;
        const char* expected;  ///< requested = tested + failed + skipped
    } cases[] = {
        {"all good", 12, "r0+8 r8+4", "12 = 12 + 0 + 0"},
        {"narrowed", 4, "r0+4! r0+1 r1+1! x1+1 r2+1 r3+1! x3+1", "4 = 2 + 2 + 0"},
        {"not narrowed", 8, "r0+4! x0+4 r4+4", "8 = 4 + 4 + 0"},
        {"recovered while narrowing", 2, "r0+2! r0+1 r1+1", "2 = 2 + 0 + 0"},
        {"narrowing cut short", 4, "r0+4! r0+1! x0+1", "4 = 0 + 1 + 3"},
        {"failed sector, later good", 1, "r7+1! x7+1 r7+1", "1 = 0 + 1 + 0"},
        {"chunk written, then unreadable", 2, "r0+2 r0+2! x0+2", "2 = 0 + 2 + 0"},
        {"failed chunk that nobody condemns", 4, "r0+4! r0+4", "4 = 0 + 0 + 4"},
        {"good transfers of wrong data", 4, "r0+4 r0+4 x2+1", "4 = 3 + 1 + 0"},
        {"chunk that could not be saved", 4, "r0+4! s0+4 r0+1 r1+1! x1+1 r2+1 r3+1", "4 = 0 + 1 + 3"},
        {"chunk left in the middle", 8, "r0+4 r4+4 s4+4 r4+4", "8 = 4 + 0 + 4"},
        {"drive gone", 8, "r0+4 r4+4?", "8 = 4 + 0 + 4"},
        {"gone while narrowing", 4, "r0+4! r0+1 r1+1?", "4 = 1 + 0 + 3"},
        {"a second pass over the same", 8, "v0+8 r0+4 r4+4 v2+4 r2+4", "8 = 8 + 0 + 0"},
        {"bad in the second pass only", 8, "r0+8 v2+4 r2+4! x3+2", "8 = 6 + 2 + 0"},
        {"the second pass goes further", 8, "v4+4 r4+4 v0+8 r0+4 r4+4", "8 = 8 + 0 + 0"},
        {"strided", 2, "r0+1 r10+1", "2 = 2 + 0 + 0"},
        {"never planned", 0, "r0+4", "4 = 4 + 0 + 0"},
        {"never started", 9, "", "9 = 0 + 0 + 9"},
        {"the last sectors there can be", 2,
         "r18446744073709551613+2! r18446744073709551613+1 r18446744073709551614+1! x18446744073709551614+1",
         "2 = 1 + 1 + 0"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(coverageOf(c.planned, Coverages::sectors, c.course), c.expected) << c.what;
    EXPECT_EQ(coverageOf(4, Coverages::positions, "v5+1 r5+1 v5+1 r5+1 v6+1 r6+1! x6+1 v6+1 r6+1! x6+1"),
              "4 = 2 + 2 + 0");
}

/// Which sectors are in it, as countWithin tells.
std::set<std::uint64_t> sectorsOf(SectorSet& set, std::uint64_t below) {
    std::set<std::uint64_t> sectors;
    for (std::uint64_t lba = 0; lba < below; ++lba)
        if (set.countWithin(lba, 1) == 1)
            sectors.insert(lba);
    return sectors;
}

TEST(SectorSet, CountsDifferentSectorsHoweverTheyCome) {
    std::mt19937_64 random(7);  // NOLINT(bugprone-random-generator-seed): the same course each time
    for (const bool isAskedOften : {true, false}) {
        for (int round = 0; round < 20; ++round) {
            // With few spans wanted they are merged every few additions, with room for 64 of them.
            SectorSet set(64);
            std::set<std::uint64_t> model;
            for (int i = 0; i < 300; ++i) {
                const std::uint64_t lba = random() % 200;
                const std::uint64_t count = random() % 4;
                set.add(lba, count);
                for (std::uint64_t at = lba; at < lba + count; ++at)
                    model.insert(at);
                if (isAskedOften) {
                    ASSERT_EQ(set.size(), model.size());
                }
            }
            EXPECT_EQ(set.size(), model.size());
            EXPECT_EQ(sectorsOf(set, 210), model);
            const auto within = std::distance(model.lower_bound(50), model.lower_bound(90));
            EXPECT_EQ(set.countWithin(50, 40), static_cast<std::uint64_t>(within));
        }
    }
}

TEST(SectorSet, CountsManyFarApart) {
    std::mt19937_64 random(3);  // NOLINT(bugprone-random-generator-seed): the same course each time
    SectorSet set(1U << 17);
    std::set<std::uint64_t> model;
    for (int i = 0; i < 100000; ++i) {
        const std::uint64_t lba = random() % (i % 2 == 0 ? 50000 : std::uint64_t{1} << 60);
        set.add(lba, 1);
        model.insert(lba);
    }
    EXPECT_EQ(set.size(), model.size());
}

TEST(SectorSet, NeverCountsTwiceWhenItIsFull) {
    SectorSet set(2);
    for (const std::uint64_t lba :
         {0, 10, 20, 30, 5, 31, 20, 40, 30})  // 5, and what is told again, are dropped
        set.add(lba, 1);
    EXPECT_EQ(set.size(), 6U);
    EXPECT_EQ(set.countWithin(0, 30), 3U);
}

TEST(BadSectors, KeepsEachOnceWithItsFirstCause) {
    BadSectors bad;
    const zel::String crc("crc");
    const zel::String none;
    bad.add({{10, 5}, libDrive2::SectorFault::unreadable, crc});
    bad.add({{8, 10}, libDrive2::SectorFault::wrongData, none});
    bad.add({{18, 1}, libDrive2::SectorFault::wrongData, none});
    bad.add({{77, 1}, libDrive2::SectorFault::unreadable, crc});
    EXPECT_EQ(bad.count(), 12U);
    EXPECT_THAT(bad.ranges(),
                testing::ElementsAre(libDrive2::SectorSpan{8, 11}, libDrive2::SectorSpan{77, 1}));
    EXPECT_EQ(badListText(bad, "T on D"),
              "# T on D\n# 12 bad sectors: first-last count fault\n8-9 2 wrongData\n10-14 5 unreadable\n"
              "15-18 4 wrongData\n77 1 unreadable\n");
    EXPECT_THAT(badRangeLines(bad), testing::ElementsAre("8-18, 11 sectors", "77"));
    EXPECT_EQ(Json(badSectorsJson(bad)).dump(),
              R"([{"fault":"unreadable","words":"crc","ranges":[[10,14],[77,77]]},)"
              R"({"fault":"wrongData","words":"","ranges":[[8,9],[15,18]]}])");
    for (std::uint64_t lba = 1000; lba < 1200; lba += 2)
        bad.add({{lba, 1}, libDrive2::SectorFault::unreadable, none});
    EXPECT_EQ(badRangeLines(bad).size(), 51U);
    EXPECT_EQ(badRangeLines(bad).front(), "8-18, 11 sectors");
    EXPECT_EQ(badRangeLines(bad).back(), "these are the largest of 102 ranges");
}

TEST(EventJoiner, JoinsEqualOnesAfterTheFirstThousand) {
    std::vector<Json> out;
    std::vector<std::string> names;
    EventJoiner joiner([&](const char* name, Json content) {
        names.emplace_back(name);
        out.push_back(std::move(content));
    });
    for (int i = 0; i < 3000; ++i)
        joiner.add({i % 2 == 0 ? "a" : "b", "ERR", "", "at " + std::to_string(i), {{"n", i}}});
    joiner.add({"c", "WARNING", "tired", "once", Json::object()});
    EXPECT_EQ(out.size(), 1000U);
    joiner.flush();
    ASSERT_EQ(out.size(), 1003U);
    EXPECT_EQ(names[1000], "events");
    EXPECT_EQ(out[1000].dump(), R"({"key":"a","type":"ERR","message":"at 1000","variables":{"n":1000},)"
                                R"("count":1000,"lastMessage":"at 2998","lastVariables":{"n":2998}})");
    EXPECT_EQ(names[1002] + out[1002].dump(),
              R"(event{"key":"c","type":"WARNING","message":"once","variables":{},"cause":"tired"})");
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

using Transfer = SlowTransfers::Transfer;

/// "7:200": sector and milliseconds
std::string keptOf(const SlowTransfers& slow, std::size_t most = SlowTransfers::kMost) {
    std::string text;
    for (const Transfer& each : slow.slowest(most))
        text +=
            (text.empty() ? "" : " ") + std::to_string(each.lba) + ":" + std::to_string(each.duration / 1ms);
    return text;
}

void add(SlowTransfers& slow, std::uint64_t lba, std::chrono::milliseconds duration) {
    slow.add({libDrive2::DriveOperation::read, lba, 1, duration, 1ms, 1, LIBDRIVE2_NO_ERROR});
}

TEST(SlowTransfers, KeepsAFewOfThemOrAllThatAreSlow) {
    SlowTransfers slow;
    for (const auto duration : {10ms, 20ms, 30ms, 40ms, 50ms, 60ms, 5ms, 200ms})
        add(slow, static_cast<std::uint64_t>(duration / 1ms), duration);
    EXPECT_EQ(keptOf(slow), "200:200 60:60 50:50 40:40 30:30");
    for (std::uint64_t lba = 0; lba < 6; ++lba)
        add(slow, lba, 600ms);
    add(slow, 9, 149ms);
    EXPECT_EQ(keptOf(slow), "0:600 1:600 2:600 3:600 4:600 5:600 200:200");
    EXPECT_EQ(keptOf(slow, 2), "0:600 1:600");
    EXPECT_EQ(std::make_pair(slow.slow(), slow.verySlow()),
              std::make_pair(std::uint64_t{7}, std::uint64_t{6}));
}

TEST(SlowTransfers, KeepsTheSlowestThousand) {
    SlowTransfers slow;
    for (std::uint64_t i = 0; i < 5000; ++i)
        add(slow, i, std::chrono::milliseconds(151 + i * 7919 % 5000));
    const auto kept = slow.slowest();
    EXPECT_EQ(slow.slow(), 5000U);
    ASSERT_EQ(kept.size(), 1000U);
    EXPECT_EQ(kept.front().duration, 5150ms);
    EXPECT_EQ(kept.back().duration, 4151ms);
}

/// "g": good, "X": bad.
std::string stripOf(const LiveCounts& live) {
    std::string strip;
    for (const LiveOutcome outcome : live.surface())
        strip += outcome == LiveOutcome::bad ? 'X' : outcome == LiveOutcome::good ? 'g' : '.';
    return strip;
}

TEST(LiveCounts, ShowAllThatAnOperationTouches) {
    LiveCounts live(1000);  // stretches of 8
    EXPECT_FALSE(live.position());
    live.operation(4, 16);
    live.condemn(15, 2);
    live.operation(16, 8);
    live.operation(992, 1000);  // beyond the drive, too
    EXPECT_EQ(stripOf(live), "gXX" + std::string(121, '.') + "g");
    EXPECT_EQ(*live.position(), 992U);
}

TEST(DriveStatistics, AChunkIsVisitedOnceHoweverManyOperationsItTakes) {
    DriveStatistics statistics(1000, 512);
    statistics.onPlan(1000);
    using enum libDrive2::DriveOperation;
    for (const std::uint64_t lba : {0U, 100U, 200U})
        for (const auto operation : {read, write, read, write})
            statistics.onOperation({operation, lba, 100, 1ms, 1ms, 1, LIBDRIVE2_NO_ERROR});
    EXPECT_EQ(statistics.live().visited(), 200U);  // the third is not over
    statistics.onOperation({read, 300, 100, 1ms, 1ms, 1, LIBDRIVE2_MEDIA_ERROR});
    statistics.onOperation({read, 400, 100, 1ms, 1ms, 1, LIBDRIVE2_NO_ERROR});
    EXPECT_EQ(statistics.live().visited(), 400U);  // nor is a failed one left for ever
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
              R"({"unit":"sectors","requested":4096,"tested":4096,"failed":0,"skipped":0})");
    EXPECT_EQ(slowTransfersJson(statistics.slowTransfers()).dump(),
              R"({"over150ms":2,"over500ms":0,"slowest":[)"
              R"({"operation":"read","sector":0,"lastSector":2047,"durationUs":500000.0},)"
              R"({"operation":"read","sector":2048,"lastSector":4095,"durationUs":500000.0}]})");
    EXPECT_EQ(latencyJson(statistics)["operations"].size(), 1U);
}

}  // namespace
}  // namespace drivetest
