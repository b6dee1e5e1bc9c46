#pragma once

#include <cstdint>

#include "quix5/Event.h"
#include "quix5/MessageBox2.h"
#include "quix5/TestResult.h"
#include "zel/Export.h"

namespace libDrive2 {
class Drive;
}

namespace quix5 {

class DiagDevice;

/// Where a raise or send stands in the source.
struct SourceLocation {
    const char* file = "";
    int line = 0;
};

/// Whoever runs tests: the receiver of all that DiagModule's services pass on. All calls come on the thread
/// that runs the test and should return soon; only a message box may wait.
class DRIVETEST_API Host {
public:
    virtual ~Host() = default;

    virtual void registerLibrary(const zel::String& name) = 0;
    /// An event that a test sends. The result is ignored by tests.
    virtual bool sendEvent(const Event& event, EventType type, SourceLocation where) = 0;
    /// An event raised about the run itself, such as invalid parameters.
    virtual void error(const Event& event, SourceLocation where) = 0;
    virtual void warning(const Event& event, SourceLocation where) = 0;
    virtual void progress(const LocalizedString& text) = 0;
    virtual void percentDone(int percent) = 0;
    virtual bool checkForStop() = 0;
    virtual void requestAbort() = 0;
    virtual bool promptEnabled() = 0;
    /// Null when no prompt can be shown; otherwise the caller owns the box.
    virtual MessageBox2* createMessageBox2(const zel::String& text, const zel::String& title) = 0;

    /// The drive of the coming run was opened: the time to attach an observer or a journal. The drive
    /// lives until driveReleased(). Anything but PASS ends the run with that result before the test touches
    /// the drive.
    virtual TestResult driveObtained(libDrive2::Drive& /*drive*/, const DiagDevice& /*device*/) {
        return TestResult::PASS;
    }
    virtual void driveReleased() {}
};

}  // namespace quix5
