#include "drivetest/health/HealthReader.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "drivetest/run/Signals.h"
#include "quix5/DeviceInventory.h"

namespace drivetest {
namespace {

using quix5::DeviceCapability;
using testing::HasSubstr;

/// A drive by its capabilities, whose node takes no commands: what is told comes from the program.
quix5::DiagDevice drive(const char* serial = "") {
    quix5::DiagDevice device;
    device.setLocators("/dev/null", "/dev/null");
    device.setCapabilities(DeviceCapability::ATA | DeviceCapability::HardDrive);
    device.setProperty(quix5::kPropertySerial, zel::String(serial));
    return device;
}

/// A program of that name, alone in the path but for the shell's.
class FakeProgram : public testing::Test {
protected:
    FakeProgram() {
        letWritesFail();
        const char* const path = std::getenv("PATH");
        m_path = path != nullptr ? path : "";
    }
    ~FakeProgram() override {
        setenv("PATH", m_path.c_str(), 1);
        std::filesystem::remove_all(m_folder);
    }
    void install(const std::string& script) {
        std::filesystem::create_directories(m_folder);
        const std::filesystem::path program = m_folder / "smartctl";
        std::ofstream(program) << "#!/bin/sh\n" << script << "\n";
        chmod(program.c_str(), 0755);
        setenv("PATH", m_folder.c_str(), 1);
    }

    const std::filesystem::path m_folder =
        std::filesystem::temp_directory_path() / ("smartctl-" + std::to_string(getpid()));
    std::string m_path;
};

TEST_F(FakeProgram, IsUnderstoodHoweverItEnds) {
    const std::string told = R"({"smartctl":{},"serial_number":"AB 12","temperature":{"current":31}})";
    const std::string print = "printf '%s' '" + told + "'; ";
    const struct {
        std::string script;
        bool isUsed;
        const char* problem;
    } cases[] = {
        {print, true, ""},
        {print + "exit 4", true, ""},  // a command failed, others did not
        {print + "exit 2", false, "ended with status 2"},
        {"exit 1", false, "makes no sense"},
        {"echo hello; exit 0", false, "makes no sense"},
        {"kill -9 $$", false, "was killed"},
        {"while :; do /bin/sleep 60; done", false, "did not end within 1 seconds"},
        {"while :; do printf '%s%s' '" + std::string(60000, 'x') + "' ''; done", false, ""},
        {"printf '%s' '{\"smartctl\":{},\"serial_number\":\"ZZ\",\"temperature\":{\"current\":31}}'", false,
         "another drive"},
    };
    for (const auto& c : cases) {
        install(c.script);
        const auto reading = readHealth(drive("AB12"), std::chrono::milliseconds(1000));
        ASSERT_TRUE(reading) << c.script.substr(0, 100);
        EXPECT_EQ(reading->isBySmartctl, c.isUsed) << c.script.substr(0, 100);
        EXPECT_THAT(reading->problem.utf8(), HasSubstr(c.problem));
        EXPECT_EQ(reading->problem.isEmpty(), c.isUsed);
        EXPECT_EQ(reading->health.temperatureC.has_value(), c.isUsed);
    }
    install(print + "exit 8");
    EXPECT_EQ(readHealth(drive())->health.predictsFailure, true);
}

TEST_F(FakeProgram, IsNotAskedOfWhatHasNoHealth) {
    install("touch asked");
    quix5::DiagDevice file = drive();
    file.setCapabilities(DeviceCapability::HardDrive);
    EXPECT_FALSE(readHealth(file));
    quix5::DiagDevice stick = drive();
    stick.setCapabilities(DeviceCapability::SCSISBC | DeviceCapability::HardDrive |
                          DeviceCapability::RemovableStorage);
    EXPECT_FALSE(readHealth(stick));
    quix5::DiagDevice simulated = drive();
    simulated.setLocators("sim:ata,temperature=30", "sim:ata,temperature=30");
    EXPECT_EQ(readHealth(simulated)->health.temperatureC, 30);
    EXPECT_FALSE(std::filesystem::exists("asked"));
    setenv("PATH", "/nonexistent", 1);
    EXPECT_FALSE(readHealth(drive()));
}

}  // namespace
}  // namespace drivetest
