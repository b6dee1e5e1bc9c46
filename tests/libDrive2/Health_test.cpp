#include <gmock/gmock.h>

#include "libDrive2/DeviceDescription.h"
#include "libDrive2/DeviceLease.h"
#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/HealthMonitor.h"
#include "quix5/DiagDevice.h"
#include "zel/Clock.h"

namespace libDrive2 {
namespace {

using std::chrono::minutes;

quix5::DiagDevice deviceOf(const std::string& locator) {
    quix5::DiagDevice device;
    DeviceDescription described;
    zel::String problem;
    EXPECT_TRUE(describeDevice(locator, described, problem)) << problem.utf8();
    device.setLocators(locator, locator);
    device.setCapabilities(described.capabilities);
    return device;
}

/// A simulated drive, which stays the same one for as long as this lives.
class Simulated {
public:
    explicit Simulated(const std::string& locator)
        : m_before(zel::Clock::install(&clock)),
          device(deviceOf(locator)),
          m_lease(DeviceLease::take(locator, LeasePurpose::read, m_failure)),
          monitor(HealthMonitor::open(device)) {}
    ~Simulated() { zel::Clock::install(m_before); }
    Simulated(const Simulated&) = delete;
    Simulated& operator=(const Simulated&) = delete;

    zel::SimulatedClock clock;

private:
    zel::Clock* m_before;
    DeviceStatus m_failure;

public:
    quix5::DiagDevice device;

private:
    std::unique_ptr<DeviceLease> m_lease;

public:
    std::unique_ptr<HealthMonitor> monitor;
};

TEST(HealthMonitor, ReadsWhatDrivesSayOfThemselves) {
    {
        Simulated drive(
            "sim:ata,sectors=1000,reallocated=5,pending=2,crc-errors=7,hours=9000,temperature=41");
        const DriveHealth health = drive.monitor->read();
        EXPECT_EQ(health.predictsFailure, false);
        EXPECT_EQ(health.reallocatedSectors, 5);
        EXPECT_EQ(health.pendingSectors, 2);
        EXPECT_EQ(health.crcErrors, 7);
        EXPECT_EQ(health.powerOnHours, 9000);
        EXPECT_EQ(health.temperatureC, 41);
        ASSERT_EQ(health.attributes.size(), 8U);
        EXPECT_EQ(health.attributes[0], (SmartAttribute{5, "Reallocated_Sector_Ct", 100, 100, 10, 5}));
        EXPECT_EQ(health.hidden, HiddenAreas{}) << "it has no such features";
    }
    {
        Simulated drive("sim:scsi,smart=failing,reallocated=12,hours=100,temperature=30");
        const DriveHealth health = drive.monitor->read();
        EXPECT_EQ(health.predictsFailure, true);
        EXPECT_EQ(health.reallocatedSectors, 12);
        EXPECT_EQ(health.powerOnHours, 100);
        EXPECT_EQ(health.temperatureC, 30);
        EXPECT_EQ(health.mediaErrors, 0);
    }
    {
        Simulated drive("sim:nvme,spare=8,wear=70,hours=5");
        const DriveHealth health = drive.monitor->read();
        EXPECT_EQ(health.predictsFailure, true) << "little spare is a critical warning";
        EXPECT_EQ(health.spareLeftPercent, 8);
        EXPECT_EQ(health.spareThresholdPercent, 10);
        EXPECT_EQ(health.wearPercent, 70);
        EXPECT_EQ(health.powerOnHours, 5);
    }
}

TEST(HealthMonitor, TellsOfHiddenAreas) {
    const std::pair<const char*, HiddenAreas> rows[] = {
        {"sim:ata,sectors=1000,hpa=0", {0, {}, {}}},
        {"sim:ata,sectors=1000,hpa=24", {24, {}, {}}},
        {"sim:ata,sectors=1000,hpa=24,dco=100", {24, 100, {}}},
        {"sim:ata,sectors=1000,dco=100", {{}, 100, {}}},
        {"sim:ata,sectors=1000,inaccessible=4096", {{}, {}, 4096}},
    };
    for (const auto& [locator, hidden] : rows) {
        Simulated drive(locator);
        EXPECT_EQ(drive.monitor->readHiddenAreas(), hidden) << locator;
    }
}

TEST(HealthMonitor, SeesDamageGrow) {
    for (const char* const kind : {"ata", "scsi", "nvme"}) {
        SCOPED_TRACE(kind);
        Simulated drive("sim:" + std::string(kind) + ",sectors=1000,bad=7+9");
        const SharedBlockHandle blocks = OsDevice::openOsDevice(
            drive.device.osLocator(), kAccessRead | kAccessWrite, kShareRead, kOpenExisting, 0);
        ASSERT_TRUE(blocks);
        std::array<std::uint8_t, 512> sector{};
        for (const std::uint64_t lba : {7, 9, 9})
            EXPECT_FALSE(blocks->read(lba * 512, sector.data(), sector.size()).ok());
        const DriveHealth health = drive.monitor->read();
        EXPECT_EQ(health.mediaErrors, 3);
        EXPECT_EQ(health.pendingSectors.value_or(2), 2);
        EXPECT_TRUE(blocks->write(7 * 512, sector.data(), sector.size()).ok());
        EXPECT_EQ(drive.monitor->read().pendingSectors.value_or(1), 1);
        EXPECT_EQ(drive.monitor->read().reallocatedSectors.value_or(1), 1);
    }
}

TEST(HealthMonitor, HasDrivesTestThemselves) {
    for (const char* const kind : {"ata", "scsi", "nvme"})
        for (const bool isBad : {false, true}) {
            SCOPED_TRACE(kind);
            Simulated drive("sim:" + std::string(kind) + ",sectors=1000" + (isBad ? ",bad=77" : ""));
            EXPECT_FALSE(drive.monitor->selfTestState().isRunning);
            EXPECT_TRUE(drive.monitor->startSelfTest(SelfTestKind::extendedTest).ok());
            EXPECT_FALSE(drive.monitor->startSelfTest(SelfTestKind::shortTest).ok()) << "one runs already";
            drive.clock.advance(minutes(30));
            const SelfTestState half = drive.monitor->selfTestState();
            EXPECT_TRUE(half.status.ok() && half.isRunning);
            EXPECT_THAT(half.percent.value_or(0), testing::AllOf(testing::Ge(40U), testing::Le(50U)));
            drive.clock.advance(minutes(31));
            const SelfTestState done = drive.monitor->selfTestState();
            EXPECT_FALSE(done.isRunning);
            ASSERT_TRUE(done.newest);
            EXPECT_EQ(done.newest->kind, SelfTestKind::extendedTest);
            EXPECT_EQ(done.newest->outcome, isBad ? SelfTestOutcome::failed : SelfTestOutcome::passed);
            EXPECT_EQ(done.newest->firstBad, isBad ? std::optional<std::uint64_t>(77) : std::nullopt);
            EXPECT_TRUE(drive.monitor->startSelfTest(SelfTestKind::shortTest).ok());
            EXPECT_TRUE(drive.monitor->abortSelfTest().ok());
            EXPECT_EQ(drive.monitor->selfTestState().newest->outcome, SelfTestOutcome::aborted);
            EXPECT_EQ(drive.monitor->read().selfTests.size(), 2U);
        }
}

TEST(HealthMonitor, IsForDrivesThatTakeCommands) {
    for (const char* const locator :
         {"sim:disk", "sim:floppy", "sim:ufi", "sim:optical", "sim:scsi,removable"})
        EXPECT_FALSE(HealthMonitor::isFor(deviceOf(locator))) << locator;
    Simulated gone("sim:ata,gone-at=1");
    EXPECT_TRUE(gone.monitor == nullptr || gone.monitor->read().isEmpty());
}

}  // namespace
}  // namespace libDrive2
