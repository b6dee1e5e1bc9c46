#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "drivetest/ExitStatus.h"
#include "drivetest/commands/RunOptions.h"
#include "quix5/DiagDevice.h"
#include "quix5/Module.h"

namespace drivetest {

/// What a run is to be of: a test with its parameters, and a device that it is made for.
struct ChosenTest {
    std::unique_ptr<quix5::Module> module;
    const quix5::OfferedTest* test = nullptr;
    quix5::DiagDevice device;
    bool writes = false;  ///< with the parameters that are set

    [[nodiscard]] bool isOptical() const {
        return test->entry->traits.needs == quix5::DeviceCapability::SCSIMMC;
    }
};
/// Nothing, with the exit status in `refused`, after a sentence that says what is wrong.
std::optional<ChosenTest> chooseTest(const RunOptions& options, ExitStatus& refused);
/// The same, with the sentence in `error` instead of on standard error.
std::optional<ChosenTest> chooseTest(const RunOptions& options, ExitStatus& refused, std::string& error);
/// The same for a device that has told already what it is.
std::optional<ChosenTest> chooseTest(const RunOptions& options, const quix5::DiagDevice& device,
                                     ExitStatus& refused, std::string& error);

/// Each gives false (or null, or nothing) after a sentence in `error` that says what is wrong.

/// Loads the module of that file, or the one beside the program when it is empty.
std::unique_ptr<quix5::Module> loadModule(const std::string& file, std::string& error);
/// By its name or its short name, in whatever case.
const quix5::OfferedTest* findTest(const quix5::Module& module, const std::string& name, std::string& error);
/// The one that answers whether a drive is good.
const quix5::OfferedTest* findSurvey(const quix5::Module& module, std::string& error);
/// The test that the options name, or mean; what they mean for its parameters is added to `assignments`.
const quix5::OfferedTest* meantTest(const quix5::Module& module, const RunOptions& options,
                                    std::vector<std::string>& assignments, std::string& error);
/// The same for a limit of time, in seconds; 0 for none.
bool limitTime(const quix5::OfferedTest& test, std::uint32_t seconds, std::vector<std::string>& assignments,
               std::string& error);
/// Parameters stay as they are set as long as the process lives: those of a name are one for all tests.
bool setParameter(const quix5::Test& test, const zel::String& name, const zel::String& text,
                  std::string& error);
bool setDeviceProperty(quix5::DiagDevice& device, const zel::String& name, const zel::String& value,
                       std::string& error);
/// Whether the test is offered for the drive, and the drive lets itself be tested: kExitPass.
ExitStatus checkDevice(const quix5::OfferedTest& test, const quix5::DiagDevice& device, std::string& error);

/// What the module's texts say of "Test.NAME" or "Parameter.NAME", in the language of the texts.
std::string describeText(const std::string& key);

}  // namespace drivetest
