#include "drivetest/shelf/GivenDrives.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "drivetest/devices/Drives.h"
#include "drivetest/grade/Grading.h"
#include "drivetest/report/OutputFormats.h"
#include "drivetest/run/Setup.h"
#include "drivetest/safety/SafeStart.h"
#include "drivetest/shelf/Confirmations.h"
#include "drivetest/shelf/DriveInquiry.h"
#include "drivetest/terminal/Texts.h"
#include "libDrive2/DriveIdentity.h"
#include "quix5/DeviceInventory.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using libDrive2::DriveIdentity;
using zel::words;

std::vector<std::string> devicesOf(const RunOptions& options) {
    std::vector<std::string> devices{options.device};
    devices.insert(devices.end(), options.shelf.moreDevices.begin(), options.shelf.moreDevices.end());
    return devices;
}

/// An option that says something of one drive; empty for none.
std::string findSingular(const RunOptions& options) {
    for (const OutputFormat& format : outputFormats())
        if (!options.outputOf(format.option).empty())
            return std::string(format.option);
    if (!options.importedMap.empty())
        return "--import";
    return options.keepRecord ? "" : "--no-record";
}

bool areOne(const std::optional<DriveIdentity>& a, const std::optional<DriveIdentity>& b) {
    return a && b && (libDrive2::isSameDrive(*a, *b) || libDrive2::sharesStorage(*a, *b));
}

/// Drives are known by what they are, whatever their names.
bool areDifferent(const std::vector<std::string>& devices, const std::vector<DriveAnswer>& answers,
                  std::string& error) {
    for (std::size_t i = 0; i < devices.size(); ++i)
        for (std::size_t k = 0; k < i; ++k) {
            if (devices[k] != devices[i] && !areOne(answers[k].identity, answers[i].identity))
                continue;
            error = devices[k] == devices[i]
                        ? words("{drive} is given twice", {{"drive", devices[i]}})
                        : words("{drive} and {other} are one drive, or share a part of it: name one of them",
                                {{"drive", devices[k]}, {"other", devices[i]}});
            return false;
        }
    return true;
}

std::string nameOf(const quix5::DiagDevice& device, const std::string& locator) {
    const std::string serial = textProperty(device, quix5::kPropertySerial);
    const std::string model = textProperty(device, quix5::kPropertyModel);
    return serial.empty() ? locator : model + (model.empty() ? "" : " ") + serial;
}

/// Twins get their locators, too.
void tellApart(std::vector<DriveWork>& drives) {
    std::vector<std::string> names;
    names.reserve(drives.size());
    for (const DriveWork& drive : drives)
        names.push_back(drive.name);
    for (DriveWork& drive : drives)
        if (std::ranges::count(names, drive.name) > 1)
            drive.name += " " + drive.device;
}

/// That the test will transfer; 0 where that cannot be told.
double bytesOf(const ChosenTest& chosen) {
    const auto foresee = chosen.test->entry->traits.foresee;
    const auto sectorBytes =
        static_cast<std::uint32_t>(numberProperty(chosen.device, quix5::kPropertySectorSize));
    if (foresee == nullptr || sectorBytes == 0)
        return 0;
    return foresee(numberProperty(chosen.device, quix5::kPropertyBytes) / sectorBytes, sectorBytes).bytes;
}

bool addDrive(const RunOptions& given, const DriveAnswer& answer, const std::string& device,
              Confirmations& confirmations, ShelfWork& work, std::string& error) {
    RunOptions options = given;
    options.device = device;
    options.shelf = {};
    options.confirm.clear();
    DriveWork drive{device, device};
    drive.identity = answer.identity;
    if (answer.isSilent) {
        drive.refusal = answer.problem;
        drive.refusedAs = kExitTimedOut;
        drive.runs.push_back(std::move(options));
        work.drives.push_back(std::move(drive));
        return true;
    }
    ExitStatus refused = kExitPass;
    const auto chosen = chooseTest(options, answer.device, refused, error);
    if (!chosen && refused == kExitUsage)
        return false;
    drive.refusal = std::exchange(error, "");
    drive.refusedAs = refused;
    if (chosen) {
        drive.name = nameOf(chosen->device, device);
        drive.bytes = bytesOf(*chosen);
        if (chosen->writes && chosen->isOptical())
            drive.longestSilence = kLongestSilenceOfRecorders;
        options.identity = lastingIdentity(answer.identity);
        options.confirm = confirmations.take(confirmationOf(chosen->device));
    }
    drive.runs.push_back(std::move(options));
    work.drives.push_back(std::move(drive));
    return true;
}

/// All of them at once. False when one is none, or all is stopped.
bool ask(const std::vector<std::string>& devices, std::vector<DriveAnswer>& answers, std::string& error) {
    std::vector<DriveQuestion> questions;
    questions.reserve(devices.size());
    for (const std::string& device : devices)
        questions.push_back({device});
    answers = askDrives(questions);
    for (const DriveAnswer& answer : answers)
        if (error.empty())
            error = answer.error;
    return error.empty();
}

}  // namespace

bool wantsShelf(const RunOptions& options) {
    const ShelfOptions& shelf = options.shelf;
    return !shelf.moreDevices.empty() || !shelf.folder.empty() || shelf.jobs || shelf.hangSeconds;
}

std::optional<ShelfWork> shelfWorkOf(const RunOptions& options, std::string& error) {
    const std::vector<std::string> devices = devicesOf(options);
    if (const std::string option = findSingular(options); !option.empty()) {
        error = words(
            "{option} is for one drive alone: give --out DIR instead, a folder for the record, the log and "
            "the report of each drive",
            {{"option", option}});
        return std::nullopt;
    }
    if (options.grading != kNoGrading && !Grading::load(options.grading, error))
        return std::nullopt;
    ShelfWork work;
    work.jobs = options.shelf.jobs.value_or(0);
    work.folder = options.shelf.folder;
    work.newFolderIn = options.recordFolder;
    work.commandLine = options.commandLine;
    work.hangSeconds = options.shelf.hangSeconds;
    std::vector<DriveAnswer> answers;
    if (!ask(devices, answers, error))
        return std::nullopt;
    Confirmations confirmations(options);
    for (std::size_t i = 0; i < devices.size(); ++i)
        if (!addDrive(options, answers[i], devices[i], confirmations, work, error))
            return std::nullopt;
    if (!areDifferent(devices, answers, error))
        return std::nullopt;
    // One that is silent may have the serial number that is left.
    const bool isEachKnown = std::ranges::none_of(answers, &DriveAnswer::isSilent);
    if (isEachKnown && !confirmations.left().empty()) {
        error = words("--confirm {given} names none of these drives; nothing was started",
                      {{"given", quoted(confirmations.left().front())}});
        return std::nullopt;
    }
    tellApart(work.drives);
    return work;
}

}  // namespace drivetest
