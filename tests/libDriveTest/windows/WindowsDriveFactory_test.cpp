#include "ModuleFixture.h"
#include "libDrive2/AtaDrive.h"
#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/NVMeDrive.h"
#include "libDrive2/OSFloppyDrive.h"
#include "libDrive2/OSScsiSBCDrive.h"
#include "libDrive2/ScsiMMCDrive.h"
#include "libDrive2/UFIFloppyDrive.h"
#include "libDriveTest/DriveFactory.h"
#include "support/windows/PlayedDrives.h"
#include "zel/Buffer.h"

namespace libDriveTest {
namespace {

using namespace libDrive2;
using namespace testing_support;
using Can = quix5::DeviceCapability;

const std::string kDisk = "\\\\.\\PhysicalDrive1", kDisc = "\\\\.\\CdRom0", kFloppy = "\\\\.\\A:";

template <class Class>
bool isA(const libDrive2::Drive& drive) {
    return typeid(drive) == typeid(Class);
}

/// An access method over Windows' drivers: what opens, and the call by which it reads sector 9.
const struct {
    const char* order;
    const std::string& locator;
    Can capabilities;
    bool (*isRight)(const libDrive2::Drive& drive);
    std::string by;
} kMethods[] = {
    {":1", kDisk, Can::ATA, &isA<AtaDrive>, "ioctl " + kDisk + " 0004D030"},
    {":2", kDisk, Can::SCSISBC, &isA<ScsiSBCDrive>, "ioctl " + kDisk + " 0004D014"},
    {":3", kDisc, Can::SCSIMMC, &isA<ScsiMMCDrive>, "ioctl " + kDisc + " 0004D014"},
    {":4", kFloppy, Can::USB_UFI, &isA<UFIFloppyDrive>, "ioctl " + kFloppy + " 0004D014"},
    {":5", kFloppy, Can::FloppyDrive, &isA<OSFloppyDrive>, "read " + kFloppy + " "},
    {":6", kDisk, Can::HardDrive, &isA<OSDrive>, "read " + kDisk + " "},
    {":6", kDisc, Can::CDROM, &isA<OSDrive>, "read " + kDisc + " "},
    {":7", kDisk, Can::SCSISBC | Can::HardDrive, &isA<OSScsiSBCDrive>, "read " + kDisk + " "},
    {":8", kDisk, Can::NVME, &isA<NVMeDrive>, "read " + kDisk + " "},
    // The default order has no NVMe commands: such a drive is one of the system's.
    {nullptr, kDisk, Can::NVME | Can::HardDrive, &isA<OSDrive>, "read " + kDisk + " "},
};

class WindowsDriveFactory : public ModuleFixture {
protected:
    WindowsDriveFactory() {
        auto& disk = playDisk(calls.device(L"\\\\.\\PhysicalDrive1"), 2000);
        playNVMe(playAta(playScsi(disk, "sim:scsi,sectors=2000"), "sim:ata,sectors=2000"),
                 "sim:nvme,sectors=2000");
        auto& disc = playDisk(calls.device(L"\\\\.\\CdRom0"), 2000, 2048, 2048);
        disc.answer(IOCTL_STORAGE_GET_DEVICE_NUMBER, littleEndian({FILE_DEVICE_CD_ROM, 0, 0xFFFFFFFF}, 4));
        playScsi(disc, "sim:optical,media=dvd+rw");
        playScsi(playDisk(calls.device(L"\\\\.\\A:"), 2880), "sim:ufi");
    }
    ~WindowsDriveFactory() override {
        EXPECT_EQ(calls.openHandles(), 0U);
        EXPECT_EQ(calls.pending(), 0U);
    }
    quix5::CreatedDrive create(const char* order, const std::string& locator, Can capabilities) {
        quix5::DiagDevice device;
        device.setLocators(locator, "bus 1");
        device.setCapabilities(capabilities);
        DriveTestAccessor accessor(nullptr);
        if (order != nullptr)
            accessor.deserialize(zel::String("DriveTestSearchOrder") + order);
        return DriveFactory(device, kAccessRead | kAccessWrite, kShareRead | kShareWrite)
            .create(order != nullptr ? accessor.getSearchOrder() : nullptr);
    }

