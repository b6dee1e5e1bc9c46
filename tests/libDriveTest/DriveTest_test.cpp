#include "libDriveTest/DriveTest.h"

#include "ModuleFixture.h"
#include "libDrive2/DeviceLockingManager.h"
#include "libDriveTest/DriveTestCallback.h"
#include "libDriveTest/Events.h"
#include "quix5/ParameterText.h"
#include "quix5/Runner.h"

namespace libDriveTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using enum TestResult::Code;
using SentEvents = std::vector<testing_support::RecordingHost::SentEvent>;

constexpr const char* kLogger = "libDriveTest.DriveTest";
constexpr const char* kNeedsInvestigation =
    "The test completed successfully, however there were conditions that may require further investigation.";

using DriveTestInit = ModuleFixture;
using DriveTestRun = ModuleFixture;
using DriveTestReports = ModuleFixture;

TEST_F(DriveTestInit, OffersTheParametersInOrder) {
    std::string offered;
    for (const quix5::Parameter* parameter : linearReadTest().parameters())
        offered += parameter->name().utf8() + " " + quix5::typeName(parameter->type()) + ", ";
    EXPECT_EQ(offered,
              "DisplayAdvancedErrs BOOLEAN, DisplayRecoveredErrs BOOLEAN, DoNotEject BOOLEAN, "
              "PromptUserForMedia BOOLEAN, XferSizeHinting BOOLEAN, MaxErrors UINT32, MaxWarnings UINT32, "
              "WarnRMB BOOLEAN, RetryCount UINT32, MaxRetries UINT32, StartRange STRING, EndRange STRING, "
              "NumberOfSeeks UINT64, SectorPercentToTest PERCENT, IsolateFailedLBA BOOLEAN, MaxTime UINT32, "
              "SectorsDone UINT64, ErrorsBefore UINT32, ");
    quix5::DiagDevice device;
    EXPECT_TRUE(quix5::isOffered(linearReadTest(), device));
    device.setProperty("__libDriveTest_Disable", "whatever");
    EXPECT_FALSE(quix5::isOffered(linearReadTest(), device));
}

TEST_F(DriveTestInit, AgainSharesTheObjectsButRepeatsTheErrorTypes) {
    const auto& table = ProbeTest::s_nonFailResults;
    const std::size_t before = table.size();
    const Event* const event = events::deviceBusy.get();
    quix5::Test first("A"), second("B"), third("C");
    for (quix5::Test* other : {&first, &second, &third})
        ProbeTest::init(*other);
    EXPECT_EQ(first.parameters(), third.parameters());
    ASSERT_EQ(table.size(), before + 6);
    for (std::size_t i = 0; i < 6; ++i) {
        const auto& added = table[before + i];
        EXPECT_EQ(added.errorType, i % 2 == 0 ? 8U : 9U);
        EXPECT_EQ(added.result, i % 2 == 0 ? DEVICEBUSY : CANNOTRUN);
        EXPECT_EQ(added.event, i % 2 == 0 ? event : events::cannotAccessDevice.get());
    }
}

TEST_F(DriveTestRun, PreparesTheDriveAroundTheTest) {
    give("RetryCount=5 MaxErrors=3 MaxWarnings=1");
    drive.setNativeSectors(false);
    test.body = [this] {
        drive.calls += " run with " + std::to_string(drive.getRetryCount()) + " retries";
        EXPECT_THAT((std::vector{test.errorCount, test.maxErrors, test.warningCount, test.maxWarnings}),
                    ElementsAre(0, 3, 0, 0));
        EXPECT_EQ(test.result, PASS);
        return NOMEDIA;
    };
    // Nothing of an earlier run is left.
    test.errorCount = test.warningCount = test.maxWarnings = 9;
    test.result = FAIL;
    EXPECT_EQ(test.run(), NOMEDIA);
    EXPECT_EQ(drive.calls, "lock run with 5 retries unlock");
    ASSERT_EQ(host.log.size(), 2U);
    EXPECT_THAT(host.linesOf(kLogger, 3),
                ElementsAre("The device being tested does not have a native sector size, so this test will "
                            "treat 512 bytes as being one sector."));
    EXPECT_THAT(host.linesOf(kLogger, 1), ElementsAre("Starting test with max errors = 3, max warnings = 0"));
}

TEST_F(DriveTestRun, FoldsTheTestsResultIntoWhatTheDriveReported) {
    const struct {
        TestResult reported, tested, merged;
        std::vector<std::string> lines;
    } cases[] = {{PASS, PASS, PASS, {}}, {WARN, PASS, WARN, {kNeedsInvestigation}},
                 {WARN, WARN, WARN, {}}, {WARN, FAIL, FAIL, {}},
                 {FAIL, PASS, FAIL, {}}, {FAIL, WARN, FAIL, {}}};
    for (const auto& c : cases) {
        host.log.clear();
        test.body = [this, &c] {
            test.result = c.reported;
            return c.tested;
        };
        EXPECT_EQ(test.run(), c.merged);
        EXPECT_EQ(host.linesOf(kLogger, 3), c.lines);
    }
}

