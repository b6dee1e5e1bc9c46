#include <gtest/gtest.h>

#include <memory>

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/RecordableDrives.h"
#include "libDriveTest/CacheTest.h"
#include "libDriveTest/FakeDrive.h"
#include "libDriveTest/FunnelSeekTest.h"
#include "libDriveTest/LinearPatternTest.h"
#include "libDriveTest/LinearReadCompareTest.h"
#include "libDriveTest/LinearReadTest.h"
#include "libDriveTest/LinearSeekTest.h"
#include "libDriveTest/RandomSeekTest.h"
#include "libDriveTest/RangeString.h"
#include "libDriveTest/ReadSpeedTest.h"
#include "libDriveTest/ReadWriteSpeedTest.h"
#include "libDriveTest/optional/libScsi2/DefaultReadPerformanceTest.h"
#include "libDriveTest/optional/libScsi2/PatternTestMMC.h"
#include "libDriveTest/optional/libScsi2/RandomWriteTestMMC.h"
#include "libDriveTest/optional/libScsi2/ReadPerformanceTest.h"
#include "quix5/ModuleDescriptor.h"

// A program that links the module: it uses what the module exports, and puts functions of its own in the
// place of exported ones, which the libraries then call.

namespace {

int opened = 0;
int parsed = 0;

}  // namespace

namespace libDrive2 {

SharedBlockHandle OsDevice::openOsDevice(const zel::String&, std::uint32_t, std::uint32_t, std::uint32_t,
                                         std::uint32_t) {
    ++opened;
    return {};
}

SharedScsiPassThrough ScsiDevice::openScsiDevice(const zel::String&, std::uint32_t, std::uint32_t) {
    ++opened;
    return {};
}

}  // namespace libDrive2

namespace libDriveTest {

bool parseRangeString(const zel::String&, std::uint64_t, std::uint32_t, std::uint64_t&) {
    ++parsed;
    return false;
}

namespace {

class SilentUnit : public libDrive2::ScsiPassThrough {
public:
    libDrive2::ScsiResponse execute(const libDrive2::ScsiRequest&) override {
        return {.delivery = {libDrive2::LIBDRIVE2_NO_ACCESS, "gone"}};
    }
    [[nodiscard]] std::size_t maxTransferBytes() const override { return 65536; }
    libDrive2::DeviceStatus reopen() override { return {}; }
};

DiagDevice simulatedDisk() {
    DiagDevice device;
    device.setLocators("sim:disk,sectors=1000", "");
    device.setCapabilities(quix5::DeviceCapability::HardDrive);
    return device;
}

/// Registers a test, makes it in both ways, and runs it; gives the verdict.
template <class TestClass, class DriveClass>
TestResult runOn(const zel::SharedPointer<DriveClass>& drive) {
    quix5::Test descriptor("test");
    TestClass::init(descriptor);
    EXPECT_FALSE(descriptor.parameters().empty());
    EXPECT_EQ(TestClass(drive).runWriteTest(simulatedDisk()), TestClass(*drive).run());
    return TestClass(*drive).TestClass::runTest();
}

template <class... TestClasses>
void expectOwnParser() {
    parsed = 0;
    const libDrive2::SharedDrive drive(std::make_unique<FakeDrive>());
    for (const TestResult& verdict : {runOn<TestClasses>(drive)...})
        EXPECT_EQ(verdict, TestResult::BADPARAMS);
    EXPECT_EQ(parsed, 3 * sizeof...(TestClasses));
}

template <class DriveClass, class... TestClasses>
void expectLoss() {
    const zel::SharedPointer<DriveClass> drive(
        std::make_unique<DriveClass>(libDrive2::SharedScsiPassThrough(std::make_unique<SilentUnit>())));
    for (const TestResult& verdict : {runOn<TestClasses>(drive)...})
        EXPECT_EQ(verdict, TestResult::CANNOTRUN);
}

TEST(ModuleExports, TestsRunWithAFunctionOfTheProgram) {
    expectOwnParser<LinearReadTest, LinearReadCompareTest, LinearSeekTest, RandomSeekTest, FunnelSeekTest,
                    LinearPatternTest, CacheTest, ReadSpeedTest, ReadWriteSpeedTest>();
    zel::SimulatedClock clock;
    zel::Clock* const before = zel::Clock::install(&clock);
    expectLoss<ScsiMMCDrive, DefaultReadPerformanceTest, ReadPerformanceTest>();
    expectLoss<RecordableDrive, PatternTestMMC, RandomWriteTestMMC>();
    zel::Clock::install(before);
}

TEST(ModuleExports, DrivesAreOpenedByTheProgram) {
    opened = 0;
    DriveTestAccessor order(nullptr);
    ASSERT_TRUE(order.deserialize("DriveTestSearchOrder:6:0"));
    const DiagDevice device = simulatedDisk();
    EXPECT_FALSE(DriveTest::createDrive(device, 0, 0, order.getSearchOrder()));
    LIBDRIVE2_MEDIA_STATE state = libDrive2::LIBDRIVE2_MEDIA_NONE;
    EXPECT_FALSE(DriveTestMMCRO::createDrive(device, state, MMCRO_DATA_TRACKS, 0, 0));
    EXPECT_FALSE(DriveTestMMCRW::createDrive(device, state, MMCRW_REWRITABLE, 0, 0));
    EXPECT_EQ(opened, 3);
    EXPECT_EQ(quix5ModuleDescriptor()->interfaceVersion, quix5::kModuleInterfaceVersion);
}

}  // namespace
}  // namespace libDriveTest
