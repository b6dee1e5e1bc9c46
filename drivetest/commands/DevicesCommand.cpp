#include <cstdio>

#include "drivetest/ExitStatus.h"
#include "drivetest/commands/Commands.h"
#include "drivetest/record/RecordWriter.h"
#include "drivetest/terminal/Texts.h"
#include "libDrive2/DeviceLockingManager.h"
#include "quix5/DeviceInventory.h"

namespace drivetest {

namespace {

using quix5::DeviceCapability;
using quix5::DiagDevice;

std::string textProperty(const DiagDevice& device, const char* name) {
    const quix5::DeviceProperty* const property = device.property(name);
    return property != nullptr ? property->value().valueString().zelString().utf8() : std::string();
}

std::uint64_t numberProperty(const DiagDevice& device, const char* name) {
    std::uint64_t number = 0;
    if (const quix5::DeviceProperty* property = device.property(name); property != nullptr)
        property->value().getZELValue().get(number);
    return number;
}

std::vector<std::string> capabilityNames(const DiagDevice& device) {
    const std::pair<DeviceCapability, const char*> known[] = {
        {DeviceCapability::ATA, "ATA"},
        {DeviceCapability::SCSISBC, "SCSISBC"},
        {DeviceCapability::SCSIMMC, "SCSIMMC"},
        {DeviceCapability::USB_UFI, "USB_UFI"},
        {DeviceCapability::FloppyDrive, "FloppyDrive"},
        {DeviceCapability::CDROM, "CDROM"},
        {DeviceCapability::HardDrive, "HardDrive"},
        {DeviceCapability::USBMassStorage, "USBMassStorage"},
        {DeviceCapability::MMCSDFlash, "MMCSDFlash"},
        {DeviceCapability::RemovableStorage, "RemovableStorage"},
        {DeviceCapability::NVME, "NVME"},
    };
    std::vector<std::string> names;
    for (const auto& [capability, name] : known)
        if (device.hasCapability(capability))
            names.emplace_back(name);
    return names;
}

std::vector<std::string> usersOf(const DiagDevice& device) {
    std::vector<std::string> users;
    for (const zel::String& user : libDrive2::DeviceLockingManager(device.osLocator()).holders())
        users.push_back(user.utf8());
    return users;
}

std::string join(const std::vector<std::string>& items) {
    std::string text;
    for (const std::string& item : items)
        text += (text.empty() ? "" : ", ") + item;
    return text;
}

/// What to type to confirm a destructive test: the serial number, or the locator of a drive without one.
std::string confirmationOf(const DiagDevice& device) {
    const std::string serial = textProperty(device, quix5::kPropertySerial);
    return serial.empty() ? device.osLocator().utf8() : serial;
}

Json describe(const DiagDevice& device) {
    return {{"locator", device.osLocator().utf8()},
            {"model", textProperty(device, quix5::kPropertyModel)},
            {"serial", textProperty(device, quix5::kPropertySerial)},
            {"firmware", textProperty(device, quix5::kPropertyFirmware)},
            {"bytes", numberProperty(device, quix5::kPropertyBytes)},
            {"sectorSize", numberProperty(device, quix5::kPropertySectorSize)},
            {"capabilities", capabilityNames(device)},
            {"inUseBy", usersOf(device)},
            {"confirm", confirmationOf(device)}};
}

void printTable(const std::vector<DiagDevice>& devices) {
    if (devices.empty()) {
        std::puts("No drives were found.");
        return;
    }
    std::printf("%-14s %-28s %-20s %10s  %-26s %s\n", "LOCATOR", "MODEL", "SERIAL", "SIZE", "CAPABILITIES",
                "IN USE BY");
    for (const DiagDevice& device : devices)
        std::printf("%-14s %-28s %-20s %10s  %-26s %s\n", device.osLocator().utf8().c_str(),
                    textProperty(device, quix5::kPropertyModel).c_str(),
                    textProperty(device, quix5::kPropertySerial).c_str(),
                    sizeText(numberProperty(device, quix5::kPropertyBytes)).c_str(),
                    join(capabilityNames(device)).c_str(), join(usersOf(device)).c_str());
}

}  // namespace

int listDevices(bool json) {
    const std::vector<DiagDevice> devices = quix5::listDevices();
    if (!json) {
        printTable(devices);
        return kExitPass;
    }
    Json list = Json::array();
    for (const DiagDevice& device : devices)
        list.push_back(describe(device));
    std::puts(list.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
    return kExitPass;
}

}  // namespace drivetest
