#include "libDrive2/windows/WindowsLease.h"

#include "Fixtures.h"
#include "libDrive2/OpenLeases.h"
#include "windows/PlayedMachine.h"

namespace libDrive2 {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing_support::PlayedDevice;
using zel::DeviceDescriptor;
using zel::DeviceNumber;
using zel::StorageBus;

constexpr std::int64_t kMiB = PlayedMachine::kMiB;
constexpr const char* kDisk = "\\\\.\\PhysicalDrive1";
constexpr const char* kLetter = "\\\\.\\E:";
const DeviceDescriptor kSata{0, false, StorageBus::sata, "", "Disk", "", "S1"};
const DeviceDescriptor kStick{0, true, StorageBus::usb, "", "Stick", "", "U1"};

std::unique_ptr<DeviceLease> take(const zel::String& path, LeasePurpose purpose = LeasePurpose::look) {
    DeviceStatus failure;
    auto lease = WindowsLease::take(path, purpose, failure);
    EXPECT_NE(lease, nullptr) << failure.text.utf8();
    return lease;
}

DeviceStatus refusal(const zel::String& path, LeasePurpose purpose) {
    DeviceStatus failure;
    EXPECT_EQ(WindowsLease::take(path, purpose, failure), nullptr);
    return failure;
}

/// As "ID | STORAGE | CARRIERS"; extents as "ID START+BYTES".
std::string identityOf(const zel::String& path) {
    const auto lease = take(path);
    if (lease == nullptr)
        return "nothing";
    const auto textOf = [](const std::vector<StorageExtent>& extents) {
        std::string text;
        for (const StorageExtent& extent : extents)
            text += " " + extent.id.toText() + " " + std::to_string(extent.start) + "+" +
                    std::to_string(extent.bytes);
        return text;
    };
    const DriveIdentity& found = lease->identity();
    return found.id.toText() + " |" + textOf(found.storage) + " |" + textOf(found.carriers);
}

void addFile(PlayedMachine& machine, const std::wstring& path, DWORD index) {
    PlayedDevice& file = machine.device(path);
    file.isFile = true;
    file.content.resize(kMiB);
    file.information = BY_HANDLE_FILE_INFORMATION{};
    file.information->dwVolumeSerialNumber = 0xABCD;
    file.information->nFileIndexLow = index;
    file.finalPath = L"\\\\?\\Volume{E}\\folder\\image";
}

class Lease : public testing::Test {
protected:
    Lease() {
        disk = &machine.addDisk(1, kSata);
        machine.addVolume(L"E", {L"E:\\"}, L"NTFS", L"Data", {{1, kMiB, 2 * kMiB}});
        machine.registry[kStarts] = {7, 0, 0, 0};
        addFile(machine, L"\\\\?\\X:\\image", 0x1234);
    }

