#include "drivetest/plan/ResolvedPlan.h"

#include <algorithm>
#include <utility>

#include "drivetest/devices/Drives.h"
#include "drivetest/grade/Grading.h"
#include "drivetest/plan/BuiltInPlans.h"
#include "drivetest/plan/PlanReader.h"
#include "drivetest/run/Setup.h"
#include "drivetest/safety/SafeStart.h"
#include "drivetest/safety/SystemAdvice.h"
#include "drivetest/shelf/DriveInquiry.h"
#include "drivetest/terminal/Texts.h"
#include "quix5/DeviceInventory.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using Faults = std::vector<PlanFault>;
using zel::words;

/// Of one drive: more is a slip of the pen.
constexpr std::size_t kMostRuns = 1000;

std::vector<ResolvedPlan::Test> testsFor(const PlannedDrive& planned, const std::vector<CheckedTest>& tests) {
    std::vector<ResolvedPlan::Test> chosen;
    if (planned.tests.empty())
        for (const CheckedTest& test : tests)
            chosen.push_back({&test});
    for (const TomlText& label : planned.tests)
        for (const CheckedTest& test : tests)
            if (test.planned->label == label.text)
                chosen.push_back({&test});
    return chosen;
}

bool writesTo(const ResolvedPlan::Drive& drive) {
    return std::ranges::any_of(drive.tests,
                               [](const ResolvedPlan::Test& test) { return test.checked->writes; });
}

/// What of a test is not for this drive.
void checkTest(ResolvedPlan::Test& test, const PresentDrive& found, Faults& faults) {
    const PlannedTest& planned = *test.checked->planned;
    quix5::DiagDevice device = found.device;
    std::string error;
    for (const PlannedValue& property : planned.properties)
        (void)setDeviceProperty(device, property.name, property.value, error);
    if (checkDevice(*test.checked->test, device, error) != kExitPass) {
        faults.push_back({planned.place, error});
        return;
    }
    test.outlook = foresee(*test.checked, device);
    if (!test.outlook || test.outlook->refused.isEmpty())
        return;
    const std::string refused = test.outlook->refused.utf8();
    const auto culprit = std::ranges::find_if(test.checked->values, [&refused](const PlannedValue& each) {
        return (", " + refused).find(", " + each.name + ":") != std::string::npos;
    });
    faults.push_back(
        {culprit != test.checked->values.end() ? culprit->valuePlace : planned.place,
         words("{test} refuses this for {drive}: {values}", {{"test", test.checked->test->descriptor.name()},
                                                             {"drive", found.locator},
                                                             {"values", refused}})});
}

/// What confirms that the drive may be written to; empty when nothing does, after why in `refusal`.
std::string confirmationFor(const PresentDrive& found, const Plan& plan, std::string& refusal) {
    const bool isListed =
        std::ranges::any_of(plan.confirmed, [confirmation = confirmationOf(found.device)](
                                                const TomlText& each) { return each.text == confirmation; });
    const bool hasSerial = !textProperty(found.device, quix5::kPropertySerial).empty();
    if (found.planned->by == PlannedDrive::By::match && !hasSerial) {
        refusal =
            words("{drive} has no serial number, so a plan that writes to it has to name it by its path",
                  {{"drive", found.locator}});
        return {};
    }
    if (!isListed)
        refusal =
            words("{drive} would be written to: confirm that with {expected} below \"confirm\" in the plan",
                  {{"drive", found.locator}, {"expected", quoted(confirmationOf(found.device))}});
    return isListed ? confirmationOf(found.device) : std::string();
}

/// Why the drive is left alone; empty when it is tested, and `confirmation` then says that it may be written
/// to.
std::string refusalOf(const ResolvedPlan& resolved, const ResolvedPlan::Drive& drive,
                      std::string& confirmation) {
    const PresentDrive& found = drive.found;
    if (!found.problem.empty())
        return found.problem;
    std::string refusal;
    if (flagProperty(found.device, kPropertyLocked))
        return words("{device} is locked by its ATA password, so nothing on it can be read: {advice}",
                     {{"device", found.locator}, {"advice", adviceOnLockedDrive()}});
    if (!writesTo(drive))
        return {};
    if (found.isSerialShared)
        return words(
            "another drive has the serial number of {drive}, too, so that nothing confirms which of "
            "them may be written to: name it by its path",
            {{"drive", found.locator}});
    confirmation = confirmationFor(found, resolved.plan, refusal);
    if (!refusal.empty())
        return refusal;
    if (!found.whyNotToWrite.empty())
        return found.whyNotToWrite;
    if (!found.users.empty())
        return words("{reason}; {advice}",
                     {{"reason", enumerated(found.users)}, {"advice", adviceOnUsedDrive()}});
    return {};
}

