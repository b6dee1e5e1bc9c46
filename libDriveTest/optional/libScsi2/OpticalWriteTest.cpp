#include "OpticalWriteTest.h"

#include <cstring>
#include <string>

#include "../../DriveTestLogger.h"
#include "../../Events.h"
#include "../../Parameters.h"
#include "../../PatternTable.h"
#include "BigEndian.h"
#include "DriveTestMMCRWCallback.h"
#include "zel/HexDump.h"

namespace libDriveTest {

namespace {

constexpr std::uint32_t kOptimalSpeed = 0xFFFFFFFF;
constexpr std::uint32_t kWriteTimeoutMs = 900000;
constexpr std::uint32_t kPollMs = 100;

/// Of the whole test: of `share` percent, starting at `base`, as much as is done.
void showProgress(std::uint64_t done, std::uint64_t total, std::uint32_t speedIndex, std::uint32_t speeds) {
    const double share = 100.0 / speeds;
    const std::uint32_t base = speedIndex * 100 / speeds;
    DiagModule::percentDone(
        static_cast<int>(static_cast<double>(done) / static_cast<double>(total) * share + base));
}

}  // namespace

OpticalWriteTest::OpticalWriteTest(RecordableDrive& tested, const char* name)
    : DriveTestMMCRW(tested), m_logger(loggerOf(name)), m_name(name) {}
OpticalWriteTest::OpticalWriteTest(SharedRecordableDrive tested, const char* name)
    : DriveTestMMCRW(std::move(tested)), m_logger(loggerOf(name)), m_name(name) {}
OpticalWriteTest::~OpticalWriteTest() = default;

TestResult OpticalWriteTest::runTest() {
    const std::string scope = std::string(m_name) + "::Run";
    const zel::TraceLogger trace(m_logger, scope.c_str());
    m_starts.clear();
    m_plannedSectors = 0;
    recordableDrive().setRecordableCallback(std::make_unique<DriveTestMMCRWCallback>(*this));
    if (const TestResult media = checkMedia(parameters::maxRetries.value()); media != TestResult::PASS)
        return endOnLoss().value_or(media);
    if (const String refusal = refuseMedium(); !refusal.isEmpty())
        return failPreparation(refusal.utf8().c_str(), TestResult::NOTSUPPORTED);
    const Settings settings{parameters::numberOfSeeks.value(), parameters::numberOfPatterns.value()};
    Array<SpeedDescriptor> speeds;
    if (!recordableDrive().getReadWriteSpeeds(speeds)) {
        m_logger.line(4, "unable to get supported write speeds");
        return endOnLoss().value_or(TestResult::CANNOTRUN);
    }
    TestResult outcome = TestResult::PASS;
    const auto count = static_cast<std::uint32_t>(speeds.size());
    for (std::uint32_t i = 0; i < count && outcome == TestResult::PASS; ++i) {
        Recording recording;
        recording.speedIndex = i;
        recording.speedCount = count;
        outcome = testSpeed(speeds[i], settings, recording);
    }
    if (!isLost())
        recordableDrive().restoreDefaultSpeed();
    return outcome;
}

TestResult OpticalWriteTest::testSpeed(const SpeedDescriptor& speed, const Settings& settings,
                                       Recording& recording) {
    const std::uint32_t kilobytesPerSecond = swapBigEndian(speed.writeSpeed);
    const String speedText = kilobytesPerSecond == kOptimalSpeed
                                 ? String("optimal multiplier of 1")
                                 : recordableDrive().writeSpeedMultiplier(kilobytesPerSecond);
    if (const TestResult set = setSpeed(speed, speedText); set != TestResult::PASS)
        return set;
    if (const TestResult prepared = prepareMedium(settings); prepared != TestResult::PASS)
        return prepared;
    strings::mmcrwSettingWriteSpeed->setVariable("WriteSpeedIndex", recording.speedIndex)
        ->setVariable("WriteSpeed", speedText);
    DiagModule::progress(*strings::mmcrwSettingWriteSpeed);
    if (const TestResult planned = planRecording(settings, recording); planned != TestResult::PASS)
        return planned;
    if (const TestResult reserved = reserve(recording); reserved != TestResult::PASS)
        return reserved;
    return record(recording);
}

TestResult OpticalWriteTest::setSpeed(const SpeedDescriptor& speed, const String& speedText) {
    if (recordableDrive().setReadWriteSpeed(speed))
        return TestResult::PASS;
    m_logger.line(4, "Error setting write speed to ", speedText);
    if (const auto lost = endOnLoss())
        return *lost;
    events::mmcrwCannotSetWriteSpeed->setVariable("ScsiError", drive->getLastErrorStr());
    sendEvent(*events::mmcrwCannotSetWriteSpeed, EventType::ERR);
    return TestResult::CANNOTRUN;
}

TestResult OpticalWriteTest::prepareMedium(const Settings& settings) {
    DiagModule::progress(*strings::mmcrwPreparingForWrite);
    if (!recordableDrive().setWriteParameters(false)) {
        if (const auto lost = endOnLoss())
            return *lost;
        sendEvent(*events::mmcrwCannotSetWriteParameters, EventType::ERR);
        return TestResult::MISCONFIGURED;
    }
    switch (recordableDrive().prepareForWriting(sectorsToPrepare(settings))) {
        case libDrive2::LIBDRIVE2_NO_ERROR:
            return TestResult::PASS;
        case libDrive2::LIBDRIVE2_NOT_SUPPORTED:
            return failPreparation("drive does not support writing to media type", TestResult::NOTSUPPORTED);
        case libDrive2::LIBDRIVE2_DRIVE_ERROR:
            return failPreparation("drive encountered error while preparing to write", TestResult::CANNOTRUN);
        case libDrive2::LIBDRIVE2_BAD_ARGUMENT:
            return failPreparation("bad input parameters", TestResult::BADPARAMS);
        default:
            return failPreparation("unknown error", TestResult::CANNOTRUN);
    }
}

TestResult OpticalWriteTest::failPreparation(const char* reason, TestResult outcome) {
    if (const auto lost = endOnLoss())
        return *lost;
    events::mmcrwCannotPrepareForWrite->setVariable("reason", reason);
    sendEvent(*events::mmcrwCannotPrepareForWrite, EventType::ERR);
    return outcome;
}

TestResult OpticalWriteTest::planRecording(const Settings& settings, Recording& recording) {
    const std::uint64_t freeSectors = recordableDrive().getFreeSectors();
    if (freeSectors == 0) {
        m_logger.line(4, "number of free sectors = 0");
        return endOnLoss().value_or(TestResult::CANNOTRUN);
    }
    const bool hasTable = settings.patternCount != 0 && settings.patternCount <= kPatterns.size();
    recording.patternCount = hasTable ? settings.patternCount : static_cast<std::uint32_t>(kPatterns.size());
    recording.sectorSize = drive->getSectorSize();
    if (recording.sectorSize == 0) {
        m_logger.line(4, "sector size = 0");
        return endOnLoss().value_or(TestResult::CANNOTRUN);
    }
    recording.unit = recordableDrive().numCoincidentWriteSectors();
    plan(settings, freeSectors, recording);
    if (recording.count == 0)
        return endOnLoss().value_or(TestResult::BADPARAMS);
    return bufferBytes(recording.sectorSize, recording.unit) != 0 ? TestResult::PASS
                                                                  : TestResult::INTERNALERROR;
}

TestResult OpticalWriteTest::reserve(const Recording& recording) {
    if (recordableDrive().reserveSectors(recording.area))
        return TestResult::PASS;
    m_logger.line(4, "unable to reserve sectors for testing");
    if (const auto lost = endOnLoss())
        return *lost;
    sendEvent(*events::mmcrwCannotReserveSectors, EventType::ERR);
    return TestResult::CANNOTRUN;
}

TestResult OpticalWriteTest::record(Recording& recording) {
    const std::size_t bytes = std::size_t{recording.unit} * recording.sectorSize;
    m_written = zel::Buffer(bytes);
    m_read = zel::Buffer(bytes);
    std::uint64_t start = recordableDrive().getNextWriteAddress();
    showAt(*strings::mmcrwStartingWrite, start);
    planDifferent(recording, start);
    TestResult outcome = writeUnits(recording, start);
    if (recording.unitsWritten != 0 && !isLost() && !recordableDrive().closeOpenTrack())
        noteUnclosed("Unable to close open track", outcome);
    waitForWrite(outcome);
    if (outcome == TestResult::PASS) {
        start = recordableDrive().getNextWriteAddress();
        showAt(*strings::mmcrwStartingReadCompare, start);
        recordableDrive().readFromMedium();
        outcome = compareUnits(recording, start);
    }
    if (recording.unitsWritten != 0 && !isLost())
        closeSession(outcome);
    waitForWrite(outcome);
    m_written = zel::Buffer();
    m_read = zel::Buffer();
    return outcome;
}

/// At the next speed some media are recorded over, others further on.
void OpticalWriteTest::planDifferent(const Recording& recording, std::uint64_t start) {
    if (m_starts.insert(start).second)
        m_plannedSectors += recording.count;
    drive->planSectors(m_plannedSectors);
}

void OpticalWriteTest::showAt(quix5::LocalizedString& text, std::uint64_t sector) {
    text.setVariable("sector", sector);
    DiagModule::progress(text);
}

/// A drive that is lost has not taken too long.
void OpticalWriteTest::waitForWrite(TestResult& outcome) {
    if (isLost() || recordableDrive().waitForWrite(kWriteTimeoutMs, kPollMs))
        return;
    outcome = endOnLoss().value_or(TestResult::TIMEDOUT);
}

void OpticalWriteTest::closeSession(TestResult& outcome) {
    DiagModule::progress(*strings::mmcrwClosingSession);
    if (recordableDrive().closeOpenSession())
        return;
    if (!isLost())
        sendEvent(*events::mmcrwCannotCloseSession, EventType::WARNING);
    noteUnclosed("Unable to close open session", outcome);
}

void OpticalWriteTest::noteUnclosed(const char* what, TestResult& outcome) {
    m_logger.line(3, what);
    m_logger.line(3, drive->getLastErrorStr());
    if (outcome == TestResult::PASS)
        outcome = endOnLoss().value_or(outcome);
}

void OpticalWriteTest::fillPattern(const Recording& recording, std::uint64_t k) {
    std::memset(m_written.data(), kPatterns.at(k % recording.patternCount), m_written.size());
}

/// The last sector is given as the first one behind the unit.
void OpticalWriteTest::reportRange(Event& event, const char* lastName, std::uint64_t lba,
                                   std::uint32_t unit) {
    event.setVariable("sector", lba)->setVariable(lastName, lba + unit);
    sendEvent(event, EventType::ERR);
}

TestResult OpticalWriteTest::writeUnits(Recording& recording, std::uint64_t start) {
    for (std::uint64_t k = 0; k < recording.count / recording.unit; ++k) {
        const std::uint64_t position = start + offsetOf(recording, k);
        if (DiagModule::checkForStop()) {
            reportUserAbort(position);
            return TestResult::USERABORTED;
        }
        const std::uint64_t lba = recordableDrive().getNextWriteAddress(position);
        fillPattern(recording, k);
        if (!drive->writeSector(lba, recording.unit, m_written.data(),
                                static_cast<std::uint32_t>(m_written.size()))) {
            if (const auto ended = endOnNonFail(drive->lastError))
                return *ended;
            m_logger.line(3, drive->getLastErrorStr());
            drive->condemnSectors(lba, recording.unit, SectorFault::unwritable);
            reportRange(*events::writeSectorRangeErr, "lastSector", lba, recording.unit);
            return TestResult::FAIL;
        }
        ++recording.unitsWritten;
        showProgress(recording.unitsWritten * recording.unit, 2 * recording.count, recording.speedIndex,
                     recording.speedCount);
    }
    return TestResult::PASS;
}

TestResult OpticalWriteTest::compareUnits(const Recording& recording, std::uint64_t start) {
    TestResult outcome = TestResult::PASS;
    for (std::uint64_t k = 0; k < recording.count / recording.unit && outcome == TestResult::PASS; ++k) {
        if (DiagModule::checkForStop()) {
            reportUserAbort(start + offsetOf(recording, k));
            return TestResult::USERABORTED;
        }
        fillPattern(recording, k);
        outcome = compareUnit(recording, start + offsetOf(recording, k));
        if (outcome == TestResult::PASS)
            showProgress(recording.count + k * recording.unit, 2 * recording.count, recording.speedIndex,
                         recording.speedCount);
    }
    return outcome;
}

TestResult OpticalWriteTest::compareUnit(const Recording& recording, std::uint64_t position) {
    const std::uint64_t lba = recordableDrive().getNextWriteAddress(position);
    const auto bytes = static_cast<std::uint32_t>(m_read.size());
    if (!drive->readSector(lba, recording.unit, m_read.data(), bytes)) {
        if (const auto ended = endOnNonFail(drive->lastError))
            return *ended;
        m_logger.line(3, drive->getLastErrorStr());
        drive->condemnSectors(lba, recording.unit, SectorFault::unreadable);
        reportRange(*events::readSectorRangeErr, "lastSector", lba, recording.unit);
        return TestResult::FAIL;
    }
    m_logger.line(3, "performing compare @", position);
    if (std::memcmp(m_written.data(), m_read.data(), bytes) == 0)
        return TestResult::PASS;
    reportMiscompare(recording, lba);
    return TestResult::FAIL;
}

void OpticalWriteTest::reportMiscompare(const Recording& recording, std::uint64_t lba) {
    condemnDifferences(lba, recording.unit, m_written.data(), m_read.data());
    reportRange(*events::patternMismatchRange, "end_sector", lba, recording.unit);
    m_logger.line(3, "miscompare @", lba, ":");
    if (!m_logger.allows(3))
        return;
    m_logger.line(3, "written value \n", zel::hexDump(m_written.data(), m_written.size()));
    m_logger.line(3, "read value    \n", zel::hexDump(m_read.data(), m_read.size()));
}

}  // namespace libDriveTest
