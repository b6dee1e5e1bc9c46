#include "drivetest/plan/PlanDrives.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "drivetest/devices/Drives.h"
#include "drivetest/shelf/DriveInquiry.h"
#include "drivetest/terminal/Texts.h"
#include "quix5/DeviceInventory.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using By = PlannedDrive::By;
using Faults = std::vector<PlanFault>;
using quix5::DiagDevice;
using zel::words;

/// Reads the inventory, which may take a while, when it is asked for.
class Inventory {
public:
    const std::vector<DiagDevice>& drives() {
        if (!m_drives)
            m_drives = listDrives();
        return *m_drives;
    }

private:
    std::optional<std::vector<DiagDevice>> m_drives;
};

std::string serialOf(const DiagDevice& device) {
    return textProperty(device, quix5::kPropertySerial);
}

PresentDrive foundAs(const PlannedDrive& planned, const DiagDevice& device) {
    return {&planned, device.osLocator().utf8(), device};
}

/// What it is, only the drive can say.
std::vector<PresentDrive> findByPath(const PlannedDrive& planned) {
    return planned.name.empty() ? std::vector<PresentDrive>()
                                : std::vector{PresentDrive{&planned, planned.name}};
}

std::vector<PresentDrive> findBySerial(const PlannedDrive& planned, Inventory& inventory, Faults& faults) {
    std::vector<PresentDrive> found;
    std::vector<std::string> locators;
    for (const DiagDevice& device : inventory.drives())
        if (serialOf(device) == planned.name) {
            found.push_back(foundAs(planned, device));
            locators.push_back(device.osLocator().utf8());
        }
    if (found.size() == 1)
        return found;
    faults.push_back(
        {planned.place,
         found.empty()
             ? words("no drive here has the serial number {serial}: \"drivetest devices\" lists the drives",
                     {{"serial", quoted(planned.name)}})
             : words("several drives have the serial number {serial}: name one of {drives} by its path",
                     {{"serial", quoted(planned.name)}, {"drives", enumerated(locators)}})});
    return {};
}

/// How many drives have its serial number.
std::ptrdiff_t countOf(const DiagDevice& device, const std::vector<DiagDevice>& drives) {
    return std::ranges::count_if(drives, [serial = serialOf(device)](const DiagDevice& each) {
        return !serial.empty() && serialOf(each) == serial;
    });
}

std::vector<PresentDrive> findByMatch(const PlannedDrive& planned, Inventory& inventory, Faults& faults) {
    std::vector<PresentDrive> found;
    for (const DiagDevice& device : inventory.drives())
        if (planned.match.takes(device)) {
            found.push_back(foundAs(planned, device));
            found.back().isSerialShared = countOf(device, inventory.drives()) > 1;
        }
    if (found.empty())
        faults.push_back(
            {planned.place, words("no drive here is like that: \"drivetest devices\" lists the drives")});
    return found;
}

std::vector<PresentDrive> find(const PlannedDrive& planned, Inventory& inventory, Faults& faults) {
    switch (planned.by) {
        case By::path:
            return findByPath(planned);
        case By::serial:
            return planned.name.empty() ? std::vector<PresentDrive>()
                                        : findBySerial(planned, inventory, faults);
        case By::match:
            break;
    }
    return findByMatch(planned, inventory, faults);
}

/// What they are, and who uses them. What is no drive at all is a fault, and is left out. Of one that kept
/// silent when the inventory asked no answer is waited for once more.
void lookAt(std::vector<PresentDrive>& drives, Faults& faults) {
    std::vector<DriveQuestion> questions;
    std::vector<PresentDrive*> asked;
    for (PresentDrive& drive : drives) {
        drive.problem = textProperty(drive.device, kPropertySilence);
        drive.isSilent = !drive.problem.empty();
        if (drive.isSilent)
            continue;
        questions.push_back({drive.locator, true});
        asked.push_back(&drive);
    }
    std::vector<DriveAnswer> answers = askDrives(questions);
    for (std::size_t i = 0; i < answers.size(); ++i) {
        PresentDrive& drive = *asked[i];
        DriveAnswer& answer = answers[i];
        if (!answer.error.empty())
            faults.push_back({drive.planned->place, answer.error});
        drive.isNone = !answer.error.empty();
        if (drive.planned->by == By::path)
            drive.device = std::move(answer.device);
        drive.identity = std::move(answer.identity);
        drive.problem = std::move(answer.problem);
        drive.isSilent = answer.isSilent;
        drive.users = std::move(answer.users);
        drive.whyNotToWrite = std::move(answer.whyNotToWrite);
    }
    std::erase_if(drives, &PresentDrive::isNone);
}

/// What two drives have in common, as a sentence; empty when that is nothing.
std::string findCommon(const PresentDrive& first, const PresentDrive& second) {
    const std::size_t line = first.planned->place.line;
    if (first.locator == second.locator)
        return words("{drive} is named twice: line {line} names it, too",
                     {{"drive", second.locator}, {"line", line}});
    if (!first.identity || !second.identity)
        return {};
    if (isSameDrive(*first.identity, *second.identity) || isMadeOfTheSame(*first.identity, *second.identity))
        return words("{drive} is {other} by another name, which line {line} names",
                     {{"drive", second.locator}, {"other", first.locator}, {"line", line}});
    if (sharesStorage(*first.identity, *second.identity))
        return words("{drive} has sectors in common with {other}, which line {line} names: name one of them",
                     {{"drive", second.locator}, {"other", first.locator}, {"line", line}});
    return {};
}

void refuseTwice(const std::vector<PresentDrive>& drives, Faults& faults) {
    for (auto second = drives.begin(); second != drives.end(); ++second)
        for (auto first = drives.begin(); first != second; ++first)
            if (const std::string common = findCommon(*first, *second); !common.empty()) {
                faults.push_back({second->planned->place, common});
                break;
            }
}

}  // namespace

std::string PresentDrive::name() const {
    const std::string serial = serialOf(device);
    const std::string model = textProperty(device, quix5::kPropertyModel);
    return serial.empty() ? locator : model + (model.empty() ? "" : " ") + serial;
}

std::vector<PresentDrive> findDrives(const Plan& plan, Faults& faults) {
    Inventory inventory;
    std::vector<PresentDrive> drives;
    for (const PlannedDrive& planned : plan.drives)
        std::ranges::move(find(planned, inventory, faults), std::back_inserter(drives));
    lookAt(drives, faults);
    refuseTwice(drives, faults);
    return drives;
}

}  // namespace drivetest
