#include "SeekTest.h"

#include <string>

#include "DriveTestLogger.h"
#include "Parameters.h"
#include "RangeSetup.h"

namespace libDriveTest {

SeekTest::SeekTest(Drive& tested, const char* name)
    : DriveTest(tested), m_name(name), m_logger(loggerOf(name)) {}
SeekTest::SeekTest(libDrive2::SharedDrive tested, const char* name)
    : DriveTest(std::move(tested)), m_name(name), m_logger(loggerOf(name)) {}
SeekTest::~SeekTest() = default;

void SeekTest::init(Test& test) {
    DriveTest::init(test);
    parameters::seekMethod.addTo(test);
    parameters::startRange.addTo(test);
    parameters::endRange.addTo(test);
    parameters::numberOfSeeks.addTo(test);
    parameters::sectorPercentToTest.addTo(test);
}

TestResult SeekTest::runTest() {
    const std::string scope = std::string(m_name) + "::Run";
    const zel::TraceLogger trace(m_logger, scope.c_str());
    Pass pass;
    pass.reads = parameters::seekMethod.value().toLower() == "read";
    if (const TestResult found = setUpDrive(pass.range); found != TestResult::PASS)
        return found;
    if (const TestResult setUp = RangeSetup(m_logger).takeShare(pass.range); setUp != TestResult::PASS)
        return setUp;
    if (pass.range.sectorSize == 0)
        return TestResult::INTERNALERROR;
    pass.sector = zel::Buffer(pass.range.sectorSize);
    pass.moves = pass.range.sectorsToTest;
    plan(pass);
    logParameters(pass);
    begin(pass);
    drive->planPositions(pass.moves);
    return visitPositions(pass);
}

/// The line called exclusive shows the last sector itself, the one called last TEST sector what follows it.
void SeekTest::logParameters(const Pass& pass) const {
    zel::Logger& log = m_logger;
    log.line(1, "=== ", m_name, " parameters ===");
    log.line(1, " Sectors To Test:       ", pass.range.sectorsToTest);
    log.line(1, " Start LBA: (inclusive) ", pass.range.startLba);
    logSpacing(pass);
    log.line(1, " Last LBA:  (exclusive) ", pass.range.endLba - 1);
    log.line(1, " Disk has Sectors:      ", pass.range.sectorCount);
    log.line(1, " Last TEST Sector:      ", pass.range.endLba);
    log.line(1, " Sector Size:           ", pass.range.sectorSize);
    log.line(1, zel::formatted(" Retries:               %u", drive->getRetryCount()));
}

TestResult SeekTest::visitPositions(Pass& pass) {
    std::uint64_t previous = kNoSector;
    for (std::uint64_t i = 0; i < pass.moves; ++i) {
        if (hitEventLimits(true))
            break;
        const Step step{i, pass.moves, position(pass, i), previous};
        if (const auto ended = beforeMove(step))
            return *ended;
        m_logger.line(1, "Testing Seek to LBA ", step.lba, " of ", pass.range.endLba - 1, " Percent: ", i,
                      "/", step.total, " [", step.percent(), "]");
        if (!move(pass, step.lba)) {
            if (const auto ended = endOnNonFail(drive->lastError))
                return *ended;
            reportFailure(step);
        }
        if (const auto ended = afterMove(step))
            return *ended;
        previous = step.lba;
    }
    return getEventCountResult();
}

bool SeekTest::move(Pass& pass, std::uint64_t lba) {
    drive->visitSectors(lba, 1);
    return pass.reads ? drive->readSector(lba, 1, pass.sector.data(), pass.range.sectorSize)
                      : drive->seekSector(lba);
}

std::optional<TestResult> SeekTest::afterMove(const Step& step) {
    DiagModule::percentDone(static_cast<int>(step.percent()));
    return stopIfAsked(step.lba);
}

std::optional<TestResult> SeekTest::stopIfAsked(std::uint64_t lba) {
    if (!DiagModule::checkForStop())
        return std::nullopt;
    reportUserAbort(lba);
    return TestResult::USERABORTED;
}

}  // namespace libDriveTest
