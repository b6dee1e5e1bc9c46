#include "drivetest/shelf/DriveInquiry.h"

#include <functional>

#include "drivetest/devices/ApartAnswers.h"
#include "drivetest/devices/DeviceBytes.h"
#include "drivetest/devices/Drives.h"
#include "drivetest/record/Json.h"
#include "drivetest/safety/SafeStart.h"
#include "libDrive2/DeviceLease.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using libDrive2::DeviceLease;
using zel::words;

/// Who uses it, and what it is made of. Blocks as long as the drive does.
void look(const DriveQuestion& question, DriveAnswer& answer) {
    libDrive2::DeviceStatus failure;
    const auto lease = DeviceLease::take(question.locator, libDrive2::LeasePurpose::look, failure);
    if (lease == nullptr) {
        const bool isNoDrive = failure.type == libDrive2::LIBDRIVE2_BAD_ARGUMENT;
        (isNoDrive ? answer.error : answer.problem) = failure.text.shown().utf8();
        return;
    }
    answer.identity = lease->identity();
    for (const zel::String& user : lease->users())
        answer.users.push_back(user.utf8());
    if (!question.isToBeWritten)
        return;
    if (const auto obstacle = findLastingObstacle(answer.device, *lease))
        answer.whyNotToWrite =
            words("{reason}; {advice}", {{"reason", obstacle->reason}, {"advice", obstacle->advice}});
}

std::string packed(const DriveAnswer& answer) {
    const Json json{{"error", answer.error},
                    {"device", bytesOf(answer.device)},
                    {"identity", answer.identity ? answer.identity->toText() : std::string()},
                    {"problem", answer.problem},
                    {"users", answer.users},
                    {"whyNotToWrite", answer.whyNotToWrite}};
    const std::vector<std::uint8_t> bytes = Json::to_cbor(json);
    return {bytes.begin(), bytes.end()};
}

std::string answerOf(const DriveQuestion& question) {
    DriveAnswer answer;
    if (isThere(question.locator, answer.error) && findDrive(question.locator, answer.device, answer.error))
        look(question, answer);
    return packed(answer);
}

bool readAnswer(const std::string& bytes, DriveAnswer& answer) {
    const Json json = Json::from_cbor(bytes, true, false);
    try {
        answer.error = json.at("error").get<std::string>();
        answer.problem = json.at("problem").get<std::string>();
        answer.users = json.at("users").get<std::vector<std::string>>();
        answer.whyNotToWrite = json.at("whyNotToWrite").get<std::string>();
        libDrive2::DriveIdentity identity;
        if (libDrive2::DriveIdentity::fromText(json.at("identity").get<std::string>(), identity))
            answer.identity = std::move(identity);
        return readDevice(json.at("device").get<std::string>(), answer.device);
    } catch (const Json::exception&) {
        return false;
    }
}

DriveAnswer understood(const ApartAnswer& told, const std::string& locator) {
    DriveAnswer answer;
    if (told.end == ApartAnswer::End::answered && readAnswer(told.text, answer))
        return answer;
    answer = {};
    answer.device.setLocators(locator, locator);
    answer.isSilent = true;
    answer.problem = describeSilence(locator, told.end);
    return answer;
}

}  // namespace

std::string lastingIdentity(const std::optional<libDrive2::DriveIdentity>& identity) {
    return identity && libDrive2::isStable(*identity) ? identity->toText() : std::string();
}

std::vector<DriveAnswer> askDrives(const std::vector<DriveQuestion>& questions) {
    std::vector<std::function<std::string()>> asked;
    asked.reserve(questions.size());
    for (const DriveQuestion& question : questions)
        asked.emplace_back([question] { return answerOf(question); });
    const std::vector<ApartAnswer> told = askApart(asked);
    std::vector<DriveAnswer> answers;
    answers.reserve(questions.size());
    for (std::size_t i = 0; i < questions.size(); ++i)
        answers.push_back(understood(told[i], questions[i].locator));
    return answers;
}

}  // namespace drivetest
