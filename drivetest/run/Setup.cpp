#include "drivetest/run/Setup.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <utility>

#include "drivetest/devices/Drives.h"
#include "drivetest/rescue/RescueMap.h"
#include "drivetest/resume/ResumedRun.h"
#include "drivetest/run/NearestName.h"
#include "drivetest/safety/SafeStart.h"
#include "drivetest/safety/SystemAdvice.h"
#include "drivetest/terminal/Console.h"
#include "drivetest/terminal/Terminal.h"
#include "drivetest/terminal/Texts.h"
#include "quix5/DeviceInventory.h"
#include "quix5/ParameterText.h"
#include "quix5/Runner.h"
#include "zel/Path.h"
#include "zel/Resource.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

constexpr const char* kModuleName = "libDriveTest";

/// Takes "NAME=VALUE" apart; false when it has no name or no "=".
bool splitAssignment(const std::string& text, zel::String& name, zel::String& value) {
    const auto equals = text.find('=');
    if (equals == std::string::npos || equals == 0)
        return false;
    name = text.substr(0, equals);
    value = text.substr(equals + 1);
    return true;
}

std::string parameterNames(const quix5::Test& test) {
    std::string names;
    for (const quix5::Parameter* parameter : test.parameters())
        names += (names.empty() ? "" : ", ") + parameter->name().utf8();
    return names;
}

/// Sets the test's parameters from NAME=VALUE texts.
bool applyParameters(const quix5::Test& test, const std::vector<std::string>& assignments,
                     std::string& error) {
    for (const std::string& assignment : assignments) {
        zel::String name;
        zel::String text;
        if (!splitAssignment(assignment, name, text)) {
            error = words("{text} is no parameter: write NAME=VALUE", {{"text", quoted(assignment)}});
            return false;
        }
        if (!setParameter(test, name, text, error))
            return false;
    }
    return true;
}

/// Gives the device properties from NAME=VALUE texts.
bool setProperties(const std::vector<std::string>& properties, quix5::DiagDevice& device,
                   std::string& error) {
    for (const std::string& assignment : properties) {
        zel::String name;
        zel::String value;
        if (!splitAssignment(assignment, name, value)) {
            error = words("{text} is no device property: write NAME=VALUE", {{"text", quoted(assignment)}});
            return false;
        }
        if (!setDeviceProperty(device, name, value, error))
            return false;
    }
    return true;
}

/// Leaves out what the map calls finished.
bool takeOnlyRest(const RunOptions& options, const ChosenTest& chosen, std::string& error) {
    if (options.importedMap.empty())
        return true;
    RescueMap map;
    if (!loadRescueMap(options.importedMap, map, error))
        return false;
    const auto sectorBytes =
        static_cast<std::uint32_t>(numberProperty(chosen.device, quix5::kPropertySectorSize));
    if (sectorBytes == 0) {
        error = words("nobody says how large the sectors of {device} are, so a mapfile cannot be followed",
                      {{"device", chosen.device.osLocator()}});
        return false;
    }
    std::string ranges;
    for (const libDrive2::SectorSpan& span : map.unfinished(sectorBytes))
        ranges += (ranges.empty() ? "" : ",") + std::to_string(span.lba) + "-" +
                  std::to_string(span.lba + span.count - 1);
    if (ranges.empty()) {
        error = words("{file} says that all is finished: there is nothing to read",
                      {{"file", printable(options.importedMap)}});
        return false;
    }
    return applyParameters(chosen.test->descriptor, {chosen.test->entry->traits.onlyRanges + ("=" + ranges)},
                           error);
}

