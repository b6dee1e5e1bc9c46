#include "DriveTest.h"
#include "Events.h"
#include "libDrive2/DeviceLockingManager.h"

namespace libDriveTest {

namespace {

zel::Logger& logger() {
    return zel::LogFactory::createLogger("libDriveTest.os");
}

TestResult refuse(const Event& event, TestResult result,
                  std::source_location where = std::source_location::current()) {
    DiagModule::warning(&event, where.file_name(), static_cast<int>(where.line()));
    return result;
}

}  // namespace

TestResult DriveTest::runWriteTest(const DiagDevice& device) {
    libDrive2::DeviceLockingManager volumes(device.osLocator());
    if (volumes.isBitLockerEnabledOnVolumes())
        return refuse(*events::encryptedDriveDetected, TestResult::CANNOTRUN);
    if (!volumes.lockVolumes())
        return refuse(*events::cannotOpenAccessDenied, TestResult::DEVICEBUSY);
    logger().line(1, "Volumes locked successfully");
    const TestResult outcome = run();
    if (volumes.unlockVolumes())
        logger().line(1, "Volumes unlocked successfully");
    else
        logger().line(4, "Unable to unlock one or more volumes");
    return outcome;
}

}  // namespace libDriveTest
