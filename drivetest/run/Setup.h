#pragma once

#include <memory>
#include <string>
#include <vector>

#include "quix5/DiagDevice.h"
#include "quix5/Module.h"

namespace drivetest {

/// Each gives false (or null, or nothing) after a sentence in `error` that says what is wrong.

/// Loads the module of that file, or the one beside the program when it is empty.
std::unique_ptr<quix5::Module> loadModule(const std::string& file, std::string& error);
const quix5::OfferedTest* findTest(const quix5::Module& module, const std::string& name, std::string& error);
/// Sets the test's parameters from NAME=VALUE texts.
bool applyParameters(const quix5::Test& test, const std::vector<std::string>& assignments,
                     std::string& error);
/// The device that a locator names, with properties from NAME=VALUE texts.
bool makeDevice(const std::string& locator, const std::vector<std::string>& properties,
                quix5::DiagDevice& device, std::string& error);

/// What the module's texts say of "Test.NAME" or "Parameter.NAME", in the language of the texts.
std::string describeText(const std::string& key);

/// Takes the language of the texts from the option or, when it is empty, from the environment.
void chooseLanguage(const std::string& option);

}  // namespace drivetest
