#include <array>
#include <iostream>

#include "drivetest/ExitStatus.h"
#include "drivetest/commands/Commands.h"
#include "drivetest/devices/Drives.h"
#include "drivetest/record/RecordWriter.h"
#include "drivetest/safety/SafeStart.h"
#include "drivetest/terminal/Columns.h"
#include "drivetest/terminal/Language.h"
#include "drivetest/terminal/Texts.h"
#include "libDrive2/DeviceLockingManager.h"
#include "quix5/DeviceInventory.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

using quix5::DiagDevice;

std::vector<std::string> usersOf(const DiagDevice& device) {
    std::vector<std::string> users;
    if (device.property(kPropertySilence) != nullptr)
        return users;  // it would keep this process, too
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

Json securityOf(const DiagDevice& device) {
    return {{"passwordSupported", flagProperty(device, kPropertyPasswordSupported)},
            {"passwordSet", flagProperty(device, kPropertyPasswordSet)},
            {"locked", flagProperty(device, kPropertyLocked)}};
}

Json describe(const DiagDevice& device) {
    Json described{{"locator", device.osLocator().utf8()},
                   {"model", textProperty(device, quix5::kPropertyModel)},
                   {"serial", textProperty(device, quix5::kPropertySerial)},
                   {"firmware", textProperty(device, quix5::kPropertyFirmware)},
                   {"bytes", numberProperty(device, quix5::kPropertyBytes)},
                   {"sectorSize", numberProperty(device, quix5::kPropertySectorSize)},
                   {"capabilities", capabilityNames(device)},
                   {"inUseBy", usersOf(device)},
                   {"confirm", confirmationOf(device)}};
    // Only ATA drives have such a state.
    if (device.property(kPropertyLocked) != nullptr)
        described["security"] = securityOf(device);
    if (const std::uint64_t type = numberProperty(device, kPropertyProtectionType); type != 0)
        described["protectionType"] = type;
    if (const std::string reason = textProperty(device, kPropertyWhyNotShown); !reason.empty())
        described["whyNotShown"] = reason;
    if (const std::string reason = textProperty(device, kPropertySilence); !reason.empty())
        described["silence"] = reason;
    return described;
}

/// Who uses the drive, and whether its password keeps everybody out.
std::string stateOf(const DiagDevice& device) {
    std::string state = join(usersOf(device));
    if (flagProperty(device, kPropertyLocked))
        state += (state.empty() ? "" : " ") + words("(locked by its ATA password)");
    for (const std::string& note : formatNotes(device))
        state += (state.empty() ? "(" : " (") + note + ")";
    return state;
}

void printRow(std::array<std::string, 6> cells) {
    for (std::string& cell : cells)
        cell = printable(cell);
    const auto& [locator, model, serial, size, capabilities, users] = cells;
    const std::size_t taken = columnsOf(size);
    std::cout << padded(locator, 15) << padded(model, 29) << padded(serial, 21)
              << std::string(taken < 10 ? 10 - taken : 0, ' ') << size << "  " << padded(capabilities, 35)
              << users << '\n';
}

void printTable(const std::vector<DiagDevice>& devices) {
    if (devices.empty()) {
        std::cout << words("No drives were found.") << '\n';
        return;
    }
    printRow({words("LOCATOR"), words("MODEL"), words("SERIAL"), words("SIZE"), words("CAPABILITIES"),
              words("IN USE BY")});
    for (const DiagDevice& device : devices)
        printRow({device.osLocator().utf8(), textProperty(device, quix5::kPropertyModel),
                  textProperty(device, quix5::kPropertySerial),
                  sizeText(numberProperty(device, quix5::kPropertyBytes)), join(capabilityNames(device)),
                  stateOf(device)});
}

}  // namespace

int listDevices(bool json) {
    if (!json) {
        printTable(listDrives());
        return kExitPass;
    }
    const LanguageChange english("en");  // whatever whoever started the program speaks
    const std::vector<DiagDevice> devices = listDrives();
    Json list = Json::array();
    for (const DiagDevice& device : devices)
        list.push_back(describe(device));
    // In ASCII: a terminal would follow the control characters that JSON lets pass.
    std::cout << list.dump(2, ' ', true, Json::error_handler_t::replace) << '\n';
    return kExitPass;
}

}  // namespace drivetest
