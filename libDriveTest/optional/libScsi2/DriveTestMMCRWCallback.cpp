#include "DriveTestMMCRWCallback.h"

#include <iterator>

#include "../../DriveTestLogger.h"
#include "../../Events.h"

namespace libDriveTest {

namespace {

/// One of the two: what is shown, or the error that is sent.
struct Answer {
    const SharedString* progress;
    const SharedEvent* error;
};

/// By the event type.
constexpr Answer kAnswers[] = {
    {&strings::mmcrwFormatting, nullptr},           {nullptr, &events::mmcrwCannotFormat},
    {nullptr, &events::mmcrwFormatNotSupported},    {&strings::mmcrwBlanking, nullptr},
    {nullptr, &events::mmcrwCannotBlank},           {&strings::mmcrwReservingTrack, nullptr},
    {nullptr, &events::mmcrwCannotFindFreeSectors},
};

}  // namespace

void DriveTestMMCRWCallback::handleResult(std::int32_t eventType) {
    if (eventType < 0 || eventType >= static_cast<std::int32_t>(std::size(kAnswers))) {
        loggerOf("DriveTestMMCRWCallback")
            .line(3, zel::formatted("DriveTestMMCRWCallback::handleResult: Unknown RecordableDrive event "
                                    "type : %i",
                                    eventType));
        return;
    }
    const Answer& answer = kAnswers[eventType];
    if (answer.progress != nullptr)
        DiagModule::progress(**answer.progress);
    else
        sendCounted(**answer.error, EventType::ERR);
}

}  // namespace libDriveTest
