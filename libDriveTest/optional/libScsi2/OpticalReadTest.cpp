#include "OpticalReadTest.h"

#include <algorithm>

#include "../../DriveTestLogger.h"
#include "../../Events.h"
#include "../../Parameters.h"
#include "../../RangeSetup.h"

namespace libDriveTest {

namespace {

constexpr std::uint64_t kStepOnDataCD = 10000;
constexpr std::uint64_t kStep = 20000;

}  // namespace

String numberText(double number) {
    return zel::ZELValue(number).text();
}

OpticalReadTest::OpticalReadTest(ScsiMMCDrive& tested, const char* name, std::uint32_t sectorsPerRead)
    : DriveTestMMCRO(tested), m_logger(loggerOf(name)), m_sectorsPerRead(sectorsPerRead) {}
OpticalReadTest::OpticalReadTest(SharedMMCDrive tested, const char* name, std::uint32_t sectorsPerRead)
    : DriveTestMMCRO(std::move(tested)), m_logger(loggerOf(name)), m_sectorsPerRead(sectorsPerRead) {}
OpticalReadTest::~OpticalReadTest() = default;

void OpticalReadTest::addCommon(Test& test) {
    parameters::testPassCount.addTo(test);
    parameters::startRange.addTo(test);
    parameters::endRange.addTo(test);
    strings::runningAtReadSpeed.createOnce();
    events::speedNotReached.createOnce();
}

TestResult OpticalReadTest::setUpMedium(RangePlan& range) {
    if (const TestResult found = setUpDrive(range); found != TestResult::PASS)
        return endOnLoss().value_or(found);
    return RangeSetup(m_logger).parse({parameters::startRange, parameters::endRange}, range);
}

TestResult OpticalReadTest::checkStretch(RangePlan& range) {
    return RangeSetup(m_logger).check({parameters::startRange, parameters::endRange}, range);
}

void OpticalReadTest::printStatistics(const RangePlan& range, std::uint32_t passes) const {
    test_info_stats stats{};
    stats.startLba = range.startLba;
    stats.lastLba = range.endLba;
    stats.optimalTransferBlocks = m_sectorsPerRead;
    stats.divisor = 1;
    stats.sectorsToTest = static_cast<std::uint32_t>(range.endLba - range.startLba);
    stats.sectorSize = kSectorBytes;
    stats.loopCount = passes;
    printTestStatistics(stats);
}

TestResult OpticalReadTest::cutStretch(const ::scsi::mmc_performance_nom_desc_t& hostOrder,
                                       std::uint64_t sectors, std::uint32_t passes, Stretch& stretch) {
    if (passes == 0 || sectors == 0)
        return TestResult::BADPARAMS;
    stretch.first = hostOrder.startLba;
    stretch.last = std::min<std::uint64_t>(stretch.first + sectors, hostOrder.endLba);
    return stretch.last <= stretch.first ? TestResult::BADPARAMS : TestResult::PASS;
}

std::uint64_t OpticalReadTest::stepOf() const {
    return (mmcDrive().mediaCapabilties() & libDrive2::kMediaCDData) != 0 ? kStepOnDataCD : kStep;
}

std::optional<TestResult> OpticalReadTest::readStretch(const Stretch& stretch,
                                                       const std::function<bool(std::uint64_t)>& goesOn) {
    std::uint64_t sectorsRead = 0;
    std::uint32_t count = 0;
    for (std::uint64_t lba = stretch.first; lba < stretch.last; lba += count) {
        if (DiagModule::checkForStop()) {
            reportUserAbort(lba);
            return TestResult::USERABORTED;
        }
        count = static_cast<std::uint32_t>(std::min<std::uint64_t>(m_sectorsPerRead, stretch.last - lba));
        if (drive->readSector(lba, count, m_buffer.data(), count * kSectorBytes))
            sectorsRead += count;
        else if (const auto ended = endOnNonFail(drive->lastError))
            return ended;
        else
            reportUnreadable(lba);
        if (goesOn && !goesOn(sectorsRead))
            break;
    }
    return std::nullopt;
}

void OpticalReadTest::reportUnreadable(std::uint64_t lba) {
    m_logger.line(3, drive->getLastErrorStr());
    reportRdErr(lba);
}

std::optional<TestResult> OpticalReadTest::spinUp(const Stretch& stretch) {
    m_logger.line(1, "SPIN UP SEQUENTIAL READ from ", stretch.first, " to ", stretch.last);
    return readStretch(stretch, nullptr);
}

String OpticalReadTest::multiple(double kilobytesPerSecond) const {
    return mmcDrive().writeSpeedMultiplier(static_cast<std::uint32_t>(kilobytesPerSecond));
}

void OpticalReadTest::showSpeeds(const String& rate, const String& multiples) {
    strings::runningAtReadSpeed->setVariable("ReadSpeedRate", rate)->setVariable("ReadSpeedX", multiples);
    DiagModule::progress(*strings::runningAtReadSpeed);
}

void OpticalReadTest::reportTooSlow(double rate, double minimum) {
    m_logger.line(3, "The calculated transfer rate (", numberText(rate), " KB/s) is less than the minimum (",
                  numberText(minimum), " KB/s)");
    sendSpeedEvent(*events::speedNotReached, minimum, rate);
}

void OpticalReadTest::sendSpeedEvent(Event& event, double requested, double actual) {
    event.setVariable("RequestedSpeed", multiple(requested))->setVariable("ActualSpeed", multiple(actual));
    sendEvent(event, EventType::ERR);
}

double OpticalReadTest::rateOf(std::uint64_t sectors, std::uint32_t milliseconds) {
    return static_cast<double>(sectors * kSectorBytes) / milliseconds;
}

}  // namespace libDriveTest
