#include "drivetest/fleet/FleetIndex.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>

#include "drivetest/record/RecordReader.h"

namespace drivetest {

namespace {

/// Drives for which isSameDrive() holds have one key.
using DriveKey = std::tuple<std::string, std::string, std::string>;

DriveKey keyOf(const RecordedDrive& drive) {
    return drive.serial.empty() ? DriveKey{"", "", drive.location} : DriveKey{drive.model, drive.serial, ""};
}

/// What is kept of the beginning of a record.
struct Beginning {
    RecordedDrive drive;
    std::string test;
    std::string startTime;
    std::string commandLine;
    std::string record;
};

FleetIndex::Test& testOf(FleetIndex::Drive& drive, const std::string& name) {
    const auto known = std::ranges::find(drive.tests, name, &FleetIndex::Test::name);
    return known != drive.tests.end() ? *known : drive.tests.emplace_back(FleetIndex::Test{name});
}

void add(Beginning& beginning, FleetIndex::Drive& drive) {
    auto& runs = testOf(drive, beginning.test).runs;
    // They come sorted.
    if (runs.empty() || runs.back().startTime != beginning.startTime ||
        runs.back().commandLine != beginning.commandLine)
        runs.push_back({std::move(beginning.startTime), std::move(beginning.commandLine)});
    runs.back().records.push_back(std::move(beginning.record));
    drive.drive = std::move(beginning.drive);
}

}  // namespace

FleetIndex FleetIndex::of(const std::vector<std::string>& records, LeftOut& leftOut) {
    std::map<DriveKey, std::vector<Beginning>> byDrive;
    for (const std::string& record : records) {
        std::string problem;
        if (auto run = readBeginning(record, problem))
            byDrive[keyOf(run->drive)].push_back({std::move(run->drive), std::move(run->test),
                                                  std::move(run->startTime), std::move(run->commandLine),
                                                  record});
        else
            leftOut.add(problem);
    }
    FleetIndex index;
    for (auto& [key, beginnings] : byDrive) {
        std::ranges::stable_sort(
            beginnings, {}, [](const Beginning& each) { return std::tie(each.startTime, each.commandLine); });
        Drive& drive = index.drives.emplace_back();
        for (Beginning& beginning : beginnings)
            drivetest::add(beginning, drive);
    }
    return index;
}

}  // namespace drivetest