std::size_t runsOf(const ResolvedPlan& resolved, const ResolvedPlan::Drive& drive) {
    std::size_t runs = 0;
    for (const ResolvedPlan::Test& test : drive.tests)
        runs += test.checked->planned->repeats;
    return runs * resolved.plan.repeats;
}

DriveWork workOf(const ResolvedPlan& resolved, const ResolvedPlan::Drive& drive) {
    DriveWork work{drive.found.locator, drive.found.name()};
    work.onFailure = resolved.plan.onFailure;
    std::string confirmation;
    work.refusal = refusalOf(resolved, drive, confirmation);
    work.refusedAs = drive.found.isSilent ? kExitTimedOut : kExitCannotRun;
    work.identity = drive.found.identity;
    if (writesTo(drive) && drive.found.device.hasCapability(quix5::DeviceCapability::SCSIMMC))
        work.longestSilence = kLongestSilenceOfRecorders;
    for (unsigned round = 0; round < resolved.plan.repeats; ++round)
        for (const auto& [test, outlook] : drive.tests)
            for (unsigned repeat = 0; repeat < test->planned->repeats; ++repeat) {
                RunOptions& run = work.runs.emplace_back(test->options);
                run.device = work.device;
                run.identity = lastingIdentity(work.identity);
                run.confirm = test->writes ? confirmation : std::string();
                work.bytes += outlook ? outlook->bytes : 0;
            }
    return work;
}

/// What the tests and the drives of the plan have to do with each other.
void join(ResolvedPlan& resolved, std::vector<PresentDrive> found, Faults& faults) {
    for (PresentDrive& each : found) {
        std::vector<ResolvedPlan::Test> tests = testsFor(*each.planned, resolved.tests);
        resolved.drives.push_back({std::move(each), std::move(tests)});
    }
    for (ResolvedPlan::Drive& drive : resolved.drives) {
        // A drive that is locked or silent is refused, and what it would be good for is not known.
        if (!flagProperty(drive.found.device, kPropertyLocked) && !drive.found.isSilent)
            for (ResolvedPlan::Test& test : drive.tests)
                if (test.checked->test != nullptr)
                    checkTest(test, drive.found, faults);
        if (const std::size_t runs = runsOf(resolved, drive); runs > kMostRuns) {
            faults.push_back({drive.found.planned->place,
                              words("tests and repeats make {n} runs of {drive}; {most} are the most",
                                    {{"n", runs}, {"drive", drive.found.locator}, {"most", kMostRuns}})});
        }
    }
}

/// Where the name of a plan that comes with the program was taken for a file.
std::string adviceOnName(const std::string& name) {
    const auto isThis = [&name](const BuiltInPlan& plan) { return name == plan.name; };
    if (std::ranges::none_of(builtInPlans(), isThis))
        return {};
    return words("; the plan of that name is built in: {command} makes a file of it",
                 {{"command", quoted("drivetest plan --print " + name + " > " + name + ".toml")}});
}

}  // namespace

std::unique_ptr<ResolvedPlan> ResolvedPlan::load(const std::string& path, const RunOptions& usual,
                                                 std::vector<std::string>& faults) {
    std::string error;
    const auto file = TomlFile::load(path, error);
    auto resolved = std::make_unique<ResolvedPlan>();
    // What a person has set for all runs is no fault of the file.
    if (file && (usual.grading == kNoGrading || Grading::load(usual.grading, error)))
        resolved->module = loadModule(usual.moduleFile, error);
    if (!file || resolved->module == nullptr) {
        faults.push_back(error + (file ? "" : adviceOnName(path)));
        return nullptr;
    }
    Faults found;
    resolved->plan = readPlan(*file, usual, found);
    resolved->tests = checkTests(*resolved->module, resolved->plan, found);
    join(*resolved, findDrives(resolved->plan, found), found);
    faults = linesOf(*file, std::move(found));
    if (!faults.empty())
        return nullptr;
    ShelfWork& work = resolved->work;
    work.jobs = resolved->plan.jobs;
    work.folder = resolved->plan.folder;
    work.hangSeconds = resolved->plan.hangSeconds;
    for (const Drive& drive : resolved->drives)
        work.drives.push_back(workOf(*resolved, drive));
    return resolved;
}

}  // namespace drivetest
