#include "quix5/Runner.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/OSDrive.h"
#include "support/RecordingHost.h"

namespace quix5 {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using testing::StartsWith;

/// What happened in a run. The rows of a module's table are plain functions, hence the shared state; every
/// test case starts anew.
std::vector<std::string> steps;
/// The step that throws.
std::string broken;

void step(const std::string& name) {
    steps.push_back(name);
    if (name == broken)
        throw std::runtime_error("broken in " + name);
}

struct FakeTest : RunnableTest {
    ~FakeTest() override { steps.emplace_back("~test"); }
    TestResult run() override {
        step("run");
        return TestResult::WARN;
    }
    TestResult runWriteTest(const DiagDevice& device) override {
        step("write " + device.osLocator().utf8());
        return TestResult::WARN;
    }
};

struct FakeDrive : libDrive2::OSDrive {
    using OSDrive::OSDrive;
    ~FakeDrive() override { steps.emplace_back("~drive"); }
};

CreatedDrive createDrive(const DiagDevice& device, OpenMode mode) {
    step("open " + std::to_string(mode.shareMode));
    auto handle = libDrive2::OsDevice::openOsDevice(device.osLocator(), mode.desiredAccess, mode.shareMode,
                                                    libDrive2::kOpenExisting, 0);
    if (!handle)
        return {{}, TestResult::NOMEDIA};
    return {libDrive2::SharedDrive(std::make_unique<FakeDrive>(handle, "sim")), {}};
}

std::unique_ptr<RunnableTest> createTest(libDrive2::SharedDrive /*drive*/) {
    step("test");
    return std::make_unique<FakeTest>();
}

struct StepHost : testing_support::RecordingHost {
    TestResult driveObtained(libDrive2::Drive& /*drive*/, const DiagDevice& /*device*/) override {
        step("obtained");
        return TestResult::PASS;
    }
    void driveReleased() override { step("released"); }
};

class RunnerTest : public testing::Test {
protected:
    TestResult run(const char* locator, bool destructive = false, const std::string& brokenStep = "") {
        steps.clear();
        broken = brokenStep;
        quix5::Test descriptor("fake");
        DiagDevice device;
        descriptor.setDestructive(destructive);
        device.setLocators(locator, "");
        return runTest(OfferedTest{&m_entry, descriptor}, device, {libDrive2::kAccessRead, 2}, host);
    }
    StepHost host;

private:
    TestEntry m_entry{"fake", nullptr, createDrive, createTest, {}};
};

TEST_F(RunnerTest, TheDriveIsReleasedAfterTheTestIsDestroyed) {
    EXPECT_EQ(run("sim:disk"), TestResult::WARN);
    EXPECT_THAT(steps, ElementsAre("open 2", "obtained", "test", "run", "~test", "released", "~drive"));
    EXPECT_EQ(run("sim:disk", true), TestResult::WARN);
    EXPECT_THAT(steps, testing::AllOf(Contains("write sim:disk"), Not(Contains("run"))));
}

TEST_F(RunnerTest, WithoutADriveTheReasonIsTheResult) {
    EXPECT_EQ(run("sim:none"), TestResult::NOMEDIA);
    EXPECT_THAT(steps, ElementsAre("open 2"));
}

TEST_F(RunnerTest, AnExceptionIsAnInternalErrorAndReleasesTheDrive) {
    for (const char* place : {"open 2", "test", "run"}) {
        EXPECT_EQ(run("sim:disk", false, place), TestResult::INTERNALERROR) << place;
        EXPECT_EQ(std::count(steps.begin(), steps.end(), "obtained"),
                  std::count(steps.begin(), steps.end(), "released"));
        EXPECT_TRUE(host.logged(std::string("the test ended with an internal error: broken in ") + place));
    }
}

TEST(Module, LoadSaysWhatIsWrongWithTheFile) {
    const std::string text = testing::TempDir() + "module-" + std::to_string(std::random_device()());
    std::ofstream(text) << "no library\n";
    const auto errorOf = [](const std::string& path) {
        std::string error;
        return Module::load(path, error) == nullptr ? error : "(loaded)";
    };
    EXPECT_THAT(errorOf(text), StartsWith("the test module " + text + " cannot be loaded: "));
    std::filesystem::remove(text);
    EXPECT_EQ(errorOf(text), "the test module " + text + " does not exist");
    EXPECT_THAT(errorOf(testing::TempDir()),
                StartsWith("the test module " + testing::TempDir() + " cannot be loaded: "));
    EXPECT_EQ(errorOf(PLAIN_LIBRARY), PLAIN_LIBRARY " is not a test module");
}

}  // namespace
}  // namespace quix5
