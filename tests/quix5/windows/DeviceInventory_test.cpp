#include "quix5/DeviceInventory.h"

#include <gmock/gmock.h>

#include <cstring>

#include "support/windows/StorageStructures.h"

namespace quix5 {
namespace {

using Capability = DeviceCapability;
using testing::ElementsAre;
using testing_support::answerAsDrive;
using testing_support::PlayedBytes;
using testing_support::PlayedCalls;
using testing_support::PlayedDevice;
using zel::DeviceDescriptor;
using zel::DeviceNumber;
using zel::StorageBus;

constexpr std::size_t kBytes = 1 << 20;

std::string textOf(const DiagDevice& device, const char* name) {
    const DeviceProperty* const property = device.property(name);
    return property != nullptr ? property->value().valueString().zelString().utf8() : "-";
}

std::uint64_t numberOf(const DiagDevice& device, const char* name) {
    std::uint64_t number = 0;
    if (const DeviceProperty* const property = device.property(name); property != nullptr)
        property->value().getZELValue().get(number);
    return number;
}

PlayedDevice& addDrive(PlayedCalls& calls, const std::wstring& name, std::uint32_t number,
                       const DeviceDescriptor& told, std::uint32_t type = DeviceNumber::kDiskType) {
    PlayedDevice& device = calls.device(L"\\\\.\\" + name);
    device.content.resize(kBytes);
    answerAsDrive(device, number, told, type);
    calls.dosDevices[name] = L"\\Device\\" + name;
    return device;
}

void addFloppy(PlayedCalls& calls, const std::wstring& letter) {
    DISK_GEOMETRY media[2]{};
    media[0].MediaType = F3_720_512;
    media[1].MediaType = F3_1Pt44_512;
    calls.device(L"\\\\.\\" + letter).answer(IOCTL_STORAGE_GET_MEDIA_TYPES, testing_support::bytesOf(media));
    calls.volumes.push_back(
        {L"\\\\?\\Volume{" + letter + L"}\\", {letter + L"\\"}, L"", L"", DRIVE_REMOVABLE});
}

TEST(Inventory, EveryBusGivesItsCapabilities) {
    const Capability disk = Capability::HardDrive;
    const struct {
        StorageBus bus;
        bool isRemovable;
        Capability expected;
    } kCases[] = {
        {StorageBus::ata, false, disk | Capability::ATA},
        {StorageBus::sata, false, disk | Capability::ATA},
        {StorageBus::nvme, false, disk | Capability::NVME},
        {StorageBus::scsi, false, disk | Capability::SCSISBC},
        {StorageBus::sas, false, disk | Capability::SCSISBC},
        {StorageBus::raid, false, disk | Capability::SCSISBC},
        {StorageBus::usb, true,
         disk | Capability::SCSISBC | Capability::USBMassStorage | Capability::RemovableStorage},
        {StorageBus::sd, true, Capability::MMCSDFlash | Capability::RemovableStorage},
        {StorageBus::fileBacked, false, disk},
        {StorageBus{0x55}, false, disk},  // one that is not known yet
    };
    for (const auto& each : kCases) {
        PlayedCalls calls;
        addDrive(calls, L"PhysicalDrive0", 0, {0, each.isRemovable, each.bus, "", "Disk", "", ""});
        EXPECT_EQ(findDevice("\\\\.\\PhysicalDrive0").deviceCapabilities(), each.expected)
            << static_cast<unsigned>(each.bus);
    }
}

TEST(Inventory, ListsDrivesInOrderWithWhatTheyTell) {
    PlayedCalls calls;
    addDrive(calls, L"PhysicalDrive10", 10, {0, false, StorageBus::nvme, "", "Ten", "", ""});
    addDrive(calls, L"PhysicalDrive2", 2, {0, false, StorageBus::sata, "ACME", "Two  ", "1.0", "  S2 "})
        .answer(IOCTL_SCSI_GET_ADDRESS, PlayedBytes{8, 0, 0, 0, 1, 0, 2, 3});
    addDrive(calls, L"CdRom0", 0, {5, true, StorageBus::atapi, "", "Burner", "", ""},
             DeviceNumber::kOpticalType)
        .fail(IOCTL_DISK_GET_DRIVE_GEOMETRY_EX, ERROR_NOT_READY);
    addFloppy(calls, L"A:");
    // What does not open, what nobody drives, and what is no drive at all.
    addDrive(calls, L"PhysicalDrive3", 3, {}).openError = ERROR_FILE_NOT_FOUND;
    calls.device(L"\\\\.\\PhysicalDrive4");
    for (const wchar_t* name : {L"PhysicalDrive4", L"PhysicalDriveX", L"PhysicalDrive", L"C:", L"NUL"})
        calls.dosDevices[name] = L"\\Device\\X";

    const std::vector<DiagDevice> devices = listDevices();
    std::vector<std::string> found;
    for (const DiagDevice& device : devices)
        found.push_back(device.osLocator().utf8() + " " + device.name().utf8() + " " +
                        std::to_string(numberOf(device, kPropertyBytes)));
    EXPECT_THAT(found, ElementsAre("\\\\.\\PhysicalDrive2 Two 1048576", "\\\\.\\PhysicalDrive10 Ten 1048576",
                                   "\\\\.\\CdRom0 Burner 0", "\\\\.\\A: \\\\.\\A: 0"));
    EXPECT_EQ(textOf(devices[0], kPropertyVendor) + textOf(devices[0], kPropertyModel) +
                  textOf(devices[0], kPropertySerial) + textOf(devices[0], kPropertyFirmware),
              "ACMETwoS21.0");
    EXPECT_EQ(devices[0].hwLocator(), "port 1, bus 0, target 2, unit 3");
    EXPECT_EQ(textOf(devices[1], kPropertySerial), "-");
    EXPECT_EQ(devices[2].deviceCapabilities(),
              Capability::SCSIMMC | Capability::CDROM | Capability::RemovableStorage);
    EXPECT_EQ(devices[3].deviceCapabilities(), Capability::FloppyDrive | Capability::RemovableStorage);
    EXPECT_EQ(calls.openHandles(), 0U);
}

TEST(Inventory, ALetterLeadsToTheDriveThatIsAllItStandsFor) {
    PlayedCalls calls;
    addDrive(calls, L"CdRom1", 1, {5, true, StorageBus::usb, "", "Burner", "", ""},
             DeviceNumber::kOpticalType);
    calls.device(L"\\\\.\\E:")
        .answer(IOCTL_STORAGE_GET_DEVICE_NUMBER,
                testing_support::deviceNumber(DeviceNumber::kOpticalType, 1));
    addDrive(calls, L"C:", 0, {0, false, StorageBus::sata, "", "Disk", "", ""});
    addFloppy(calls, L"B:");
    // An optical drive of which only the letter is known.
    calls.device(L"\\\\.\\F:");
    calls.volumes.push_back({L"\\\\?\\Volume{F}\\", {L"F:\\"}, L"", L"", DRIVE_CDROM});

    EXPECT_EQ(findDevice("\\\\.\\e:").osLocator(), "\\\\.\\CdRom1");
    EXPECT_TRUE(findDevice("\\\\.\\F:").hasCapability(Capability::SCSIMMC));
    EXPECT_TRUE(findDevice("\\\\.\\B:").hasCapability(Capability::FloppyDrive));
    for (const char* path :
         {"\\\\.\\C:", "\\\\.\\PhysicalDrive7", "\\\\.\\Z:", "C:\\image.bin", "image", ""}) {
        const DiagDevice unlisted = findDevice(path);
        EXPECT_EQ(unlisted.osLocator(), path);
        EXPECT_EQ(unlisted.deviceCapabilities(), Capability::HardDrive) << path;
        EXPECT_TRUE(unlisted.properties().empty()) << path;
    }
}

TEST(Inventory, ADriveWhoseDriverTellsNothingDescribesItself) {
    constexpr std::size_t kFull = 96;
    std::string whole = std::string("\x05\x80\x05\x02\x5B\0\0\0", 8) + "ACME    Burner          1.0 ";
    whole.resize(kFull, '\0');
    const auto changed = [&whole](char first) { return first + whole.substr(1); };
    const struct {
        std::string says;
        std::size_t bytes;
        UCHAR status;
        Capability expected;
        const char* name;
    } kCases[] = {
        {whole, 36, 0, Capability::SCSIMMC | Capability::CDROM | Capability::RemovableStorage,
         "ACMEBurner1.0"},
        {changed('\0'), kFull, 0, Capability::SCSISBC | Capability::HardDrive | Capability::RemovableStorage,
         "ACMEBurner1.0"},
        {changed('\x01'), kFull, 0, Capability::HardDrive, "---"},  // a tape
        {changed('\x25'), kFull, 0, Capability::HardDrive, "---"},  // nothing at that address
        {whole, 35, 0, Capability::HardDrive, "---"},
        {whole, kFull, 2, Capability::HardDrive, "---"},
    };
    for (const auto& each : kCases) {
        PlayedCalls calls;
        calls.device(L"\\\\.\\CdRom3").drivers[IOCTL_SCSI_PASS_THROUGH_DIRECT] = [&](const auto& request) {
            auto header = request.template input<SCSI_PASS_THROUGH_DIRECT>();
            EXPECT_TRUE(header.Cdb[0] == 0x12 && header.Cdb[4] == kFull &&
                        header.DataTransferLength == kFull);
            std::memcpy(header.DataBuffer, each.says.data(), each.bytes);
            header.DataTransferLength = static_cast<ULONG>(each.bytes);
            header.ScsiStatus = each.status;
            return testing_support::PlayedAnswer{testing_support::bytesOf(header)};
        };
        const DiagDevice found = findDevice("\\\\.\\CdRom3");
        EXPECT_EQ(found.deviceCapabilities(), each.expected) << each.bytes;
        EXPECT_EQ(
            textOf(found, kPropertyVendor) + textOf(found, kPropertyModel) + textOf(found, kPropertyFirmware),
            each.name);
        EXPECT_EQ(calls.openHandles(), 0U);
    }
}

TEST(Inventory, WhateverCallFailsNothingStaysOpen) {
    for (unsigned call = 1;; ++call) {
        PlayedCalls calls;
        addDrive(calls, L"PhysicalDrive0", 0, {0, false, StorageBus::sata, "", "Disk", "", "S"});
        addFloppy(calls, L"A:");
        calls.failAt = call;
        for (const DiagDevice& device : listDevices())
            EXPECT_FALSE(device.osLocator().isEmpty());
        EXPECT_EQ(calls.openHandles(), 0U) << call;
        if (calls.calls() < call)
            break;
    }
}

TEST(StorageAnswers, DescriptorsAreReadAsFarAsTheyHold) {
    const DeviceDescriptor told{5, true, StorageBus::usb, "ACME", "Disk", "1.0", "S1"};
    const PlayedBytes whole = testing_support::deviceDescriptor(told);
    const auto serialAt = [&whole](std::uint32_t offset, std::size_t bytes) {
        PlayedBytes changed = whole;
        std::memcpy(changed.data() + 24, &offset, sizeof offset);
        changed.resize(bytes);
        const auto found = zel::parseDeviceDescriptor(changed);
        return found ? found->serial : "nothing";
    };
    const auto size = whole.size();
    const auto end = static_cast<std::uint32_t>(size);
    EXPECT_EQ(serialAt(end - 3, size), "S1");
    EXPECT_EQ(serialAt(end - 3, size - 1), "S1");  // without the zero at its end
    EXPECT_EQ(serialAt(end - 3, size - 3), "");    // cut off
    EXPECT_EQ(serialAt(0, size) + serialAt(end, size) + serialAt(0xFFFFFFFF, size) + serialAt(8, size), "");
    EXPECT_EQ(serialAt(0, 35), "nothing");
    EXPECT_EQ(serialAt(end - 3, size + 100), "S1");
    PlayedBytes stated = whole;
    stated[4] = 20;  // says that it is too short for its own fields
    EXPECT_FALSE(zel::parseDeviceDescriptor(stated));
}

TEST(StorageAnswers, SerialNumbersOfOldDriversAreTurned) {
    const auto serial = [](const std::string& told) {
        return zel::parseDeviceDescriptor(
                   testing_support::deviceDescriptor({0, false, StorageBus::ata, "", "", "", told}))
            ->serial;
    };
    EXPECT_EQ(serial("2020202057202d445758413843563032343233"), "2020202057202d445758413843563032343233");
    EXPECT_EQ(serial("2020202057202d44585741314332343536373839"), "WD-WX1A2C547698");
    EXPECT_EQ(serial("0000000000000000000000000000000000000001"), "0000000000000000000000000000000000000001");
    EXPECT_EQ(serial("S4EVNX0N\x01\x7F!"), "S4EVNX0N  !");
}

}  // namespace
}  // namespace quix5