TEST_F(DriveTestRun, TurnsARecoveredReadIntoAWarningAndSharesTheDrive) {
    const libDrive2::SharedDrive shared = open("sim:disk,sectors=10,transient=5:2+6:2");
    ProbeTest reading(shared);
    std::uint8_t sector[512];
    std::uint64_t lba = 5;
    reading.body = [&] { return shared->readSector(lba++, 1, sector, 512) ? PASS : FAIL; };
    EXPECT_EQ(reading.run(), WARN);
    EXPECT_TRUE(host.logged(kNeedsInvestigation));
    give("DisplayRecoveredErrs=no");
    EXPECT_EQ(reading.run(), PASS);
    EXPECT_THAT(host.keys(), ElementsAre("nonCritical"));
    EXPECT_EQ(ProbeTest(reading).warningCount, 0U);
    EXPECT_EQ(shared.references(), 2);
}

TEST_F(DriveTestRun, FailsForAnErrorOfTheDriveItself) {
    std::uint8_t sector[512];
    drive.bad = {5};
    drive.badError = libDrive2::LIBDRIVE2_DRIVE_ERROR;
    test.body = [&] { return drive.readSector(5, 1, sector, 512) ? FAIL : PASS; };
    EXPECT_EQ(test.run(), FAIL);
    give("DisplayAdvancedErrs=no");
    EXPECT_EQ(test.run(), PASS);
    EXPECT_THAT(host.keys(), ElementsAre("advancedError"));
}

