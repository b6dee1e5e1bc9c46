#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "drivetest/devices/Drives.h"
#include "drivetest/grade/Grading.h"
#include "drivetest/plan/PlanReader.h"
#include "drivetest/terminal/Terminal.h"
#include "fuzz/Invariants.h"

namespace drivetest {

// No drive is looked at.
std::string textProperty(const quix5::DiagDevice& /*device*/, const char* /*name*/) {
    return {};
}
std::uint64_t numberProperty(const quix5::DiagDevice& /*device*/, const char* /*name*/) {
    return 0;
}
bool flagProperty(const quix5::DiagDevice& /*device*/, const char* /*name*/) {
    return false;
}
std::string systemLanguage() {
    return {};
}
std::string programFolder() {
    return {};
}
const std::string_view kGradeFile;

}  // namespace drivetest

namespace libDrive2::fuzz {
namespace {

using drivetest::Plan;
using drivetest::PlannedDrive;

void requireSentence(const std::string& fault) {
    require(fault.starts_with("plan:"), "a fault names the file");
    require(fault.find_first_of("\n\x1b") == std::string::npos, "a fault is one line");
}

void requireGood(const Plan& plan) {
    require(!plan.tests.empty() && !plan.drives.empty(), "a plan has tests and drives");
    for (const drivetest::PlannedTest& test : plan.tests)
        require(!test.label.empty() && test.repeats > 0 && test.repeats <= 100,
                "a test has a name, and is run");
    for (const PlannedDrive& drive : plan.drives) {
        require(drive.name.empty() == (drive.by == PlannedDrive::By::match),
                "a drive has a name, or is like something");
        for (const drivetest::TomlText& label : drive.tests)
            require(std::ranges::any_of(plan.tests,
                                        [&label](const auto& test) { return test.label == label.text; }),
                    "its tests are there");
    }
    for (const drivetest::TomlText& confirmed : plan.confirmed)
        require(!confirmed.text.empty(), "nothing confirms no drive");
}

void checkPlan(std::string_view text) {
    std::string error;
    const auto file = drivetest::TomlFile::parse("plan", text, error);
    require(file.has_value() == error.empty(), "what is refused has a reason, and nothing else has");
    if (!file) {
        requireSentence(error);
        return;
    }
    std::vector<drivetest::PlanFault> faults;
    const Plan plan = drivetest::readPlan(*file, {}, faults);
    for (const std::string& line : linesOf(*file, faults))
        requireSentence(line);
    if (faults.empty())
        requireGood(plan);
}

void checkLimits(std::string_view text) {
    std::string error;
    const auto grading = drivetest::Grading::parse("plan", text, error);
    require(grading.has_value() == error.empty(), "limits are taken, or refused with a reason");
    if (!grading)
        require(error.starts_with("plan"), "which names the file");
}

}  // namespace

/// The input is a file of TOML: a plan, or limits of grades.
void check(Bytes input) {
    const std::string_view text(reinterpret_cast<const char*>(input.data()), input.size());
    checkPlan(text);
    checkLimits(text);
}

}  // namespace libDrive2::fuzz
