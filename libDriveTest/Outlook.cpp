#include "Outlook.h"

#include "DriveTestLogger.h"
#include "Events.h"
#include "Parameters.h"
#include "RangeSetup.h"

namespace libDriveTest {

namespace {

using quix5::TestOutlook;
using quix5::TestResult;

/// Of a hard disk; drives without heads are faster.
constexpr double kSecondsOfMove = 0.01;

RangePlan planOf(const DriveSize& drive) {
    RangePlan plan;
    plan.sectorCount = drive.sectors;
    plan.sectorSize = drive.sectorBytes;
    return plan;
}

zel::Logger& logger() {
    return loggerOf("Outlook");
}

/// What was reported last.
zel::String refusedParameters() {
    for (const auto& [name, value] : events::invalidParameters->variables())
        if (name == "params")
            return value.valueString().zelString();
    return {};
}

/// What a set-up came to; of one that refuses, the reason.
TestOutlook outlookOf(TestResult setUp) {
    TestOutlook outlook;
    if (setUp != TestResult::PASS)
        outlook.refused = refusedParameters();
    return outlook;
}

double bytesOf(const RangePlan& plan) {
    return static_cast<double>(plan.sectorsToTest) * plan.sectorSize;
}

}  // namespace

TestOutlook foreseeShare(const DriveSize& drive, unsigned transfers) {
    RangePlan plan = planOf(drive);
    TestOutlook outlook = outlookOf(RangeSetup(logger()).takeShare(plan));
    outlook.bytes = bytesOf(plan) * transfers;
    return outlook;
}

TestOutlook foreseeRange(const DriveSize& drive, unsigned transfers) {
    RangePlan plan = planOf(drive);
    TestOutlook outlook = outlookOf(RangeSetup(logger()).takeWhole(plan));
    outlook.bytes = bytesOf(plan) * transfers;
    return outlook;
}

TestOutlook foreseeMoves(const DriveSize& drive, unsigned moves) {
    RangePlan plan = planOf(drive);
    TestOutlook outlook = outlookOf(RangeSetup(logger()).takeShare(plan));
    outlook.seconds = static_cast<double>(plan.sectorsToTest) * moves * kSecondsOfMove;
    return outlook;
}

TestOutlook foreseeReadsAndWrites(const DriveSize& drive) {
    using namespace parameters;
    const RangeSetup setup(logger());
    const RangeParameters given{writeStartRange, writeEndRange};
    RangePlan reads = planOf(drive);
    RangePlan writes = reads;
    TestResult setUp = setup.takeWhole(reads);
    if (setUp == TestResult::PASS)
        setUp = setup.parse(given, writes);
    if (setUp == TestResult::PASS)
        setUp = setup.check(given, writes);
    TestOutlook outlook = outlookOf(setUp);
    outlook.bytes = bytesOf(reads) + bytesOf(writes) * (preserveData.value() ? 4 : 2);
    return outlook;
}

}  // namespace libDriveTest