/// Has the test begin behind what an earlier run has done, within the time that this one has left.
bool goOn(const RunOptions& options, const quix5::OfferedTest& test, std::vector<std::string>& assignments,
          std::string& error) {
    if (options.resumed == nullptr)
        return true;
    const ResumedRun& resumed = *options.resumed;
    const quix5::TestTraits& traits = test.entry->traits;
    if (traits.sectorsDone == nullptr || traits.errorsBefore == nullptr) {
        error = words("{file} cannot be resumed: {reason}",
                      {{"file", printable(options.resume)},
                       {"reason", words("{test} cannot go on in the middle: start a new run",
                                        {{"test", test.descriptor.name()}})}});
        return false;
    }
    assignments.push_back(traits.sectorsDone + ("=" + std::to_string(resumed.sectorsDone)));
    assignments.push_back(traits.errorsBefore + ("=" + std::to_string(resumed.errorsDone)));
    const auto limit = std::ranges::find_if(resumed.run.parameters, [&traits](const auto& parameter) {
        return traits.timeLimit != nullptr && parameter.first == traits.timeLimit;
    });
    if (limit == resumed.run.parameters.end() || limit->second == "0")
        return true;
    // With no time left it ends after a second; no limit at all would be another order.
    constexpr unsigned long kMostSeconds = 1UL << 31;
    const auto granted =
        std::chrono::seconds(std::min(std::strtoul(limit->second.c_str(), nullptr, 10), kMostSeconds));
    const auto left =
        std::max(std::chrono::ceil<std::chrono::seconds>(granted - resumed.spent), std::chrono::seconds(1));
    assignments.push_back(traits.timeLimit + ("=" + std::to_string(left.count())));
    return true;
}

/// `known` is null for a device that is to be asked what it is.
bool choose(const RunOptions& options, const quix5::DiagDevice* known, ChosenTest& chosen,
            std::string& error) {
    chosen.module = loadModule(options.moduleFile, error);
    if (chosen.module == nullptr)
        return false;
    std::vector<std::string> assignments = options.parameters;
    chosen.test = meantTest(*chosen.module, options, assignments, error);
    if (chosen.test == nullptr || !limitTime(*chosen.test, options.maxTime, assignments, error) ||
        !goOn(options, *chosen.test, assignments, error) ||
        !applyParameters(chosen.test->descriptor, assignments, error) ||
        (known == nullptr && !findDrive(options.device, chosen.device, error)))
        return false;
    if (known != nullptr)
        chosen.device = *known;
    if (!setProperties(options.properties, chosen.device, error))
        return false;
    chosen.writes = writesToDrive(*chosen.test);
    return takeOnlyRest(options, chosen, error);
}

std::optional<ChosenTest> chooseFor(const RunOptions& options, const quix5::DiagDevice* known,
                                    ExitStatus& refused, std::string& error) {
    ChosenTest chosen;
    refused =
        choose(options, known, chosen, error) ? checkDevice(*chosen.test, chosen.device, error) : kExitUsage;
    return refused == kExitPass ? std::optional(std::move(chosen)) : std::nullopt;
}

}  // namespace

std::optional<ChosenTest> chooseTest(const RunOptions& options, ExitStatus& refused, std::string& error) {
    return chooseFor(options, nullptr, refused, error);
}

std::optional<ChosenTest> chooseTest(const RunOptions& options, const quix5::DiagDevice& device,
                                     ExitStatus& refused, std::string& error) {
    return chooseFor(options, &device, refused, error);
}

std::optional<ChosenTest> chooseTest(const RunOptions& options, ExitStatus& refused) {
    std::string error;
    std::optional<ChosenTest> chosen = chooseTest(options, refused, error);
    if (!chosen)
        complain(error);
    return chosen;
}

const quix5::OfferedTest* meantTest(const quix5::Module& module, const RunOptions& options,
                                    std::vector<std::string>& assignments, std::string& error) {
    const quix5::OfferedTest* const test =
        options.survey ? findSurvey(module, error) : findTest(module, options.test, error);
    if (test == nullptr || (!options.gentle && options.importedMap.empty()))
        return test;
    const quix5::TestTraits& traits = test->entry->traits;
    if (traits.gentleTest == nullptr) {
        error = words("{test} cannot be done gently: --gentle is for tests that read",
                      {{"test", test->descriptor.name()}});
        return nullptr;
    }
    assignments.insert(assignments.begin(), traits.gentleParameter);
    return module.find(traits.gentleTest);
}

bool limitTime(const quix5::OfferedTest& test, std::uint32_t seconds, std::vector<std::string>& assignments,
               std::string& error) {
    if (seconds == 0)
        return true;
    const char* const parameter = test.entry->traits.timeLimit;
    if (parameter == nullptr) {
        error = words("{test} has no limit of time: --max-time is for linear tests",
                      {{"test", test.descriptor.name()}});
        return false;
    }
    assignments.push_back(parameter + ("=" + std::to_string(seconds)));
    return true;
}

