#pragma once

#include <gmock/gmock.h>

#include <filesystem>
#include <map>

#include "FakeDrive.h"
#include "libDriveTest/DriveTest.h"
#include "support/RecordingHost.h"
#include "zel/Clock.h"

namespace libDriveTest {

/// The tests' common part with a body that the test case gives; opens what the base class keeps from others.
class ProbeTest : public DriveTest {
public:
    using DriveTest::DriveTest;
    std::function<TestResult()> body = [] { return TestResult::PASS; };

    using DriveTest::__promptForMedia, DriveTest::checkMedia, DriveTest::getCurrentResult,
        DriveTest::getEventCountResult, DriveTest::hitEventLimits, DriveTest::init, DriveTest::isNonFailError,
        DriveTest::promptForMedia, DriveTest::reportIsolationRecover, DriveTest::reportNonFailError,
        DriveTest::reportRdErr, DriveTest::reportSeekErr, DriveTest::reportUserAbort, DriveTest::reportWrErr,
        DriveTest::sendEvent;
    using DriveTest::errorCount, DriveTest::maxErrors, DriveTest::maxWarnings, DriveTest::result,
        DriveTest::s_nonFailResults, DriveTest::warningCount;

protected:
    TestResult runTest() override { return body(); }
};

/// A registered module under a recording host, in simulated time, without texts; a test over a fake drive.
class ModuleFixture : public testing::Test {
protected:
    ModuleFixture();
    ~ModuleFixture() override;

    /// The linear read test's descriptor; from the first call on the module's common objects exist.
    static const quix5::Test& linearReadTest();
    /// A descriptor with the parameters of every test.
    static const quix5::Test& anyTest();
    /// Sets the parameters "NAME=VALUE NAME=VALUE" and unsets all others.
    static void give(const std::string& values);
    /// Writes NAME.qpk with English texts under "LocalizedString." and the key, where packages are looked
    /// for.
    std::string package(const std::string& name, const std::map<std::string, std::string>& texts) const;
    /// An image file full of zeros.
    [[nodiscard]] std::string image() const;
    /// The operating system's drive over a locator.
    static libDrive2::SharedDrive open(const std::string& locator);

    testing_support::RecordingHost host;
    zel::SimulatedClock clock;
    FakeDrive drive;
    ProbeTest test{drive};

private:
    std::filesystem::path m_folder;
    zel::Clock* m_previousClock;
};

/// For failure messages.
inline void PrintTo(const TestResult& result, std::ostream* out) {
    *out << result.name();
}

}  // namespace libDriveTest