TEST_F(DriveTestRun, CallbackTurnsTheDrivesNotesIntoUncountedEvents) {
    const struct {
        bool advanced, recovered;
        std::uint32_t code;
        TestResult result;
        SentEvents events;
    } cases[] = {{true, false, 3, FAIL, {{"advancedError", "ERR", "errmsg=sector 5 is bad"}}},
                 {false, true, 4, WARN, {{"nonCritical", "WARNING", "errmsg=sector 5 is bad"}}},
                 {false, true, 3, PASS, {}},
                 {true, false, 4, PASS, {}},
                 {true, true, 2, PASS, {}},
                 {true, true, 5, PASS, {}}};
    std::uint8_t sector[512];
    drive.bad = {5};
    ASSERT_FALSE(drive.readSector(5, 1, sector, 512));
    for (const auto& c : cases) {
        host.events.clear();
        test.result = PASS;
        DriveTestCallback(test, c.advanced, c.recovered).onDriveNotify(c.code);
        EXPECT_EQ(test.result, c.result) << c.code;
        EXPECT_EQ(host.events, c.events) << c.code;
    }
    EXPECT_EQ(test.errorCount + test.warningCount, 0U);
    EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(DriveTestRun, WritesOnlyWhatItHoldsAloneAndUnencrypted) {
    const std::string locator = image();
    libDrive2::DeviceLockingManager others(locator);
    ASSERT_TRUE(others.lockVolumes());
    quix5::DiagDevice device;
    device.setLocators("sim:disk,encrypted", "");
    EXPECT_EQ(test.runWriteTest(device), CANNOTRUN);
    device.setLocators(locator, "");
    EXPECT_EQ(test.runWriteTest(device), DEVICEBUSY);
    EXPECT_THAT(host.eventsOf("warning"),
                ElementsAre("EncryptedDriveDetected()", "cannotOpenAccessDenied()"));
    EXPECT_EQ(drive.calls, "");

    ASSERT_TRUE(others.unlockVolumes());
    test.body = [&] {
        EXPECT_FALSE(others.lockVolumes());
        EXPECT_THAT(host.linesOf("libDriveTest.os", 1), ElementsAre("Volumes locked successfully"));
        return FAIL;
    };
    EXPECT_EQ(test.runWriteTest(device), FAIL);
    EXPECT_EQ(host.linesOf("libDriveTest.os", 1).back(), "Volumes unlocked successfully");
    EXPECT_TRUE(others.lockVolumes());
}

TEST_F(DriveTestReports, SendCountAndLogTheirEvent) {
    const struct {
        std::function<void(ProbeTest&)> report;
        const char* text;
    } cases[] = {
        {[](auto& t) { t.reportRdErr(100, 1); }, "readSectorErr: ReadSector=100"},
        {[](auto& t) { t.reportRdErr(100, 8); }, "readSectorRangeErr: sector=100, lastSector=107"},
        {[](auto& t) { t.reportRdErr(100, 0); }, "readSectorRangeErr: sector=100, lastSector=99"},
        {[](auto& t) { t.reportRdErr(1ULL << 40, 4294967295); },
         "readSectorRangeErr: sector=1099511627776, lastSector=1103806595070"},
        {[](auto& t) { t.reportWrErr(100, 1); }, "writeSectorErr: WriteSector=100"},
        {[](auto& t) { t.reportWrErr(0, 2); }, "writeSectorRangeErr: sector=0, lastSector=1"},
        {[](auto& t) { t.reportSeekErr(5, kNoSector); }, "seekSectorErr: SeekSector=5"},
    };
    for (const auto& c : cases) {
        host.events.clear();
        host.log.clear();
        c.report(test);
        EXPECT_THAT(host.linesOf(kLogger, 4), ElementsAre(c.text));
        EXPECT_EQ(host.log.size(), 1U) << c.text;
        EXPECT_EQ(host.eventsOf("ERR").size(), 1U) << c.text;
    }
    EXPECT_EQ(test.errorCount, 7U);
    EXPECT_EQ(test.warningCount, 0U);
    test.reportIsolationRecover(100, 8, "why");
    test.reportSeekErr(5, 4);
    EXPECT_EQ(test.warningCount, 1U);
    EXPECT_EQ(host.eventsOf("WARNING").size(), 1U);
    EXPECT_THAT(host.linesOf(kLogger, 3),
                ElementsAre("isolationRecovered: sector=100, lastSector=107, errmsg=why",
                            "Seek error at LBA 5 . The previous sector tested was 4"));
}

TEST_F(DriveTestReports, OfNoErrorsAreNeitherCountedNorLogged) {
    test.reportUserAbort(5);
    EXPECT_THAT(host.events, IsEmpty());
    test.sendEvent(*events::userAbortSector, EventType::INFORMATIVE);
    for (std::uint32_t error = 0; error <= 10; ++error) {
        test.reportNonFailError(_LIBDRIVE2_ERROR_TYPES{error});
        // The tests that write have added 6 and 7.
        EXPECT_EQ(test.isNonFailError(_LIBDRIVE2_ERROR_TYPES{error}), error >= 6 && error <= 9);
    }
    EXPECT_THAT(host.eventsOf("WARNING"),
                ElementsAre("writeProtectedMedia(MediaName=Drive)", "writeProtectedMedia(MediaName=Drive)",
                            "deviceBusy()", "CannotAccessDevice()"));
    EXPECT_THAT(host.eventsOf("INFORMATIVE"), ElementsAre("userAbortSector()"));
    EXPECT_EQ(test.errorCount + test.warningCount, 0U);
    EXPECT_THAT(host.log, IsEmpty());
}

TEST_F(DriveTestReports, GiveTheResultAndEndTheTestAtALimit) {
    const SentEvents errors = {{"hitMaxErr", "error", "MaxError=3"}};
    const SentEvents warnings = {{"hitMaxErr", "warning", "MaxError=2"}};
    const struct {
        std::uint32_t errors, maxErrors, warnings, maxWarnings;
        SentEvents raised;
        TestResult counted, busy, gone;
    } cases[] = {{0, 0, 0, 0, {}, PASS, DEVICEBUSY, CANNOTRUN},
                 {0, 0, 9, 0, {}, WARN, DEVICEBUSY, CANNOTRUN},
                 {2, 3, 1, 2, {}, FAIL, FAIL, FAIL},
                 {3, 3, 0, 0, errors, FAIL, FAIL, FAIL},
                 // The error limit goes first.
                 {4, 3, 2, 2, errors, FAIL, FAIL, FAIL},
                 {2, 3, 2, 2, warnings, FAIL, FAIL, FAIL}};
    for (const auto& c : cases) {
        host.events.clear();
        test.errorCount = c.errors;
        test.maxErrors = c.maxErrors;
        test.warningCount = c.warnings;
        test.maxWarnings = c.maxWarnings;
        EXPECT_EQ(test.hitEventLimits(false), !c.raised.empty());
        EXPECT_THAT(host.events, IsEmpty());
        EXPECT_EQ(test.hitEventLimits(true), !c.raised.empty());
        EXPECT_EQ(host.events, c.raised);
        EXPECT_EQ(test.errorCount, c.errors);
        EXPECT_EQ(test.getEventCountResult(), c.counted);
        EXPECT_EQ(test.getCurrentResult(libDrive2::LIBDRIVE2_BUSY), c.busy);
        EXPECT_EQ(test.getCurrentResult(libDrive2::LIBDRIVE2_NO_ACCESS), c.gone);
        EXPECT_EQ(test.getCurrentResult(libDrive2::LIBDRIVE2_TIMEOUT), c.counted);
    }
}

}  // namespace
}  // namespace libDriveTest
