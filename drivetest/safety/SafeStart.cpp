#include "drivetest/safety/SafeStart.h"

#include <algorithm>

#include "drivetest/devices/Drives.h"
#include "drivetest/safety/SystemAdvice.h"
#include "drivetest/terminal/Labels.h"
#include "drivetest/terminal/Terminal.h"
#include "drivetest/terminal/Texts.h"
#include "libDrive2/DeviceLockingManager.h"
#include "libDrive2/DeviceOpeners.h"
#include "quix5/DeviceInventory.h"
#include "quix5/ParameterText.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

using quix5::DiagDevice;

/// The value of a parameter of yes or no, given or by default; false without one.
bool flagOf(const quix5::Test& test, const char* name) {
    const quix5::Parameter* const parameter = name != nullptr ? quix5::findParameter(test, name) : nullptr;
    if (parameter == nullptr)
        return false;
    const auto value = parameter->isset() ? parameter->value() : parameter->defaultValue();
    return value && value->valueBool();
}

bool hasSerial(const DiagDevice& device) {
    return !textProperty(device, quix5::kPropertySerial).empty();
}

std::string whatToType(const DiagDevice& device) {
    return hasSerial(device) ? words("its serial number, {text}", {{"text", quoted(confirmationOf(device))}})
                             : words("its path, {text}", {{"text", quoted(confirmationOf(device))}});
}

/// What the test itself has to say of the medium; empty for nothing.
std::string warningOf(const ConfirmationRequest& request) {
    const auto warning = request.test.entry->traits.warning;
    if (warning == nullptr || request.obstacle)
        return {};
    return warning(request.device, {libDrive2::kAccessRead, libDrive2::kShareRead | libDrive2::kShareWrite})
        .utf8();
}

/// Either may be empty.
std::string joined(const std::string& first, const std::string& second) {
    if (first.empty() || second.empty())
        return first + second;
    return words("{first}, {second}", {{"first", first}, {"second", second}});
}

void showDrive(const ConfirmationRequest& request, Console& console) {
    const DiagDevice& device = request.device;
    const std::string path = device.osLocator().utf8();
    std::string identity = textProperty(device, quix5::kPropertyModel);
    const auto addToIdentity = [&identity](const std::string& text) { identity = joined(identity, text); };
    if (hasSerial(device))
        addToIdentity(
            words("serial number {serial}", {{"serial", textProperty(device, quix5::kPropertySerial)}}));
    if (const std::uint64_t bytes = numberProperty(device, quix5::kPropertyBytes); bytes != 0)
        addToIdentity(sizeText(bytes));
    const std::string writes =
        words("{test} writes to {drive}", {{"test", request.test.descriptor.name()}, {"drive", path}});
    console.line(identity.empty()
                     ? writes
                     : words("{problem}: {reason}", {{"problem", writes}, {"reason", identity}}));
    if (request.held.isHeld())
        tellOfRest(device, request.held.lease(), console);
    const auto contents = libDrive2::DeviceLockingManager(device.osLocator()).contents();
    // Of a drive that cannot be looked at, the refusal tells.
    if (contents.isEmpty() && !request.obstacle)
        console.line("  " + words("no partition table or file system is recognised on it"));
    for (const libDrive2::VolumeContent& content : contents)
        console.line("  " + joined(words("it holds {contents}", {{"contents", content.what}}),
                                   content.bytes != 0 ? sizeText(content.bytes) : ""));
    const char* const preserves = request.test.entry->traits.preservesIf;
    if (preserves == nullptr)
        console.line("  " + words("the test records on the medium: WHAT IT HOLDS WILL BE LOST"));
    else if (!preservesData(request.test))
        console.line("  " +
                     words("{parameter} is off: WHAT IT HOLDS WILL BE LOST", {{"parameter", preserves}}));
    if (const std::string warning = warningOf(request); !warning.empty())
        console.line("  " + warning);
}

ExitStatus refuse(const std::string& sentence, ExitStatus status) {
    complain(sentence);
    return status;
}

/// What was confirmed is the drive that was shown: a person takes long enough to change it.
ExitStatus checkUnchanged(const ConfirmationRequest& request) {
    std::string difference;
    if (!request.held.isHeld() || request.held.isAsShown(difference))
        return kExitPass;
    return refuse(words("{reason}; nothing was written", {{"reason", difference}}), kExitCannotRun);
}

Obstacle encryptedObstacle(const std::string& reason) {
    return {kExitCannotRun, reason,
            words("tests that write leave alone what is encrypted: decrypt or wipe it first, or run a "
                  "test that reads")};
}

/// What is formatted in a way that nothing could be put back.
std::optional<Obstacle> obstacleInFormat(const DiagDevice& device, const libDrive2::DeviceLease& lease) {
    if (lease.takesWritesInOrderOnly())
        return Obstacle{
            kExitCannotRun,
            words("{drive} is a host-managed zoned drive: it takes writes only in the order of its zones, "
                  "so that nothing could be put back",
                  {{"drive", device.osLocator()}}),
            words("run a test that reads"), false};
    if (lease.holdsForeignTags())
        return Obstacle{
            kExitCannotRun,
            words("{drive} keeps application tags beside its sectors (protection information) that belong to "
                  "the system that wrote them: a write would replace them, and they could not be put back",
                  {{"drive", device.osLocator()}}),
            words("run a test that reads"), false};
    return std::nullopt;
}

}  // namespace

