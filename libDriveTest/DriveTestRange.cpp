#include "DriveTest.h"
#include "Events.h"
#include "Parameters.h"
#include "RangeString.h"

namespace libDriveTest {

namespace {

/// Reads the share of the range to test; false when the percentage is no share.
bool readFraction(double& fraction) {
    const double percent =
        parameters::numberOfSeeks.value() != 0 ? 100.0 : parameters::sectorPercentToTest.value();
    fraction = percent / 100.0;
    return fraction != 0.0 && !(fraction > 1.0);
}

std::uint64_t countSectors(const RangePlan& plan) {
    const std::uint64_t share = toUnsigned(static_cast<double>(plan.endLba - plan.startLba) * plan.fraction);
    const std::uint64_t cap = parameters::numberOfSeeks.value();
    return cap != 0 && cap < share ? cap : share;
}

}  // namespace

TestResult DriveTest::setUpDrive(RangePlan& plan) {
    if (const TestResult media = checkMedia(parameters::maxRetries.value()); media != TestResult::PASS)
        return media;
    plan.sectorCount = drive->getSectorCount();
    if (plan.sectorCount == 0) {
        sendEvent(*events::cannotGetTotalSectors, EventType::WARNING);
        return TestResult::WARN;
    }
    plan.sectorSize = drive->getSectorSize();
    if (plan.sectorSize == 0) {
        sendEvent(*events::cannotGetSectorSize, EventType::WARNING);
        return TestResult::WARN;
    }
    return TestResult::PASS;
}

TestResult DriveTest::parseRange(zel::Logger& logger, const RangeParameters& given, RangePlan& plan) {
    if (!parseRangeString(given.start.value(), plan.sectorCount, plan.sectorSize, plan.startLba))
        return reportInvalidParameters(logger, {given.start.item()});
    if (!parseRangeString(given.end.value(), plan.sectorCount, plan.sectorSize, plan.endLba))
        return reportInvalidParameters(logger, {given.end.item()});
    return TestResult::PASS;
}

TestResult DriveTest::checkRange(zel::Logger& logger, const RangeParameters& given, RangePlan& plan) {
    if (plan.endLba > plan.sectorCount) {
        logger.line(
            3,
            "The EndRange for testing is set a value greater then the capacity of the device, setting this "
            "to the drive capacity");
        plan.endLba = plan.sectorCount;
    }
    if (plan.endLba <= plan.startLba || plan.sectorCount <= plan.startLba)
        return reportInvalidParameters(logger, {given.start.item(), given.end.item()});
    plan.sectorsToTest = plan.endLba - plan.startLba;
    return TestResult::PASS;
}

TestResult DriveTest::setUpWholeRange(zel::Logger& logger, RangePlan& plan) {
    if (const TestResult found = setUpDrive(plan); found != TestResult::PASS)
        return found;
    const RangeParameters given{parameters::startRange, parameters::endRange};
    if (const TestResult parsed = parseRange(logger, given, plan); parsed != TestResult::PASS)
        return parsed;
    return checkRange(logger, given, plan);
}

TestResult DriveTest::setUpRange(zel::Logger& logger, RangePlan& plan) {
    using namespace parameters;
    if (const TestResult found = setUpDrive(plan); found != TestResult::PASS)
        return found;
    const RangeParameters given{startRange, endRange};
    if (const TestResult parsed = parseRange(logger, given, plan); parsed != TestResult::PASS)
        return parsed;
    if (!readFraction(plan.fraction))
        return reportInvalidParameters(logger, {sectorPercentToTest.item()});
    if (const TestResult checked = checkRange(logger, given, plan); checked != TestResult::PASS)
        return checked;
    plan.sectorsToTest = countSectors(plan);
    if (plan.sectorsToTest == 0)
        return reportInvalidParameters(
            logger, {startRange.item(), endRange.item(), numberOfSeeks.item(), sectorPercentToTest.item()});
    return TestResult::PASS;
}

std::optional<TestResult> DriveTest::narrowReadFailure(zel::Logger& logger, const FailedChunk& chunk,
                                                       bool& sectorFailed) {
    const String errorText = drive->getLastErrorStr();
    const std::uint64_t last = chunk.lba + chunk.blockCount - 1;
    sectorFailed = false;
    logger.line(3, zel::formatted("Error reading sectors %I64u through %I64u, due to: ", chunk.lba, last),
                errorText);
    drive->setRetryCallbackBehavior(libDrive2::LIBDRIVE2_RETRY_AND_REPORT);
    for (std::uint64_t sector = chunk.lba; sector <= last && !hitEventLimits(false); ++sector) {
        logger.line(1, "Narrowing read failure, by testing one sector at LBA: ", sector);
        std::uint8_t* const place = chunk.buffer + (sector - chunk.lba) * chunk.sectorSize;
        if (drive->readSector(sector, 1, place, chunk.sectorSize))
            continue;
        if (const auto ended = endOnNonFail(drive->lastError))
            return ended;
        sectorFailed = true;
        reportRdErr(sector);
    }
    drive->setRetryCallbackBehavior(chunk.behaviorAfter);
    if (!sectorFailed) {
        logger.line(4,
                    zel::formatted("Unable to isolate individual sectors in the range %I64u through %I64u, "
                                   "original error message: ",
                                   chunk.lba, last),
                    errorText);
        reportIsolationRecover(chunk.lba, chunk.blockCount, errorText);
    }
    return std::nullopt;
}

}  // namespace libDriveTest
