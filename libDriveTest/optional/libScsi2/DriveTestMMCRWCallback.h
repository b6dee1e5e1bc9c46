#pragma once

#include "../../DriveTestCallback.h"

namespace libDriveTest {

/// Tells the user how the long operations of a recordable drive go: formatting, blanking, reserving a track.
class DriveTestMMCRWCallback : public libDrive2::RecordableDriveCallback, public DriveTestCallbackBase {
public:
    explicit DriveTestMMCRWCallback(DriveTest& owner) : DriveTestCallbackBase(owner) {}

    /// Failures count towards the test's limits.
    void handleResult(std::int32_t eventType) override;
};

}  // namespace libDriveTest