void tellOfRest(const DiagDevice& device, const libDrive2::DeviceLease& lease, Console& console) {
    const std::uint64_t rest =
        numberProperty(device, quix5::kPropertyBytes) % std::max(1U, lease.identity().sectorBytes);
    if (rest != 0)
        console.line(eventLabel(words("note:")) +
                     zel::counted(rest, "the last {n} byte are no whole sector and are not tested",
                                  "the last {n} bytes are no whole sector and are not tested"));
}

void tellOfFormat(const DiagDevice& device, Console& console) {
    for (const std::string& note : formatNotes(device))
        console.line(eventLabel(words("note:")) + note);
}

std::string confirmationOf(const DiagDevice& device) {
    const std::string serial = textProperty(device, quix5::kPropertySerial);
    return serial.empty() ? device.osLocator().utf8() : serial;
}

bool writesToDrive(const quix5::OfferedTest& test) {
    return test.descriptor.isDestructive() && !flagOf(test.descriptor, test.entry->traits.writesUnless);
}

bool preservesData(const quix5::OfferedTest& test) {
    return flagOf(test.descriptor, test.entry->traits.preservesIf);
}

std::optional<Obstacle> findLastingObstacle(const DiagDevice& device, libDrive2::DeviceLease& lease) {
    zel::Wording reason;
    if (lease.examineEncryption(reason) == libDrive2::Encryption::found)
        return encryptedObstacle(reason.shown().utf8());
    return obstacleInFormat(device, lease);
}

std::optional<Obstacle> findObstacle(const DiagDevice& device, const HeldDrive& held, bool allowUnexamined) {
    const bool isBusy = held.failure().type == libDrive2::LIBDRIVE2_BUSY;
    // The test would take it for busy.
    const bool isForbidden = held.failure().type == libDrive2::LIBDRIVE2_WRITE_PROTECTED_DEVICE;
    if (!held.isHeld() && !isBusy)
        return Obstacle{kExitCannotRun, held.failure().text.shown().utf8(), words("nothing was written"),
                        !isForbidden};
    libDrive2::DeviceLockingManager volumes(device.osLocator());
    const libDrive2::Encryption encryption = volumes.examineEncryption();
    const std::string reason = volumes.getLastErrorStr().shown().utf8();
    if (encryption == libDrive2::Encryption::found)
        return encryptedObstacle(reason);
    // What comes into the drive later was neither shown nor confirmed. Optical media are another matter: what
    // is recorded goes to new ones.
    if (held.isHeld() && held.identity().sectors == 0 &&
        device.hasCapability(quix5::DeviceCapability::RemovableStorage) &&
        !device.hasCapability(quix5::DeviceCapability::SCSIMMC))
        return Obstacle{
            kExitMedia, words("there is no medium in {drive}", {{"drive", device.osLocator()}}),
            words("put in the one that may be written to, so that it can be shown, then start again")};
    if (isBusy)
        return Obstacle{kExitBusy, held.failure().text.shown().utf8(), adviceOnUsedDrive()};
    if (auto unfit = obstacleInFormat(device, held.lease()))
        return unfit;
    if (encryption == libDrive2::Encryption::unexamined && !allowUnexamined)
        return Obstacle{
            kExitCannotRun, reason,
            words("if you know that it holds none, or need none of it, give --allow-unexamined beside "
                  "--confirm; nothing was written"),
            false};
    return std::nullopt;
}

ExitStatus confirmWriting(const ConfirmationRequest& request, Console& console) {
    const std::string path = request.device.osLocator().utf8();
    const std::string expected = confirmationOf(request.device);
    showDrive(request, console);
    const bool isRefusedHere = request.obstacle && !request.obstacle->isKnownToTest;
    if (request.given == expected && !isRefusedHere)
        return checkUnchanged(request);
    if (!request.given.empty() && request.given != expected)
        return refuse(words("--confirm {given} does not name {drive}: type {expected}, if this is the drive "
                            "you mean; nothing was written",
                            {{"given", quoted(request.given)},
                             {"drive", path},
                             {"expected", whatToType(request.device)}}),
                      kExitUsage);
    // Nobody should confirm what will be refused.
    if (request.obstacle)
        return refuse(words("{reason}; {advice}",
                            {{"reason", request.obstacle->reason}, {"advice", request.obstacle->advice}}),
                      request.obstacle->status);
    if (!request.mayAsk)
        return refuse(
            words("{test} writes to the drive: confirm that with --confirm {expected}; nothing was written",
                  {{"test", request.test.descriptor.name()}, {"expected", quoted(expected)}}),
            kExitUsage);
    console.line(words("Type {expected}, to go on; anything else leaves the drive as it is:",
                       {{"expected", whatToType(request.device)}}));
    std::string line;
    if (waitForLine(std::chrono::milliseconds(-1), line) == InputWait::line && line == expected)
        return checkUnchanged(request);
    return refuse(words("not confirmed; nothing was written to {drive}", {{"drive", path}}),
                  kExitUserAborted);
}

}  // namespace drivetest
