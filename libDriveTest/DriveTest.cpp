#include "DriveTest.h"

#include <memory>
#include <string>
#include <utility>

#include "DriveTestCallback.h"
#include "DriveTestLogger.h"
#include "Events.h"
#include "Parameters.h"
#include "RangeSetup.h"

namespace libDriveTest {

namespace {

bool registered = false;

void addCommonParameters(Test& test) {
    parameters::displayAdvancedErrs.addTo(test);
    parameters::displayRecoveredErrs.addTo(test);
    test.addDevicePropertyExclusion("__libDriveTest_Disable", "");
    parameters::doNotEject.addTo(test);
    parameters::promptUserForMedia.addTo(test);
    parameters::xferSizeHinting.addTo(test);
    parameters::maxErrors.addTo(test);
    parameters::maxWarnings.addUnreadTo(test);
    parameters::warnRMB.addTo(test);
    parameters::retryCount.addTo(test);
    parameters::maxRetries.addTo(test);
}

}  // namespace

Array<non_fail_result> DriveTest::s_nonFailResults;

zel::Logger& driveTestLogger() {
    static zel::Logger& instance = zel::LogFactory::createLogger("libDriveTest.DriveTest");
    return instance;
}

zel::Logger& loggerOf(const char* testName) {
    return zel::LogFactory::createLogger((std::string("libDriveTest.") + testName).c_str());
}

DriveTest::DriveTest(Drive& testedDrive) : drive(&testedDrive) {}

DriveTest::DriveTest(libDrive2::SharedDrive sharedDrive)
    : drive(sharedDrive.get()), driveHolder(std::move(sharedDrive)) {}

DriveTest::~DriveTest() = default;

void DriveTest::init(Test& test) {
    if (!registered) {
        DiagModule::registerLibrary("libDriveTest");
        registered = true;
    }
    addCommonParameters(test);
    events::createCommon();
    strings::createCommon();
    // Appended at every call: look-ups take the first match.
    s_nonFailResults.append({libDrive2::LIBDRIVE2_BUSY, TestResult::DEVICEBUSY, events::deviceBusy.get()});
    s_nonFailResults.append(
        {libDrive2::LIBDRIVE2_NO_ACCESS, TestResult::CANNOTRUN, events::cannotAccessDevice.get()});
}

void DriveTest::initWriteTest() {
    events::createForWriting();
    events::writeProtectedMedia->setVariable("MediaName", "Drive");
    for (const auto error :
         {libDrive2::LIBDRIVE2_WRITE_PROTECTED_MEDIUM, libDrive2::LIBDRIVE2_WRITE_PROTECTED_DEVICE})
        s_nonFailResults.append({error, TestResult::CANNOTRUN, events::writeProtectedMedia.get()});
}

void DriveTest::addGoingOn(Test& test) {
    parameters::sectorsDone.addTo(test);
    parameters::errorsBefore.addTo(test);
}

TestResult DriveTest::skipDone(zel::Logger& logger, ChunkSequence& sequence, std::uint64_t& done) {
    done = parameters::sectorsDone.value();
    if (!sequence.skip(done))
        return reportInvalidParameters(logger, {parameters::sectorsDone.item()});
    errorCount += parameters::errorsBefore.value();
    return TestResult::PASS;
}

TestResult DriveTest::run() {
    zel::Logger& log = driveTestLogger();
    errorCount = maxErrors = warningCount = maxWarnings = 0;
    const std::uint32_t retries = parameters::retryCount.value();
    // MaxWarnings is never read: the warning limit stays off.
    maxErrors = parameters::maxErrors.value();
    drive->setRetryCount(retries);
    drive->setCallback(std::make_unique<DriveTestCallback>(*this, parameters::displayAdvancedErrs.value(),
                                                           parameters::displayRecoveredErrs.value()));
    if (!drive->isMedium())
        log.line(3, "The device being tested does not have a native sector size, so this test will treat ",
                 drive->getSectorSize(), " bytes as being one sector.");
    result = TestResult::PASS;
    log.line(1,
             zel::formatted("Starting test with max errors = %i, max warnings = %i", maxErrors, maxWarnings));
    drive->preventMediumRemoval(true);
    const TestResult testResult = runTest();
    drive->preventMediumRemoval(false);
    if (testResult == TestResult::PASS && result == TestResult::WARN)
        log.line(3,
                 "The test completed successfully, however there were conditions that may require further "
                 "investigation.");
    else
        result.merge(testResult);
    return result;
}

}  // namespace libDriveTest
