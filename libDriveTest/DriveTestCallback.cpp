#include "DriveTestCallback.h"

#include "Events.h"

namespace libDriveTest {

DriveTestCallback::DriveTestCallback(DriveTest& owner, bool displayAdvanced, bool displayRecovered)
    : DriveTestCallbackBase(owner),
      displayAdvancedErrs(displayAdvanced),
      displayRecoveredErrs(displayRecovered) {}

void DriveTestCallback::onDriveNotify(std::uint32_t code) {
    if (code == libDrive2::kNotifyAdvancedError && displayAdvancedErrs) {
        events::advancedError->setVariable("errmsg", drive().getLastErrorStr());
        sendUncounted(*events::advancedError, EventType::ERR);
        mergeResult(TestResult::FAIL);
    } else if (code == libDrive2::kNotifyRecoveredError && displayRecoveredErrs) {
        events::nonCritical->setVariable("errmsg", drive().getLastErrorStr());
        sendUncounted(*events::nonCritical, EventType::WARNING);
        mergeResult(TestResult::WARN);
    }
}

}  // namespace libDriveTest
