#include "drivetest/resume/ResumeStart.h"

#include <string>
#include <utility>
#include <vector>

#include "drivetest/record/KeptRecord.h"
#include "drivetest/resume/ResumeFile.h"
#include "drivetest/terminal/Texts.h"
#include "libDrive2/DeviceDescription.h"
#include "libDrive2/DeviceLease.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using libDrive2::DeviceLease;
using zel::words;

bool isThatDrive(const std::string& locator, const libDrive2::DriveIdentity& wanted) {
    libDrive2::DeviceStatus failure;
    const auto looked = DeviceLease::take(locator, libDrive2::LeasePurpose::look, failure);
    return looked != nullptr && libDrive2::isSameDrive(looked->identity(), wanted);
}

/// Where it was first; else among all that there are.
std::string findLocator(const ResumedRun& resumed, std::string& reason) {
    const std::string& before = resumed.run.drive.location;
    if (isThatDrive(before, resumed.identity))
        return before;
    std::vector<std::string> found;
    for (const zel::String& locator : DeviceLease::listLocators())
        if (isThatDrive(locator.utf8(), resumed.identity))
            found.push_back(locator.utf8());
    if (found.size() == 1)
        return found.front();
    const std::string drive = printable(resumed.identity.describe().utf8());
    if (found.size() > 1)
        reason = words("{drive} could be {first} or {second}: take one of them away",
                       {{"drive", drive}, {"first", found[0]}, {"second", found[1]}});
    else if (libDrive2::isStable(resumed.identity))
        reason = words("its drive is not there: {drive}, which was {path}; connect it, then try again",
                       {{"drive", drive}, {"path", printable(before)}});
    else
        reason = words(
            "nothing that lasts is known of its drive, {drive}, so another one could be taken for it: "
            "start a new run",
            {{"drive", drive}});
    return {};
}

/// What the record says already; empty when nothing is given twice.
std::string findExcess(const RunOptions& options) {
    if (!options.test.empty() || !options.device.empty())
        return words("TEST and DEVICE are those of the record: leave them out");
    if (!options.parameters.empty() || options.maxTime != 0)
        return words(
            "its parameters and its limits are those of the record: leave out --param, --max-time and "
            "--max-errors");
    if (options.gentle || !options.importedMap.empty() || !options.properties.empty())
        return words("how it reads is in the record: leave out --gentle, --import and --property");
    const std::string events = options.outputOf("--events");
    if (const std::string path = zel::canonicalPath(options.resume);
        !path.empty() && !events.empty() && zel::canonicalPath(events) == path)
        return words("the record is kept as it is: name another file with --events");
    return {};
}

}  // namespace

std::string nextRecord(const std::string& record) {
    const auto path = zel::pathOf(record);
    const NumberedName name = numberedName(zel::textOf(path.stem()));
    for (int number = name.number + 1;; ++number) {
        const std::string file = name.text + "-" + std::to_string(number) + zel::textOf(path.extension());
        std::string next = zel::textOf(path.parent_path() / zel::pathOf(file));
        if (!zel::pathExists(next))
            return next;
    }
}

bool takeUp(RunOptions& options, std::string& error) {
    std::string reason = findExcess(options);
    if (reason.empty()) {
        options.resumed = readResumed(options.resume, error);
        if (options.resumed == nullptr)
            return false;
        options.device = findLocator(*options.resumed, reason);
    }
    if (!reason.empty()) {
        error = words("{file} cannot be resumed: {reason}",
                      {{"file", printable(options.resume)}, {"reason", reason}});
        return false;
    }
    const ResumedRun& resumed = *options.resumed;
    options.test = resumed.run.test;
    for (const auto& [name, value] : resumed.run.parameters)
        options.parameters.push_back(std::string(name).append("=").append(value));
    options.properties = resumed.properties;
    options.slowMs = resumed.slowMs;
    options.slowAllowed = resumed.slowAllowed;
    // A hot drive may want another one now.
    if (options.maxTemperature == 0)
        options.maxTemperature = resumed.maxTemperature;
    if (options.keepRecord && options.outputOf("--events").empty())
        options.outputs["--events"] = nextRecord(options.resume);
    return true;
}

}  // namespace drivetest
