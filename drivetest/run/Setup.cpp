#include "drivetest/run/Setup.h"

#include <algorithm>

#include "drivetest/devices/Drives.h"
#include "drivetest/safety/SafeStart.h"
#include "drivetest/safety/SystemAdvice.h"
#include "drivetest/terminal/Console.h"
#include "drivetest/terminal/Terminal.h"
#include "drivetest/terminal/Texts.h"
#include "quix5/ParameterText.h"
#include "quix5/Runner.h"
#include "zel/Path.h"
#include "zel/Resource.h"

namespace drivetest {

namespace {

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
            error = quoted(assignment) + " is no parameter: write NAME=VALUE";
            return false;
        }
        quix5::Parameter* const parameter = quix5::findParameter(test, name);
        if (parameter == nullptr) {
            error = test.name().utf8() + " has no parameter " + quoted(name.utf8()) +
                    "; it has: " + parameterNames(test);
            return false;
        }
        const auto value = quix5::parseValue(*parameter, text);
        if (!value) {
            error = quoted(text.utf8()) + " is no value for " + name.utf8() + ": give " +
                    quix5::describeValues(*parameter).utf8();
            return false;
        }
        parameter->set(*value);
    }
    return true;
}

/// The device that a locator names, with properties from NAME=VALUE texts.
bool makeDevice(const std::string& locator, const std::vector<std::string>& properties,
                quix5::DiagDevice& device, std::string& error) {
    if (!findDrive(locator, device, error))
        return false;
    for (const std::string& assignment : properties) {
        zel::String name;
        zel::String value;
        if (!splitAssignment(assignment, name, value)) {
            error = quoted(assignment) + " is no device property: write NAME=VALUE";
            return false;
        }
        if (isIdentityProperty(name.utf8())) {
            error = "the property " + name.utf8() +
                    " says which drive it is; it comes from the drive itself and cannot be given";
            return false;
        }
        if (name == kAccessOrderProperty && !isAccessOrder(value.utf8())) {
            error = quoted(value.utf8()) + " is no access order: give " + kAccessOrderForms;
            std::replace(error.begin(), error.end(), '\n', ' ');
            return false;
        }
        device.setProperty(name, value);
    }
    return true;
}

bool choose(const RunOptions& options, ChosenTest& chosen, std::string& error) {
    chosen.module = loadModule(options.moduleFile, error);
    if (chosen.module == nullptr)
        return false;
    chosen.test = findTest(*chosen.module, options.test, error);
    if (chosen.test == nullptr || !applyParameters(chosen.test->descriptor, options.parameters, error) ||
        !makeDevice(options.device, options.properties, chosen.device, error))
        return false;
    chosen.writes = writesToDrive(*chosen.test);
    return true;
}

/// Whether the test is offered and the drive lets itself be tested; gives the exit status and why not.
ExitStatus checkDevice(const ChosenTest& chosen, std::string& error) {
    const std::string test = chosen.test->descriptor.name().utf8();
    const std::string device = chosen.device.osLocator().utf8();
    if (!quix5::isOffered(chosen.test->descriptor, chosen.device)) {
        error = test + " is not offered for " + device + ": the device has a property that excludes it";
        return kExitCannotRun;
    }
    if (!chosen.device.hasCapability(chosen.test->entry->traits.needs)) {
        if (isThere(device, error))
            error = device + " is none: \"drivetest devices\" lists the drives of this machine";
        error = test + " tests optical drives, and " + error;
        return kExitUsage;
    }
    if (flagProperty(chosen.device, kPropertyLocked)) {
        error =
            device + " is locked by its ATA password, so nothing on it can be read: " + adviceOnLockedDrive();
        return kExitCannotRun;
    }
    return kExitPass;
}

}  // namespace

std::optional<ChosenTest> chooseTest(const RunOptions& options, ExitStatus& refused) {
    ChosenTest chosen;
    std::string error;
    refused = choose(options, chosen, error) ? checkDevice(chosen, error) : kExitUsage;
    if (refused == kExitPass)
        return chosen;
    complain(error);
    return std::nullopt;
}

std::unique_ptr<quix5::Module> loadModule(const std::string& file, std::string& error) {
    const auto beside = zel::pathOf(programFolder()) / quix5::SharedLibrary::fileName(kModuleName);
    return quix5::Module::load(file.empty() ? zel::textOf(beside) : file, error);
}

const quix5::OfferedTest* findTest(const quix5::Module& module, const std::string& name, std::string& error) {
    const quix5::OfferedTest* const test = module.find(name);
    if (test != nullptr)
        return test;
    error = "there is no test " + quoted(name) + "; there are:";
    for (const quix5::OfferedTest& offered : module.tests())
        error += " " + offered.descriptor.name().utf8();
    return nullptr;
}

std::string describeText(const std::string& key) {
    zel::String text;
    zel::Resource::getString(quix5::registeredLibrary(), key.c_str(), zel::ZELLocale::getGlobalLocale(),
                             text);
    return text.utf8();
}

}  // namespace drivetest
