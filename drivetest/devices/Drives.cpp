#include "drivetest/devices/Drives.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <regex>
#include <utility>

#include "drivetest/devices/DeviceBytes.h"
#include "libDrive2/DeviceDescription.h"
#include "libDrive2/DeviceOpeners.h"
#include "quix5/DeviceInventory.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using quix5::DeviceCapability;
using quix5::DiagDevice;

constexpr const char* kIdentityProperties[] = {
    quix5::kPropertyVendor, quix5::kPropertyModel,      quix5::kPropertySerial,     quix5::kPropertyFirmware,
    quix5::kPropertyBytes,  quix5::kPropertySectorSize, kPropertyPasswordSupported, kPropertyPasswordSet,
    kPropertyLocked,        kPropertyProtectionType,
};

constexpr std::pair<DeviceCapability, const char*> kCapabilities[] = {
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

/// The inventory opens no drive; the state of an ATA password only the drive knows.
void addSecurity(DiagDevice& device) {
    libDrive2::AtaSecurity security;
    if (!device.hasCapability(DeviceCapability::ATA) || !libDrive2::readAtaSecurity(device, security))
        return;
    device.setProperty(kPropertyPasswordSupported, quix5::Value::boolean(security.supported));
    device.setProperty(kPropertyPasswordSet, quix5::Value::boolean(security.passwordSet));
    device.setProperty(kPropertyLocked, quix5::Value::boolean(security.locked));
}

void setText(DiagDevice& device, const char* name, const zel::String& text) {
    if (!text.isEmpty())
        device.setProperty(name, text);
}

/// What the inventory does not know: simulated drives, and image files.
void addDescription(const libDrive2::DeviceDescription& described, bool isSimulated, DiagDevice& device) {
    if (isSimulated) {
        device.setName(described.model);
        device.setCapabilities(described.capabilities);
    }
    if (described.sectorBytes != 0)
        device.setProperty(quix5::kPropertySectorSize, described.sectorBytes);
    if (described.protectionType != 0)
        device.setProperty(kPropertyProtectionType, std::uint32_t{described.protectionType});
    setText(device, kPropertyWhyNotShown, described.whyNotShown.shown());
    setText(device, quix5::kPropertyModel, described.model);
    setText(device, quix5::kPropertySerial, described.serial);
    setText(device, quix5::kPropertyFirmware, described.firmware);
    if (described.bytes != 0 || isSimulated)
        device.setProperty(quix5::kPropertyBytes, described.bytes);
}

}  // namespace

std::vector<DiagDevice> listDrives() {
    std::vector<DiagDevice> devices = quix5::listDevices();
    std::vector<std::function<std::string()>> questions;
    questions.reserve(devices.size());
    for (const DiagDevice& device : devices)
        questions.emplace_back([asked = device]() mutable {
            libDrive2::DeviceDescription described;
            zel::String ignored;
            if (libDrive2::describeDevice(asked.osLocator(), described, ignored))
                addDescription(described, false, asked);
            addSecurity(asked);
            return bytesOf(asked);
        });
    const std::vector<ApartAnswer> answers = askApart(questions);
    for (std::size_t i = 0; i < devices.size(); ++i)
        if (DiagDevice told;
            answers[i].end == ApartAnswer::End::answered && readDevice(answers[i].text, told))
            devices[i] = std::move(told);
        else
            devices[i].setProperty(kPropertySilence, zel::String(describeSilence(
                                                         devices[i].osLocator().utf8(), answers[i].end)));
    return devices;
}

bool isThere(const std::string& locator, std::string& error) {
    libDrive2::DeviceDescription described;
    zel::String problem;
    if (!libDrive2::describeDevice(locator, described, problem))
        error = problem.utf8();
    else if (!libDrive2::isSimulated(locator) && !zel::pathExists(locator))
        error = zel::words("{drive} does not exist: \"drivetest devices\" lists the drives of this machine",
                           {{"drive", locator}});
    return error.empty();
}

bool findDrive(const std::string& locator, DiagDevice& device, std::string& error) {
    libDrive2::DeviceDescription described;
    zel::String problem;
    if (!libDrive2::describeDevice(locator, described, problem)) {
        error = problem.utf8();
        return false;
    }
    const bool isSimulated = libDrive2::isSimulated(locator);
    if (isSimulated)
        device.setLocators(locator, locator);
    else
        device = quix5::findDevice(locator);
    // A block device without sectors gives way to the generic node of its drive.
    if (!isSimulated && device.osLocator() != locator)
        (void)libDrive2::describeDevice(device.osLocator(), described, problem);
    addDescription(described, isSimulated, device);
    addSecurity(device);
    return true;
}

void describeAgain(DiagDevice& device, const std::string& path) {
    const DiagDevice found = quix5::findDevice(path);
    for (const char* name : kIdentityProperties)
        if (const quix5::DeviceProperty* property = found.property(name); property != nullptr)
            device.setProperty(name, property->value());
        else
            device.removeProperty(name);
    libDrive2::DeviceDescription described;
    zel::String ignored;
    if (libDrive2::describeDevice(path, described, ignored))
        addDescription(described, false, device);
    addSecurity(device);
}

bool isIdentityProperty(const std::string& name) {
    return std::any_of(std::begin(kIdentityProperties), std::end(kIdentityProperties),
                       [&name](const char* each) { return name == each; });
}

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

bool flagProperty(const DiagDevice& device, const char* name) {
    const quix5::DeviceProperty* const property = device.property(name);
    return property != nullptr && property->value().valueBool();
}

std::vector<std::string> formatNotes(const DiagDevice& device) {
    std::vector<std::string> notes;
    if (device.property(kPropertySilence) != nullptr)
        notes.push_back(zel::words("it does not answer"));
    if (const std::string reason = textProperty(device, kPropertyWhyNotShown); !reason.empty())
        notes.push_back(zel::words("only SCSI commands reach it: {reason}", {{"reason", reason}}));
    if (const std::uint64_t type = numberProperty(device, kPropertyProtectionType); type != 0)
        notes.push_back(
            zel::words("it keeps protection information of type {n} beside its sectors", {{"n", type}}));
    return notes;
}

std::vector<std::string> capabilityNames(const DiagDevice& device) {
    std::vector<std::string> names;
    for (const auto& [capability, name] : kCapabilities)
        if (device.hasCapability(capability))
            names.emplace_back(name);
    return names;
}

DeviceCapability capabilitiesOf(const std::vector<std::string>& names) {
    DeviceCapability found;
    for (const auto& [capability, name] : kCapabilities)
        if (std::ranges::find(names, name) != names.end())
            found = found | capability;
    return found;
}

std::string describeSilence(const std::string& locator, ApartAnswer::End end) {
    if (end == ApartAnswer::End::stopped)
        return zel::words("stopped before the end");
    if (end != ApartAnswer::End::silent)
        return zel::words("{drive} could not be asked what it is: the process that did so came to no end",
                          {{"drive", locator}});
    return zel::words(
        "{drive} does not answer: for {n} s it has not said what it is. Look at its cable and its power, "
        "then start again",
        {{"drive", locator}, {"n", kPatienceWithDrive.count()}});
}

bool isAccessOrder(const std::string& text) {
    static const std::regex form("DriveTestSearchOrder(:[1-8]){1,100}");
    // Longer ones would only repeat themselves.
    return text.size() < 1000 && std::regex_match(text, form);
}

}  // namespace drivetest
