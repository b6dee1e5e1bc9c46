#include <gmock/gmock.h>

#include <fstream>
#include <memory>
#include <random>

#include "RecordText.h"
#include "drivetest/record/RecordWriter.h"
#include "drivetest/record/RecordedExtensions.h"
#include "drivetest/record/StatisticsJson.h"
#include "drivetest/record/StatisticsStateJson.h"
#include "drivetest/resume/ProvenLines.h"
#include "drivetest/statistics/DriveStatistics.h"

namespace drivetest {
namespace {

using namespace std::chrono_literals;
using libDrive2::DriveOperation;
using libDrive2::LIBDRIVE2_MEDIA_ERROR;
using libDrive2::LIBDRIVE2_NO_ERROR;

constexpr std::uint64_t kSectors = 1'200'000;  // several to a cell
constexpr std::uint32_t kChunk = 100;

/// A chunk's transfers as a seed has them: good, slow, recovered, or with bad sectors that are narrowed.
void testChunk(DriveStatistics& statistics, std::uint64_t lba, std::uint64_t seed) {
    std::mt19937_64 random(seed);
    const auto transfer = [&](std::uint64_t first, std::uint32_t count, bool isGood, std::uint32_t attempts) {
        // Many are equally slow: which of them are kept depends on their order.
        const auto duration = random() % 40 == 0 ? 200ms : std::chrono::milliseconds(1 + random() % 3);
        statistics.onOperation({random() % 7 == 0 ? DriveOperation::write : DriveOperation::read, first,
                                count, duration, duration + 1s, attempts,
                                isGood ? LIBDRIVE2_NO_ERROR : LIBDRIVE2_MEDIA_ERROR});
    };
    const bool isBad = random() % 20 == 0;
    transfer(lba, kChunk, !isBad, random() % 30 == 0 ? 2 : 1);
    for (std::uint32_t i = 0; isBad && i < kChunk; ++i) {
        const bool isGood = random() % 10 != 0;
        transfer(lba + i, 1, isGood, 1);
        const zel::String words(random() % 3 == 0 ? "sense" : "");
        if (!isGood)
            statistics.onCondemned({{lba + i, 1}, libDrive2::SectorFault::unreadable, words});
    }
    if (random() % 50 == 0)
        statistics.onSkipped(lba, kChunk);
}

std::string accountOf(DriveStatistics& statistics) {
    statistics.finish();
    const SurfaceJson surface = surfaceJson(statistics.surface());
    Json all{surface.content,
             surface.lists,
             regionsJson(statistics.rates(), 512),
             badSectorsJson(statistics.badSectors()),
             slowTransfersJson(statistics.slowTransfers()),
             transfersJson(statistics),
             latencyJson(statistics),
             coverageJson(statistics.coverage())};
    for (const auto direction : {DriveOperation::read, DriveOperation::write})
        all.push_back({statistics.totals(direction).bytes, statistics.totals(direction).elapsed.count()});
    for (const libDrive2::SectorSpan& span : statistics.goodSectors())
        all.push_back({span.lba, span.count});
    all.push_back(
        {statistics.slowTransfers().beyondLimit(), statistics.live().visited(), statistics.live().bytes()});
    return all.dump();
}

/// Of a run over every `step`th chunk that is cut after so many chunks again and again; 0 for never.
std::string accountOfRun(std::uint64_t step, std::uint64_t chunksOfPart, bool isBackwards) {
    const std::uint64_t chunks = kSectors / kChunk / step;
    std::vector<std::string> saved;
    std::unique_ptr<DriveStatistics> statistics;
    const auto begin = [&] {
        statistics = std::make_unique<DriveStatistics>(kSectors, 512);
        statistics->setSlowLimit(150ms);
        for (const std::string& text : saved)
            EXPECT_TRUE(statistics->restore(readState(Json::parse(text))));
        statistics->onPlan(chunks * kChunk);
        statistics->keepChanges([](std::uint64_t, std::uint32_t) {});
    };
    begin();
    for (std::uint64_t i = 0; i < chunks; ++i) {
        testChunk(*statistics, (isBackwards ? chunks - 1 - i : i) * kChunk * step, i);
        if (chunksOfPart == 0 || i % chunksOfPart != chunksOfPart - 1)
            continue;
        saved.push_back(stateJson(statistics->takeState()).dump());
        if (saved.size() % 16 == 0) {
            testChunk(*statistics, 0, 77);  // what came after that is lost
            begin();
        }
    }
    return accountOf(*statistics);
}

TEST(DriveStatistics, AreTheSameWhereverARunWasCut) {
    for (const std::uint64_t step : {1, 3})
        for (const bool isBackwards : {false, true}) {
            const std::string whole = accountOfRun(step, 0, isBackwards);
            for (const std::uint64_t chunks : {400, 77})
                EXPECT_EQ(accountOfRun(step, chunks, isBackwards), whole) << step << " " << chunks;
        }
}

TEST(DriveStatistics, TellOnlyWhatHasChanged) {
    DriveStatistics statistics(std::uint64_t{1} << 35, 512);
    statistics.keepChanges([](std::uint64_t, std::uint32_t) {});
    for (std::uint64_t i = 0; i < 3'000; ++i)
        statistics.onOperation({DriveOperation::read, i * 2000, 1000, 1ms, 1s, 1, LIBDRIVE2_NO_ERROR});
    const StatisticsState state = statistics.takeState();
    EXPECT_THAT(state.good, testing::ElementsAre(SectorRuns::Run{0, 1000, 2000, 3000}));
    EXPECT_LT(stateJson(state).dump().size(), 1000U);
    EXPECT_TRUE(statistics.takeState().surface.empty());
}

TEST(StatisticsState, IsRefusedWhereItCannotBeOne) {
    const std::string good =
        R"({"visited":31,"read":{"bytes":1,"ns":1},"written":{"bytes":0,"ns":0},"operations":[{"operation":"read",)"
        R"("firstTry":1,"recovered":0,"failed":0,"longestNs":5,"steps":[3,1]}],"slowTransfers":{"over150ms":0,)"
        R"("over500ms":0,"overLimit":0,"kept":[["read",7,1,5]]},"good":[[0,10,20,3]],"newCauses":[{"fault":)"
        R"("unreadable","words":""}],"bad":[[70,1,0]],"surface":[{"first":64,"outcomes":[1,2],"slowest":[9,2]}],)"
        R"("regions":[[5,1,2,0,0]]})";
    const auto isTaken = [](const std::string& text) {
        DriveStatistics statistics(1000, 512);
        try {
            return statistics.restore(readState(Json::parse(text)));
        } catch (const RecordFault&) {
            return false;
        } catch (const Json::exception&) {
            return false;
        }
    };
    EXPECT_TRUE(isTaken(good));
    const std::pair<const char*, const char*> changes[] = {
        {"[0,10,20,3]", "[0,10,20,99999]"},
        {"[0,10,20,3]", "[991,10]"},
        {"[0,10,20,3]", "[0,-1]"},
        {"[0,10,20,3]", "[0,10,20,0]"},
        {"[0,10,20,3]", "[0,10,20]"},
        {"[0,10,20,3]", "[0,10,9,3]"},
        {"[0,10,20,3]", "[0,0]"},
        {"\"visited\":31", "\"visited\":29"},
        {"[70,1,0]", "[999,2,0]"},
        {"[\"read\",7,1", "[\"read\",1000,1"},
        {"[\"read\",7,1", "[\"read\",7,4294967297"},
        {"[70,1,0]", "[70,1,1]"},
        {"[70,1,0]", "[70,0,0]"},
        {"\"first\":64", "\"first\":999"},
        {"[1,2]", "[4,2]"},
        {"[1,2]", "[1,3]"},
        {"[9,2]", "[9]"},
        {"[9,2]", "[256,2]"},
        {"[5,1,2,0,0]", "[1024,1,2,0,0]"},
        {"[3,1]", "[99999,1]"},
        {"[\"read\",7", "[\"raed\",7"},
        {"\"ns\":1", "\"ns\":1e300"},
        {"\"unreadable\"", "\"unredable\""},
        {"[1,2]", "[1,99999999999]"},
    };
    for (const auto& [from, to] : changes) {
        std::string text = good;
        text.replace(text.find(from), std::string(from).size(), to);
        EXPECT_FALSE(isTaken(text)) << text;
    }
}

/// A record with two lines of progress, one line behind each, and where these lines end.
struct Proven {
    std::string text;
    std::vector<std::size_t> ends;
};

Proven provenRecord() {
    Proven record;
    const std::string path = testing::TempDir() + "proven.jsonl";
    {
        std::string error;
        RecordWriter writer(
            path,
            openOutput("the record", path, {[](const std::string&) { return std::string(); }, true}, error));
        writer.writeSchemaVersion();
        for (int i = 0; i < 2; ++i) {
            writer.writeProof("progress", {{"sectorsDone", i}});
            writer.writeStep("testStepStart", {{"name", "x"}});
        }
        EXPECT_TRUE(writer.ok());
    }
    std::ifstream file(path, std::ios::binary);
    for (std::string line; std::getline(file, line);) {
        record.text += line + "\n";
        record.ends.push_back(record.text.size());
    }
    return record;
}

TEST(ProvenLines, EndBeforeTheFirstByteThatIsDamaged) {
    const Proven record = provenRecord();
    ASSERT_EQ(record.ends.size(), 5U);
    EXPECT_EQ(findProven(record.text).bytes, record.ends[3]);
    EXPECT_EQ(findProven(record.text.substr(0, record.ends[3] - 1)).bytes, record.ends[1]);
    for (std::size_t at = 0; at < record.ends[3]; ++at)
        for (const int bit : {0, 3, 6}) {
            std::string damaged = record.text;
            damaged[at] = static_cast<char>(damaged[at] ^ 1 << bit);
            const std::size_t expected = at < record.ends[1] ? 0 : record.ends[1];
            ASSERT_EQ(findProven(damaged).bytes, expected) << at;
        }
}

}  // namespace
}  // namespace drivetest
