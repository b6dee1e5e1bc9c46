#include <cstring>

#include "DriveTest.h"
#include "DriveTestLogger.h"
#include "Events.h"

namespace libDriveTest {

namespace {

/// Hands an event to the framework without counting or logging it.
void deliver(const Event& event, const EventType& type,
             std::source_location where = std::source_location::current()) {
    DiagModule::sendEvent(event, type, where.file_name(), static_cast<int>(where.line()), 0);
}

/// The last sector of a range; a count of 0 gives the sector before it.
std::uint64_t lastSector(std::uint64_t sector, std::uint32_t count) {
    return sector - 1 + count;
}

}  // namespace

void DriveTest::sendEvent(const Event& event, const EventType& type) {
    deliver(event, type);
    if (type == EventType::ERR) {
        ++errorCount;
        if (driveTestLogger().allows(4))
            driveTestLogger().line(4, event.localizedMessage());
    } else if (type == EventType::WARNING) {
        ++warningCount;
        if (driveTestLogger().allows(3))
            driveTestLogger().line(3, event.localizedMessage());
    }
}

void DriveTest::sendCallbackEvent(const Event& event, const EventType& type) {
    deliver(event, type);
}

void DriveTest::reportRdErr(std::uint64_t sector, std::uint32_t count) {
    if (count == 1) {
        reportRdErr(sector);
        return;
    }
    drive->condemnSectors(sector, count, SectorFault::unreadable);
    events::readSectorRangeErr->setVariable("sector", sector)
        ->setVariable("lastSector", lastSector(sector, count));
    sendEvent(*events::readSectorRangeErr, EventType::ERR);
}

void DriveTest::reportRdErr(std::uint64_t sector) {
    drive->condemnSectors(sector, 1, SectorFault::unreadable);
    events::readSectorErr->setVariable("ReadSector", sector);
    sendEvent(*events::readSectorErr, EventType::ERR);
}

void DriveTest::reportWrErr(std::uint64_t sector, std::uint32_t count) {
    if (count == 1) {
        reportWrErr(sector);
        return;
    }
    drive->condemnSectors(sector, count, SectorFault::unwritable);
    events::writeSectorRangeErr->setVariable("sector", sector)
        ->setVariable("lastSector", lastSector(sector, count));
    sendEvent(*events::writeSectorRangeErr, EventType::ERR);
}

void DriveTest::reportWrErr(std::uint64_t sector) {
    drive->condemnSectors(sector, 1, SectorFault::unwritable);
    events::writeSectorErr->setVariable("WriteSector", sector);
    sendEvent(*events::writeSectorErr, EventType::ERR);
}

void DriveTest::reportSeekErr(std::uint64_t sector, std::uint64_t previous) {
    drive->condemnSectors(sector, 1, SectorFault::unreachable);
    events::seekSectorErr->setVariable("SeekSector", sector);
    sendEvent(*events::seekSectorErr, EventType::ERR);
    if (previous != kNoSector)
        driveTestLogger().line(3, "Seek error at LBA ", sector, " . The previous sector tested was ",
                               previous);
}

void DriveTest::condemnDifferences(std::uint64_t lba, std::uint32_t sectors, const void* expected,
                                   const void* found) {
    const std::size_t bytes = drive->getSectorSize();
    const auto differs = [&](std::uint32_t at) {
        return std::memcmp(static_cast<const std::uint8_t*>(expected) + at * bytes,
                           static_cast<const std::uint8_t*>(found) + at * bytes, bytes) != 0;
    };
    for (std::uint32_t at = 0, end = 0; at < sectors; at = end + 1) {
        for (end = at; end < sectors && differs(end);)
            ++end;
        drive->condemnSectors(lba + at, end - at, SectorFault::wrongData);
    }
}

void DriveTest::reportUserAbort(std::uint64_t /*sector*/) {}

void DriveTest::reportIsolationRecover(std::uint64_t sector, std::uint32_t count, const String& message) {
    events::isolationRecovered->setVariable("sector", sector)
        ->setVariable("lastSector", lastSector(sector, count))
        ->setVariable("errmsg", message);
    sendEvent(*events::isolationRecovered, EventType::WARNING);
}

const non_fail_result* DriveTest::findNonFail(_LIBDRIVE2_ERROR_TYPES errorType) {
    for (const non_fail_result& entry : s_nonFailResults)
        if (entry.errorType == errorType)
            return &entry;
    return nullptr;
}

void DriveTest::reportNonFailError(_LIBDRIVE2_ERROR_TYPES errorType) {
    const non_fail_result* const entry = findNonFail(errorType);
    if (entry != nullptr && entry->event != nullptr)
        deliver(*entry->event, EventType::WARNING);
}

bool DriveTest::isNonFailError(_LIBDRIVE2_ERROR_TYPES errorType) {
    return findNonFail(errorType) != nullptr;
}

bool DriveTest::hitEventLimits(bool report) const {
    const std::source_location where = std::source_location::current();
    if (maxErrors != 0 && errorCount >= maxErrors) {
        if (report)
            DiagModule::error(events::hitMaxErr->setVariable("MaxError", maxErrors), where.file_name(),
                              static_cast<int>(where.line()));
        return true;
    }
    if (maxWarnings != 0 && warningCount >= maxWarnings) {
        // The warning limit shares the error limit's event and variable.
        if (report)
            DiagModule::warning(events::hitMaxErr->setVariable("MaxError", maxWarnings), where.file_name(),
                                static_cast<int>(where.line()));
        return true;
    }
    return false;
}

TestResult DriveTest::getEventCountResult() const {
    if (errorCount != 0)
        return TestResult::FAIL;
    return warningCount != 0 ? TestResult::WARN : TestResult::PASS;
}

TestResult DriveTest::getCurrentResult(_LIBDRIVE2_ERROR_TYPES errorType) {
    const TestResult counted = getEventCountResult();
    if (counted == TestResult::FAIL)
        return counted;
    const non_fail_result* const entry = findNonFail(errorType);
    return entry != nullptr ? entry->result : counted;
}

std::optional<TestResult> DriveTest::endOnNonFail(_LIBDRIVE2_ERROR_TYPES errorType) {
    if (!isNonFailError(errorType))
        return std::nullopt;
    reportNonFailError(errorType);
    return getCurrentResult(errorType);
}

}  // namespace libDriveTest