bool setParameter(const quix5::Test& test, const zel::String& name, const zel::String& text,
                  std::string& error) {
    quix5::Parameter* const parameter = quix5::findParameter(test, name);
    if (parameter == nullptr) {
        error =
            words("{test} has no parameter {name}; it has: {known}",
                  {{"test", test.name()}, {"name", quoted(name.utf8())}, {"known", parameterNames(test)}});
        return false;
    }
    const auto value = quix5::parseValue(*parameter, text);
    if (!value) {
        error = words(
            "{text} is no value for {name}: give {values}",
            {{"text", quoted(text.utf8())}, {"name", name}, {"values", quix5::describeValues(*parameter)}});
        return false;
    }
    parameter->set(*value);
    return true;
}

bool setDeviceProperty(quix5::DiagDevice& device, const zel::String& name, const zel::String& value,
                       std::string& error) {
    if (isIdentityProperty(name.utf8())) {
        error = words(
            "the property {name} says which drive it is; it comes from the drive itself and cannot be "
            "given",
            {{"name", name}});
        return false;
    }
    if (name == kAccessOrderProperty && !isAccessOrder(value.utf8())) {
        error = words("{text} is no access order: give {forms}",
                      {{"text", quoted(value.utf8())}, {"forms", words(kAccessOrderForms)}});
        std::replace(error.begin(), error.end(), '\n', ' ');
        return false;
    }
    device.setProperty(name, value);
    return true;
}

ExitStatus checkDevice(const quix5::OfferedTest& test, const quix5::DiagDevice& device, std::string& error) {
    const std::string name = test.descriptor.name().utf8();
    const std::string locator = device.osLocator().utf8();
    if (!quix5::isOffered(test.descriptor, device)) {
        error = words("{test} is not offered for {device}: the device has a property that excludes it",
                      {{"test", name}, {"device", locator}});
        return kExitCannotRun;
    }
    if (!device.hasCapability(test.entry->traits.needs)) {
        if (isThere(locator, error))
            error = words("{device} is none: \"drivetest devices\" lists the drives of this machine",
                          {{"device", locator}});
        error = words("{test} tests optical drives, and {reason}", {{"test", name}, {"reason", error}});
        return kExitUsage;
    }
    if (flagProperty(device, kPropertyLocked)) {
        error = words("{device} is locked by its ATA password, so nothing on it can be read: {advice}",
                      {{"device", locator}, {"advice", adviceOnLockedDrive()}});
        return kExitCannotRun;
    }
    return kExitPass;
}

std::unique_ptr<quix5::Module> loadModule(const std::string& file, std::string& error) {
    const auto beside = zel::pathOf(programFolder()) / quix5::SharedLibrary::fileName(kModuleName);
    return quix5::Module::load(file.empty() ? zel::textOf(beside) : file, error);
}

const quix5::OfferedTest* findTest(const quix5::Module& module, const std::string& name, std::string& error) {
    const auto isMeant = [wanted = zel::String(name).toLower()](const quix5::OfferedTest& offered) {
        const char* const shortName = offered.entry->traits.shortName;
        return offered.descriptor.name().toLower() == wanted || (shortName != nullptr && wanted == shortName);
    };
    const auto test = std::ranges::find_if(module.tests(), isMeant);
    if (test != module.tests().end())
        return &*test;
    std::vector<std::string> names;
    std::string known;
    for (const quix5::OfferedTest& offered : module.tests()) {
        names.push_back(offered.descriptor.name().utf8());
        known += (known.empty() ? "" : " ") + names.back();
        if (offered.entry->traits.shortName != nullptr)
            names.emplace_back(offered.entry->traits.shortName);
    }
    const std::string near = nearestName(name, names);
    error = near.empty() ? words("there is no test {name}; there are: {known}",
                                 {{"name", quoted(name)}, {"known", known}})
                         : words("there is no test {name}; is it {near}? there are: {known}",
                                 {{"name", quoted(name)}, {"near", quoted(near)}, {"known", known}});
    return nullptr;
}

const quix5::OfferedTest* findSurvey(const quix5::Module& module, std::string& error) {
    const auto test = std::ranges::find_if(
        module.tests(), [](const quix5::OfferedTest& offered) { return offered.entry->traits.isSurvey; });
    if (test != module.tests().end())
        return &*test;
    error = words("the test module has no test that surveys a drive");
    return nullptr;
}

std::string describeText(const std::string& key) {
    zel::String text;
    zel::Resource::getString(quix5::registeredLibrary(), key.c_str(), zel::ZELLocale::getGlobalLocale(),
                             text);
    return text.utf8();
}

}  // namespace drivetest
