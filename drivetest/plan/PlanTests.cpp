#include "drivetest/plan/PlanTests.h"

#include "drivetest/devices/Drives.h"
#include "drivetest/grade/Grading.h"
#include "drivetest/run/Setup.h"
#include "drivetest/safety/SafeStart.h"
#include "drivetest/terminal/Texts.h"
#include "quix5/DeviceInventory.h"
#include "quix5/ParameterText.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using Faults = std::vector<PlanFault>;

/// Takes back what was set to be looked at: parameters are one for all tests.
class ParametersToLookAt {
public:
    explicit ParametersToLookAt(const quix5::Test& test) : m_test(test) {}
    ~ParametersToLookAt() {
        for (const quix5::Parameter* const parameter : m_test.parameters())
            quix5::findParameter(m_test, parameter->name())->unset();
    }
    ParametersToLookAt(const ParametersToLookAt&) = delete;
    ParametersToLookAt& operator=(const ParametersToLookAt&) = delete;

private:
    const quix5::Test& m_test;
};

TomlPlace placeOf(const PlannedTest& planned, const char* key) {
    const auto found = planned.places.find(key);
    return found != planned.places.end() ? found->second : planned.place;
}

/// What a test is told by its name alone, or by the way in which it is to be done.
void addValue(const std::string& assignment, TomlPlace place, CheckedTest& checked) {
    const std::size_t equals = assignment.find('=');
    checked.values.push_back({assignment.substr(0, equals), place, assignment.substr(equals + 1), place});
}

/// The test as the one that it is, or stands for; none after a fault.
void chooseTest(const quix5::Module& module, const PlannedTest& planned, CheckedTest& checked,
                Faults& faults) {
    std::string error;
    std::vector<std::string> meant;
    if (findTest(module, planned.options.test, error) == nullptr) {
        faults.push_back({placeOf(planned, "test"), error});
        return;
    }
    checked.test = meantTest(module, planned.options, meant, error);
    if (checked.test == nullptr)
        faults.push_back({placeOf(planned, "gentle"), error});
    for (const std::string& assignment : meant)
        addValue(assignment, placeOf(planned, "gentle"), checked);
}

void checkGrading(const PlannedTest& planned, Faults& faults) {
    std::string error;
    if (planned.places.contains("grade") && planned.options.grading != kNoGrading &&
        !Grading::load(planned.options.grading, error))
        faults.push_back({placeOf(planned, "grade"), error});
}

void limitTest(const PlannedTest& planned, CheckedTest& checked, Faults& faults) {
    std::string error;
    std::vector<std::string> meant;
    if (!limitTime(*checked.test, planned.options.maxTime, meant, error))
        faults.push_back({placeOf(planned, "max-time"), error});
    for (const std::string& assignment : meant)
        addValue(assignment, placeOf(planned, "max-time"), checked);
}

void setParameters(const PlannedTest& planned, CheckedTest& checked, Faults& faults) {
    for (const PlannedValue& each : planned.parameters) {
        checked.values.push_back(each);
        checked.options.parameters.push_back(each.name + "=" + each.value);
    }
    for (const PlannedValue& each : checked.values) {
        std::string error;
        const bool isKnown = quix5::findParameter(checked.test->descriptor, each.name) != nullptr;
        if (!setParameter(checked.test->descriptor, each.name, each.value, error))
            faults.push_back({isKnown ? each.valuePlace : each.namePlace, error});
    }
}

void setProperties(const PlannedTest& planned, CheckedTest& checked, Faults& faults) {
    quix5::DiagDevice any;
    for (const PlannedValue& each : planned.properties) {
        std::string error;
        if (each.name.empty() || each.name.find('=') != std::string::npos)
            faults.push_back({each.namePlace, zel::words("{text} is no device property: write NAME=VALUE",
                                                         {{"text", quoted(each.name)}})});
        else if (!setDeviceProperty(any, each.name, each.value, error))
            faults.push_back({each.valuePlace, error});
        checked.options.properties.push_back(each.name + "=" + each.value);
    }
}

CheckedTest checkTest(const quix5::Module& module, const PlannedTest& planned, Faults& faults) {
    CheckedTest checked{&planned};
    checked.options = planned.options;
    checked.options.planFile.clear();
    checkGrading(planned, faults);
    chooseTest(module, planned, checked, faults);
    if (checked.test == nullptr)
        return checked;
    const ParametersToLookAt looked(checked.test->descriptor);
    limitTest(planned, checked, faults);
    setParameters(planned, checked, faults);
    setProperties(planned, checked, faults);
    checked.writes = writesToDrive(*checked.test);
    checked.preserves = preservesData(*checked.test);
    return checked;
}

}  // namespace

std::vector<CheckedTest> checkTests(const quix5::Module& module, const Plan& plan, Faults& faults) {
    std::vector<CheckedTest> tests;
    tests.reserve(plan.tests.size());
    for (const PlannedTest& planned : plan.tests)
        tests.push_back(checkTest(module, planned, faults));
    return tests;
}

std::optional<quix5::TestOutlook> foresee(const CheckedTest& checked, const quix5::DiagDevice& device) {
    const auto foresee = checked.test->entry->traits.foresee;
    const auto sectorBytes = static_cast<std::uint32_t>(numberProperty(device, quix5::kPropertySectorSize));
    const std::uint64_t bytes = numberProperty(device, quix5::kPropertyBytes);
    if (foresee == nullptr || sectorBytes == 0 || bytes < sectorBytes)
        return {};
    const ParametersToLookAt looked(checked.test->descriptor);
    std::string ignored;
    for (const PlannedValue& each : checked.values)
        (void)setParameter(checked.test->descriptor, each.name, each.value, ignored);
    return foresee(bytes / sectorBytes, sectorBytes);
}

}  // namespace drivetest
