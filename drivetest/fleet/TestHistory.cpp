#include "drivetest/fleet/TestHistory.h"

#include <string>
#include <tuple>
#include <utility>

#include "drivetest/record/RecordReader.h"

namespace drivetest {

namespace {

/// Of the records of one run the one that tells most of it; nothing when none can be read.
std::optional<RecordedRun> readRun(const FleetIndex::Run& indexed, LeftOut& leftOut) {
    std::optional<RecordedRun> best;
    for (const std::string& record : indexed.records) {
        std::string problem;
        auto run = readRecord(record, problem, nullptr, RecordDetail::figures);
        if (!run)
            leftOut.add(problem);
        else if (!best ||
                 std::tuple(best->isCutOff, run->lastTime) > std::tuple(run->isCutOff, best->lastTime))
            best = std::move(run);
    }
    return best;
}

}  // namespace

std::vector<TestHistory> readRuns(const FleetIndex::Drive& drive, LeftOut& leftOut) {
    std::vector<TestHistory> histories;
    for (const FleetIndex::Test& test : drive.tests) {
        std::optional<TestHistory> history;
        std::optional<RecordedRun> ended;
        for (const FleetIndex::Run& indexed : test.runs) {
            auto run = readRun(indexed, leftOut);
            if (!run)
                continue;
            const std::size_t older = history ? history->older + 1 : 0;
            if (history && !history->newest.isCutOff)
                ended = std::move(history->newest);
            history = TestHistory{*std::move(run), {}, older};
        }
        if (!history)
            continue;
        if (!history->newest.isCutOff)
            history->before = std::move(ended);
        histories.push_back(*std::move(history));
    }
    return histories;
}

}  // namespace drivetest