    PlayedCalls calls;
    zel::Buffer buffer{65536};
};

TEST_F(WindowsDriveFactory, EachMethodOpensAndReadsByWindowsCalls) {
    for (const auto& method : kMethods) {
        const auto made = create(method.order, method.locator, method.capabilities);
        ASSERT_TRUE(made.drive) << method.by << ": " << libDrive2::lastOpenErrorStr().utf8();
        EXPECT_TRUE(method.isRight(*made.drive)) << method.by;
        EXPECT_TRUE(made.drive->isMediaPresent());
        calls.log.clear();
        EXPECT_TRUE(made.drive->readSector(9, 1, buffer.data(), made.drive->getSectorSize()))
            << made.drive->getLastErrorStr().utf8();
        EXPECT_GE(calls.logged(method.by), 1U) << method.by;
    }
}

TEST_F(WindowsDriveFactory, ADriveThatWasPulledIsNoDrive) {
    calls.remove(L"\\\\.\\PhysicalDrive1");
    for (const auto& method : kMethods)
        if (&method.locator == &kDisk) {
            const auto made = create(method.order, method.locator, method.capabilities);
            EXPECT_FALSE(made.drive);
            EXPECT_EQ(made.reason,
                      method.order == std::string(":1") ? TestResult::NOTSUPPORTED : TestResult::CANNOTRUN);
        }
}

/// Whatever call fails because the drive is gone: no crash, nothing left open, no sector that is bad.
TEST_F(WindowsDriveFactory, EveryMethodSurvivesTheFailureOfAnyCall) {
    calls.failure = ERROR_DEVICE_REMOVED;
    for (const auto& method : kMethods) {
        bool isReached = true;
        unsigned number = 0;
        for (; isReached && number < 400; ++number) {
            calls.failAt = calls.calls() + number + 1;
            const auto made = create(method.order, method.locator, method.capabilities);
            if (made.drive && made.drive->getSectorSize() != 0) {
                const std::uint32_t bytes = made.drive->getSectorSize();
                EXPECT_TRUE(made.drive->readSector(9, 1, buffer.data(), bytes) ||
                            made.drive->lastError == LIBDRIVE2_NO_ACCESS)
                    << method.by << number << made.drive->getLastErrorStr().utf8();
                EXPECT_TRUE(made.drive->writeSector(9, 1, buffer.data(), bytes) ||
                            made.drive->lastError != LIBDRIVE2_MEDIA_ERROR)
                    << method.by << number << made.drive->getLastErrorStr().utf8();
                (void)made.drive->flushCache();
                (void)made.drive->reOpenHandle();
            }
            isReached = calls.calls() >= calls.failAt;
        }
        EXPECT_GT(number, 5U) << method.by;
        EXPECT_LT(number, 400U) << method.by;
        EXPECT_EQ(calls.openHandles(), 0U) << method.by;
    }
    calls.failAt = 0;
}

TEST_F(WindowsDriveFactory, AutoPlayIsHeldOffWhileATestWantsIt) {
    std::vector<PlayedBytes> told;
    for (const wchar_t* const path : {L"\\\\.\\CdRom0", L"\\\\.\\A:"})
        calls.device(path).drivers[IOCTL_STORAGE_MCN_CONTROL] = [&told](const PlayedRequest& request) {
            told.emplace_back(request.in.begin(), request.in.end());
            return PlayedAnswer{};
        };
    for (const auto& method : kMethods) {
        const auto made = create(method.order, method.locator, method.capabilities);
        ASSERT_TRUE(made.drive);
        const bool knowsMedia = &method.locator != &kDisk;
        EXPECT_EQ(made.drive->disableAutoRun(), knowsMedia) << method.by;
        EXPECT_EQ(made.drive->reenableAutoRun(), knowsMedia) << method.by;
        EXPECT_EQ(told, knowsMedia ? (std::vector<PlayedBytes>{{1}, {0}}) : std::vector<PlayedBytes>{});
        told.clear();
    }
}

}  // namespace
}  // namespace libDriveTest
