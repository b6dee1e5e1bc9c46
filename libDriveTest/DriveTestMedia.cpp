#include <memory>

#include "DriveTest.h"
#include "DriveTestLogger.h"
#include "Events.h"
#include "Parameters.h"
#include "zel/Clock.h"

namespace libDriveTest {

using libDrive2::LIBDRIVE2_MEDIA_BUSY;
using libDrive2::LIBDRIVE2_MEDIA_CORRECT;
using libDrive2::LIBDRIVE2_MEDIA_INCORRECT;
using libDrive2::LIBDRIVE2_MEDIA_NONE;
using quix5::MessageBox2;

namespace {

constexpr std::uint32_t kPollMs = 500;
constexpr unsigned int kMediaTimeoutMs = 5000;
constexpr std::uint32_t kSettleStepMs = 1000;
constexpr int kSettleSteps = 10;

/// Waits until the user closes the box or a medium shows up in the drive.
MessageBox2_Returns waitForAnswer(MessageBox2& box, Drive* drive) {
    while (!box.wait(drive != nullptr ? kPollMs : 0))
        if (drive != nullptr && (drive->isMediaPresent() || drive->isMediaLoading()))
            return MessageBox2_Returns::OK;
    const MessageBox2_Returns answer = box.getReturn();
    if (answer == MessageBox2_Returns::OK && drive != nullptr)
        drive->loadDrive();
    if (answer == MessageBox2_Returns::CANCEL)
        DiagModule::requestAbort();
    return answer;
}

/// True when the user's medium fits; `correct` is false after one that does not.
bool checkInsertedMedium(Drive& drive, unsigned int timeoutMs, bool& correct) {
    zel::Logger& log = driveTestLogger();
    if (!drive.waitForMedia(timeoutMs)) {
        log.line(1, "DriveTest::requireMedia - user hit OK, MEDIA not present");
        return false;
    }
    if (drive.isMediaCorrect()) {
        log.line(1, "DriveTest::requireMedia - prompting for media - user hit OK, but media present");
        return true;
    }
    log.line(1, "DriveTest::requireMedia - user hit OK, MEDIA incorrect");
    correct = false;
    return false;
}

LIBDRIVE2_MEDIA_STATE presentState(Drive& drive, bool correct) {
    if (!drive.isMediaPresent())
        return LIBDRIVE2_MEDIA_NONE;
    return correct ? LIBDRIVE2_MEDIA_CORRECT : LIBDRIVE2_MEDIA_INCORRECT;
}

}  // namespace

MessageBox2_Returns DriveTest::__promptForMedia(zel::CopiedResource<zel::PointerStorage<Drive>> drive,
                                                bool /*ignored*/, bool incorrect, String message) {
    const String mediaName = mediaType();
    const zel::TraceLogger trace(driveTestLogger(), "DriveTest::__promptForMedia");
    if (message.isEmpty()) {
        if (mediaName.isEmpty() || mediaName.compareNoCase("BLANK") == 0)
            message = __localize("mediaRequired", "Please insert media.");
        else if (incorrect)
            message =
                __localize("mediaIncorrect",
                           "The media you inserted is not a {MediaName1}. Please insert a {MediaName2}.")
                    .replace("{MediaName1}", mediaName)
                    .replace("{MediaName2}", mediaName);
        else
            message = __localize("mediaRequiredSimple", "Please insert a {MediaName}.")
                          .replace("{MediaName}", mediaName);
        if (drive && !drive->name.isEmpty())
            message += " (" + drive->name + ")";
    }
    const String title = __localize("mediaRequiredTitle", "Insert Media");
    const std::unique_ptr<MessageBox2> box(DiagModule::createMessageBox2(message, title, 0, 1, 3, true));
    if (box == nullptr || !box->display())
        return MessageBox2_Returns::NOT_SHOWN;
    return waitForAnswer(*box, drive.get());
}

MessageBox2_Returns DriveTest::promptForMedia() {
    return __promptForMedia(zel::CopiedResource<zel::PointerStorage<Drive>>(drive), false, false, String());
}

bool DriveTest::__requireMedia(Drive& drive, LIBDRIVE2_MEDIA_STATE& state, bool& prompted,
                               unsigned int timeoutMs, DriveTest* test) {
    zel::Logger& log = driveTestLogger();
    const zel::TraceLogger trace(log, "DriveTest::requireMedia");
    const bool removable = drive.isMediaRemovable();
    prompted = false;
    bool correct = false;
    state = LIBDRIVE2_MEDIA_NONE;
    if (drive.waitForMedia(timeoutMs)) {
        correct = drive.isMediaCorrect();
        state = correct ? LIBDRIVE2_MEDIA_CORRECT : LIBDRIVE2_MEDIA_INCORRECT;
    }
    const bool promptUser = parameters::promptUserForMedia.value();
    const bool doNotEject = parameters::doNotEject.value();
    if (removable && DiagModule::promptEnabled() && promptUser && !correct) {
        log.line(1, "DriveTest::requireMedia - prompting for media");
        bool ejected = false;
        if (drive.isMediaRemovable())
            ejected = !doNotEject && drive.ejectDrive();
        else if (test != nullptr && parameters::warnRMB.value())
            test->sendEvent(*events::mediumNotPresentRMBZero, EventType::WARNING);
        const MessageBox2_Returns answer = __promptForMedia(
            zel::CopiedResource<zel::PointerStorage<Drive>>(&drive), ejected, false, String());
        prompted = true;
        if (answer == MessageBox2_Returns::CANCEL) {
            log.line(2, "DriveTest::requireMedia - prompting for media - CANCEL selected");
            return false;
        }
        if (answer != MessageBox2_Returns::OK)
            return true;
        if (checkInsertedMedium(drive, timeoutMs, correct)) {
            state = LIBDRIVE2_MEDIA_CORRECT;
            return true;
        }
    }
    state = presentState(drive, correct);
    return true;
}

bool DriveTest::requireMedia(LIBDRIVE2_MEDIA_STATE& state, bool& prompted, unsigned int timeoutMs) {
    return __requireMedia(*drive, state, prompted, timeoutMs, this);
}

bool DriveTest::askForMedia(bool mayAsk, LIBDRIVE2_MEDIA_STATE& state, unsigned int maxPrompts,
                            unsigned int& prompts) {
    while (true) {
        bool prompted = false;
        if (DiagModule::checkForStop() || !__requireMedia(*drive, state, prompted, kMediaTimeoutMs, this))
            return false;
        if (prompted)
            ++prompts;
        if (!mayAsk || !DiagModule::promptEnabled() || state == LIBDRIVE2_MEDIA_CORRECT ||
            (maxPrompts != 0 && prompts >= maxPrompts))
            return true;
    }
}

void DriveTest::settleAutoRun(Drive& drive, bool userInserted) {
    for (int i = 0; userInserted && i < kSettleSteps && !DiagModule::checkForStop(); ++i)
        zel::System::mssleep(kSettleStepMs);
    drive.reenableAutoRun();
}

TestResult DriveTest::checkMedia(unsigned int maxPrompts) {
    const zel::TraceLogger trace(driveTestLogger(), "DriveTest::checkMedia");
    const bool promptUser = parameters::promptUserForMedia.value();
    const bool removable = drive->isMediaRemovable();
    const bool autoRunOff = drive->disableAutoRun();
    LIBDRIVE2_MEDIA_STATE state = LIBDRIVE2_MEDIA_NONE;
    unsigned int prompts = 0;
    // Stopped or cancelled: auto-run stays as it is.
    if (!askForMedia(removable && promptUser, state, maxPrompts, prompts))
        return TestResult::USERABORTED;
    if (autoRunOff)
        settleAutoRun(*drive, prompts > 0);
    return resultOfMediaState(state, removable);
}

TestResult DriveTest::resultOfMediaState(LIBDRIVE2_MEDIA_STATE state, bool removable) {
    if (state == LIBDRIVE2_MEDIA_CORRECT)
        return TestResult::PASS;
    if (DiagModule::checkForStop())
        return TestResult::USERABORTED;
    if (state == LIBDRIVE2_MEDIA_NONE && !removable) {
        const std::source_location where = std::source_location::current();
        ++warningCount;
        DiagModule::warning(events::cannotGetTotalSectors.get(), where.file_name(),
                            static_cast<int>(where.line()));
        return TestResult::WARN;
    }
    if (state == LIBDRIVE2_MEDIA_BUSY)
        return TestResult::DEVICEBUSY;
    return state == LIBDRIVE2_MEDIA_INCORRECT ? TestResult::INCORRECTMEDIA : TestResult::NOMEDIA;
}

TestResult DriveTest::setUpDrive(RangePlan& plan) {
    if (const TestResult media = checkMedia(parameters::maxRetries.value()); media != TestResult::PASS)
        return media;
    plan.sectorCount = drive->getSectorCount();
    if (plan.sectorCount == 0) {
        sendEvent(*events::cannotGetTotalSectors, EventType::WARNING);
        return TestResult::WARN;
    }
    plan.sectorSize = drive->getSectorSize();
    if (plan.sectorSize == 0) {
        sendEvent(*events::cannotGetSectorSize, EventType::WARNING);
        return TestResult::WARN;
    }
    return TestResult::PASS;
}

}  // namespace libDriveTest
