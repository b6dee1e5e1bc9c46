#pragma once

#include <cstdint>

#include "DriveTest.h"
#include "libDrive2/DriveCallback.h"

namespace libDriveTest {

/// What the module's drive callbacks share: the way back into the test that runs.
class DriveTestCallbackBase {
protected:
    explicit DriveTestCallbackBase(DriveTest& owner) : test(&owner) {}

    [[nodiscard]] Drive& drive() const { return *test->drive; }
    /// Counts against the test's limits.
    void sendCounted(const Event& event, const EventType& type) const { test->sendEvent(event, type); }
    /// Bypasses the counters.
    void sendUncounted(const Event& event, const EventType& type) const {
        test->sendCallbackEvent(event, type);
    }
    void mergeResult(const TestResult& result) const { test->result.merge(result); }

    DriveTest* test;
};

/// Turns the drive layer's reports of serious and of recovered errors into events and into the test's
/// result. They do not count towards the limits.
class DriveTestCallback : public libDrive2::DriveCallback, public DriveTestCallbackBase {
public:
    DriveTestCallback(DriveTest& owner, bool displayAdvanced, bool displayRecovered);

    void onDriveNotify(std::uint32_t code) override;

private:
    bool displayAdvancedErrs;
    bool displayRecoveredErrs;
};

}  // namespace libDriveTest
