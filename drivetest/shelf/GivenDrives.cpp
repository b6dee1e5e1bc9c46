#include "drivetest/shelf/GivenDrives.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "drivetest/devices/Drives.h"
#include "drivetest/grade/Grading.h"
#include "drivetest/report/OutputFormats.h"
#include "drivetest/run/Setup.h"
#include "drivetest/safety/SafeStart.h"
#include "drivetest/terminal/Texts.h"
#include "libDrive2/DeviceLease.h"
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
        if (format.option != kJUnitOption && !options.outputOf(format.option).empty())
            return std::string(format.option);
    if (!options.importedMap.empty())
        return "--import";
    return options.keepRecord ? "" : "--no-record";
}

/// A drive that cannot be looked at now tells why when it is to be tested.
std::optional<DriveIdentity> lookAt(const std::string& locator) {
    libDrive2::DeviceStatus failure;
    const auto lease = libDrive2::DeviceLease::take(locator, libDrive2::LeasePurpose::look, failure);
    return lease != nullptr ? std::optional(lease->identity()) : std::nullopt;
}

bool areOne(const std::optional<DriveIdentity>& a, const std::optional<DriveIdentity>& b) {
    return a && b && (libDrive2::isSameDrive(*a, *b) || libDrive2::sharesStorage(*a, *b));
}

/// Drives are known by what they are, whatever their names.
bool areDifferent(const std::vector<std::string>& devices, std::string& error) {
    std::vector<std::optional<DriveIdentity>> identities;
    for (std::size_t i = 0; i < devices.size(); ++i) {
        identities.push_back(lookAt(devices[i]));
        for (std::size_t k = 0; k < i; ++k) {
            if (devices[k] != devices[i] && !areOne(identities[k], identities[i]))
                continue;
            error = devices[k] == devices[i]
                        ? words("{drive} is given twice", {{"drive", devices[i]}})
                        : words("{drive} and {other} are one drive, or share a part of it: name one of them",
                                {{"drive", devices[k]}, {"other", devices[i]}});
            return false;
        }
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
    for (const DriveWork& drive : drives)
        names.push_back(drive.name);
    for (DriveWork& drive : drives)
        if (std::ranges::count(names, drive.name) > 1)
            drive.name += " " + drive.device;
}

/// Confirmations, each of which is good for one drive.
class Confirmations {
public:
    explicit Confirmations(const RunOptions& options) : m_left(options.shelf.moreConfirmed) {
        if (!options.confirm.empty())
            m_left.insert(m_left.begin(), options.confirm);
    }

    /// Empty where this drive was not confirmed.
    std::string take(const std::string& wanted) {
        const auto found = std::ranges::find(m_left, wanted);
        if (found == m_left.end())
            return {};
        m_left.erase(found);
        return wanted;
    }
    [[nodiscard]] const std::vector<std::string>& left() const { return m_left; }

private:
    std::vector<std::string> m_left;
};

/// That the test will transfer; 0 where that cannot be told.
double bytesOf(const ChosenTest& chosen) {
    const auto foresee = chosen.test->entry->traits.foresee;
    const auto sectorBytes =
        static_cast<std::uint32_t>(numberProperty(chosen.device, quix5::kPropertySectorSize));
    if (foresee == nullptr || sectorBytes == 0)
        return 0;
    return foresee(numberProperty(chosen.device, quix5::kPropertyBytes) / sectorBytes, sectorBytes).bytes;
}

bool addDrive(const RunOptions& given, const std::string& device, Confirmations& confirmations,
              ShelfWork& work, std::string& error) {
    RunOptions options = given;
    options.device = device;
    options.shelf = {};
    options.confirm.clear();
    DriveWork drive{device, device};
    ExitStatus refused = kExitPass;
    const auto chosen = chooseTest(options, refused, error);
    if (!chosen && refused == kExitUsage)
        return false;
    drive.refusal = std::exchange(error, "");
    drive.refusedAs = refused;
    if (chosen) {
        drive.name = nameOf(chosen->device, device);
        drive.bytes = bytesOf(*chosen);
        options.confirm = confirmations.take(confirmationOf(chosen->device));
        drive.runs.push_back(std::move(options));
    }
    work.drives.push_back(std::move(drive));
    return true;
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
    work.hangSeconds = options.shelf.hangSeconds.value_or(0);
    Confirmations confirmations(options);
    for (const std::string& device : devices)
        if (!isThere(device, error) || !addDrive(options, device, confirmations, work, error))
            return std::nullopt;
    if (!areDifferent(devices, error))
        return std::nullopt;
    if (!confirmations.left().empty()) {
        error = words("--confirm {given} names none of these drives; nothing was started",
                      {{"given", quoted(confirmations.left().front())}});
        return std::nullopt;
    }
    tellApart(work.drives);
    return work;
}

}  // namespace drivetest