    static constexpr const wchar_t* kStarts =
        L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Memory Management\\PrefetchParameters\\BootId";
    VirtualTime time;
    PlayedMachine machine;
    PlayedDevice* disk;
};

TEST_F(Lease, ADriveIsKnownByTheStrongestThingThatIsProven) {
    const auto naa = testing_support::deviceIdentifiers({{1, 3, 0, {0x50, 1, 2, 3, 4, 5, 6, 7}}});
    const auto eui = testing_support::deviceIdentifiers({{1, 2, 0, {1, 2, 3, 4, 5, 6, 7, 8}}});
    const auto idOf = [this](const DeviceDescriptor& told, const testing_support::PlayedBytes& identifiers) {
        testing_support::answerProperties(*disk,
                                          {{StorageDeviceProperty, testing_support::deviceDescriptor(told)},
                                           {StorageDeviceIdProperty, identifiers}});
        return identityOf(kDisk);
    };
    const auto twice = [](const std::string& id) { return id + " | " + id + " 0+0 |"; };
    EXPECT_EQ(idOf(kSata, naa), twice("wwid:naa.5001020304050607;S1"));
    EXPECT_EQ(idOf({0, false, StorageBus::nvme, "", "Disk", "", "0102_0304_0506_0708."}, {}),
              twice("wwid:eui.0102030405060708;0102_0304_0506_0708."));
    EXPECT_EQ(idOf(kSata, {}), twice("serial:Disk;S1;131072"));
    EXPECT_EQ(idOf({5, true, StorageBus::sata, "", "Burner", "", "B1"}, {}), twice("serial:Burner;B1;0"));
    // An adapter's own name and number say nothing of the drive in it.
    EXPECT_EQ(idOf(kStick, naa), twice("wwid:naa.5001020304050607;U1"));
    const std::string passing = " | boot:7:disk:1 0+0 |";
    EXPECT_EQ(idOf(kStick, eui), passing);
    EXPECT_EQ(idOf({0, false, StorageBus::sata, "", "Disk", "", ""}, {}), passing);
}

TEST_F(Lease, VolumesAndFilesAreKnownByWhatTheyLieOn) {
    EXPECT_EQ(identityOf(kLetter),
              "serial:Disk;S1;131072+1048576+2097152 | serial:Disk;S1;131072 1048576+2097152 |");
    const std::string file = "file:000000000000abcd:0000000000001234:";
    EXPECT_EQ(identityOf("\\\\?\\X:\\image"),
              file + " | " + file + " 0+0 | serial:Disk;S1;131072 1048576+2097152");
    EXPECT_TRUE(sharesStorage(take("\\\\?\\X:\\image")->identity(), take(kDisk)->identity()));
    // Of several stretches, and on a disk of which nothing lasting is known.
    testing_support::answerAsDrive(machine.addDisk(2, {}), 2, {});
    machine.addVolume(L"S", {L"S:\\"}, L"NTFS", L"", {{2, 0, kMiB}, {1, 8 * kMiB, kMiB}});
    EXPECT_EQ(identityOf("\\\\.\\S:"), " | boot:7:disk:2 0+1048576 serial:Disk;S1;131072 8388608+1048576 |");
    machine.device(L"\\\\?\\X:\\image").finalPath.clear();  // a server's
    EXPECT_EQ(identityOf("\\\\?\\X:\\image"), file + " | " + file + " 0+0 |");
}

TEST_F(Lease, ADeviceThatTellsNothingIsOnlyItself) {
    PlayedDevice& mapped = machine.device(L"\\\\.\\PhysicalDrive5");
    mapped.content.resize(kMiB);
    mapped.isFile = true;
    mapped.information = BY_HANDLE_FILE_INFORMATION{};
    mapped.information->nFileIndexLow = 0x5E;
    mapped.answer(IOCTL_STORAGE_GET_DEVICE_NUMBER, testing_support::deviceNumber(7, 1));
    EXPECT_EQ(identityOf("\\\\.\\PhysicalDrive5"), " | boot:7:node:0000000000000000:000000000000005e 0+0 |");
    const auto lease = take("\\\\.\\PhysicalDrive5", LeasePurpose::write);
    EXPECT_EQ(lease->identity().sectors, 2048U);
    EXPECT_FALSE(isStable(lease->identity()));
    EXPECT_EQ(refusal("\\\\.\\PhysicalDrive5", LeasePurpose::read).type, LIBDRIVE2_BUSY);
    // Not even that: nobody could say what is on it.
    mapped.information.reset();
    EXPECT_THAT(refusal("\\\\.\\PhysicalDrive5", LeasePurpose::write).text.utf8(),
                HasSubstr("the system does not tell which drive it is"));
}

TEST_F(Lease, WhatPassesIsOfOneStartOfTheSystem) {
    testing_support::answerAsDrive(*disk, 1, kStick);
    const DriveIdentity before = take(kDisk)->identity();
    machine.registry[kStarts] = {8, 0, 0, 0};
    EXPECT_FALSE(isSameDrive(before, take(kDisk)->identity()));
    machine.registry.clear();  // not counted: by the time of the start
    const DriveIdentity uncounted = take(kDisk)->identity();
    EXPECT_THAT(uncounted.storage.front().id.toText(), testing::MatchesRegex("boot:at\\d+:disk:1"));
    EXPECT_FALSE(isStable(uncounted));
}

TEST_F(Lease, AFloppyDriveIsItsLetter) {
    PlayedDevice& floppy = machine.device(L"\\\\.\\B:");
    floppy.content.resize(1474560);
    DISK_GEOMETRY medium{};
    medium.MediaType = F3_1Pt44_512;
    floppy.answer(IOCTL_STORAGE_GET_MEDIA_TYPES, testing_support::bytesOf(medium));
    floppy.answer(IOCTL_DISK_GET_DRIVE_GEOMETRY_EX, testing_support::diskGeometry(1474560));
    EXPECT_EQ(identityOf("\\\\.\\B:"), " | boot:7:floppy:66 0+0 |");
    EXPECT_EQ(take("\\\\.\\B:", LeasePurpose::write)->identity().sectors, 2880U);
}

TEST_F(Lease, ManyReadAndOneWrites) {
    for (const char* path : {kDisk, kLetter}) {
        auto first = take(path, LeasePurpose::read);
        const auto second = take(path, LeasePurpose::read);
        first.reset();
        const DeviceStatus failure = refusal(path, LeasePurpose::write);
        EXPECT_EQ(failure.type, LIBDRIVE2_BUSY);
        EXPECT_THAT(failure.text.utf8(),
                    HasSubstr("such as a test that reads, keeps others from writing to it"));
    }
    for (const char* path : {kDisk, kLetter}) {
        const auto writer = take(path, LeasePurpose::write);
        EXPECT_THAT(refusal(path, LeasePurpose::read).text.utf8(),
                    HasSubstr("such as a test that writes, has locked it"));
        EXPECT_NE(take(path), nullptr);
    }
    EXPECT_TRUE(machine.locked.empty());
    EXPECT_EQ(machine.openHandles(), 0U);
}

TEST_F(Lease, AVolumeInHandIsReachedThroughItsDisk) {
    const auto lease = take(kLetter, LeasePurpose::write);
    machine.device(L"\\\\.\\E:").openError = ERROR_ACCESS_DENIED;  // as a locked volume is
    const auto handle = openBlock(kLetter);
    ASSERT_TRUE(handle);
    EXPECT_EQ(handle->info().bytes, std::uint64_t{2} << 20);
    const std::string data(512, 'd');
    EXPECT_TRUE(handle->write(2 * kMiB - 512, data.data(), data.size()).ok());
    EXPECT_EQ(disk->content[3 * kMiB - 512], 'd');
    EXPECT_EQ(handle->write(2 * kMiB, data.data(), data.size()).type, LIBDRIVE2_BAD_ARGUMENT);
    EXPECT_EQ(disk->content[3 * kMiB], 0);
    zel::Wording reason;
    EXPECT_TRUE(lease->unlockVolumes(reason));
    EXPECT_EQ(machine.locked.size(), 1U);  // what is to be put back is written afterwards
}

TEST_F(Lease, NoticesWhatBecameOfTheDrive) {
    const auto lease = take(kDisk, LeasePurpose::write);
    const auto before = disk->drivers;
    const auto difference = [&lease] {
        zel::String text;
        return lease->isUnchanged(text) ? "" : text.utf8();
    };
    EXPECT_EQ(difference(), "");
    disk->answer(IOCTL_DISK_GET_DRIVE_GEOMETRY_EX, testing_support::diskGeometry(kMiB));
    EXPECT_THAT(difference(), HasSubstr("another drive has taken its place"));  // its serial has the size
    testing_support::answerProperties(
        *disk, {{StorageDeviceProperty,
                 testing_support::deviceDescriptor({0, false, StorageBus::sata, "", "Disk", "", "S2"})}});
    disk->answer(IOCTL_DISK_GET_DRIVE_GEOMETRY_EX, testing_support::diskGeometry(64 * kMiB));
    EXPECT_THAT(difference(), HasSubstr("another drive has taken its place"));
    disk->drivers = before;
    EXPECT_EQ(difference(), "");
    for (auto& [code, driver] : disk->drivers)
        disk->fail(code, ERROR_DEVICE_NOT_CONNECTED);
    EXPECT_THAT(difference(), HasSubstr("is gone: it was taken away or switched off"));
}

TEST_F(Lease, WritesOnlyWhereThePathStillLeads) {
    const auto lease = take(kDisk, LeasePurpose::write);
    zel::Wording reason;
    EXPECT_TRUE(lease->openBlock(true, reason)) << reason.utf8();
    disk->answer(IOCTL_STORAGE_GET_DEVICE_NUMBER, testing_support::deviceNumber(DeviceNumber::kDiskType, 4));
    EXPECT_FALSE(lease->openBlock(true, reason));
    EXPECT_THAT(reason.utf8(), HasSubstr("leads to something else now"));
}

TEST_F(Lease, KnowsTheMediumInARemovableDrive) {
    PlayedDevice& stick = machine.addDisk(3, kStick);
    const auto setCount = [&stick](std::uint32_t count) {
        stick.answer(IOCTL_STORAGE_CHECK_VERIFY2, testing_support::bytesOf(count));
    };
    setCount(4);
    const auto lease = take("\\\\.\\PhysicalDrive3");
    zel::String difference;
    EXPECT_TRUE(lease->isSameMedium(difference));
    setCount(5);
    EXPECT_FALSE(lease->isSameMedium(difference));
    EXPECT_THAT(difference.utf8(), HasSubstr("may not be, the one that was shown"));
    stick.fail(IOCTL_STORAGE_CHECK_VERIFY2, ERROR_MEDIA_CHANGED);
    EXPECT_FALSE(lease->isSameMedium(difference));
    stick.fail(IOCTL_DISK_GET_DRIVE_GEOMETRY_EX, ERROR_NOT_READY);
    EXPECT_FALSE(lease->isUnchanged(difference));
    EXPECT_THAT(difference.utf8(), HasSubstr("holds no medium any more: it was taken out"));
    const auto empty = take("\\\\.\\PhysicalDrive3", LeasePurpose::write);
    EXPECT_EQ(empty->identity().sectors, 0U);
    setCount(6);
    EXPECT_TRUE(empty->isSameMedium(difference));
}

TEST_F(Lease, TakesNoFoldersAndNothingThatIsNotThere) {
    machine.device(L"\\\\?\\X:\\folder").information = BY_HANDLE_FILE_INFORMATION{};
    machine.device(L"\\\\?\\X:\\folder").information->dwFileAttributes = FILE_ATTRIBUTE_DIRECTORY;
    EXPECT_THAT(refusal("\\\\?\\X:\\folder", LeasePurpose::look).text.utf8(), HasSubstr("it is a directory"));
    EXPECT_THAT(refusal("\\\\.\\PhysicalDrive8", LeasePurpose::look).text.utf8(),
                HasSubstr("PhysicalDrive8 cannot be opened: "));
    EXPECT_EQ(OpenLeases::find("\\\\?\\X:\\folder"), nullptr);
}

TEST_F(Lease, OnlyDrivesThatTakeWritesInOrderSaySo) {
    const auto setZones = [this](std::uint8_t zones, std::uint8_t type) {
        testing_support::answerProperties(
            *disk, {{StorageDeviceProperty,
                     testing_support::deviceDescriptor({type, false, StorageBus::sas, "", "Z", "", "Z1"})},
                    {StorageDeviceZonedDeviceProperty, {1, 0, 0, 0, 16, 0, 0, 0, zones, 0, 0, 0}}});
        return take(kDisk)->takesWritesInOrderOnly();
    };
    EXPECT_TRUE(setZones(1, 0));
    EXPECT_FALSE(setZones(2, 0));
    EXPECT_TRUE(setZones(0, zel::kTypeZoned));
    EXPECT_FALSE(take(kLetter)->takesWritesInOrderOnly());
}

TEST_F(Lease, ListsDisksAndLetters) {
    machine.addVolume(L"N", {L"C:\\mnt\\"}, L"NTFS", L"", {{1, 8 * kMiB, kMiB}});
    std::vector<std::string> found;
    for (const zel::String& locator : listWindowsLocators())
        found.push_back(locator.utf8());
    EXPECT_THAT(found, ElementsAre(kDisk, kLetter));
}

TEST_F(Lease, WhateverCallFailsNothingStaysOpen) {
    for (const char* path : {kDisk, kLetter, "\\\\?\\X:\\image"})
        for (unsigned call = 1;; ++call) {
            const unsigned failing = machine.calls() + call;
            machine.failAt = failing;
            DeviceStatus failure;
            if (const auto lease = WindowsLease::take(path, LeasePurpose::write, failure); lease != nullptr) {
                zel::Wording reason;
                const bool isOpened = static_cast<bool>(lease->openBlock(true, reason));
                EXPECT_EQ(isOpened, reason.isEmpty()) << call;
            }
            EXPECT_EQ(machine.openHandles(), 0U) << path << call;
            EXPECT_EQ(OpenLeases::find(path), nullptr);
            machine.locked.clear();
            machine.dismounted.clear();
            if (machine.calls() < failing)
                break;
        }
}

/// With the system's own calls.
TEST(ImageLease, IsTakenByOneWriterOrManyReaders) {
    const TempFile image(1 << 20);
    {
        const auto first = take(image.path, LeasePurpose::read),
                   second = take(image.path, LeasePurpose::read);
        EXPECT_THAT(refusal(image.path, LeasePurpose::write).text.utf8(),
                    HasSubstr("such as a test that reads, keeps others from writing to it"));
    }
    const auto lease = take(image.path, LeasePurpose::write);
    for (const LeasePurpose purpose : {LeasePurpose::read, LeasePurpose::write})
        EXPECT_EQ(refusal(image.path, purpose).type, LIBDRIVE2_BUSY);
    EXPECT_THAT(refusal(image.path, LeasePurpose::read).text.utf8(),
                HasSubstr("such as a test that writes, has locked it"));
    zel::Wording reason;
    zel::String difference;
    const SharedBlockHandle handle = lease->openBlock(true, reason);
    ASSERT_TRUE(handle) << reason.utf8();
    const std::string data(512, 'd');
    EXPECT_TRUE(handle->write(4096, data.data(), data.size()).ok() && handle->flush().ok());
    EXPECT_EQ(image.bytes(4096, 512), data);
    EXPECT_TRUE(lease->isUnchanged(difference)) << difference.utf8();
    EXPECT_TRUE(isSameDrive(lease->identity(), take(image.path)->identity()));
    // Its name cannot be given to another file meanwhile.
    std::error_code failed;
    std::filesystem::rename(image.path, image.path + "-moved", failed);
    EXPECT_TRUE(failed);
}

}  // namespace
}  // namespace libDrive2
