#include "drivetest/plan/DriveMatch.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "drivetest/devices/Drives.h"
#include "quix5/DeviceInventory.h"

namespace drivetest {

namespace {

using quix5::DeviceCapability;
using quix5::DiagDevice;

constexpr const char* kVirtual = "virtual";

bool contains(const std::vector<std::string>& names, const std::string& name) {
    return std::ranges::find(names, name) != names.end();
}

/// In lower case; where a model has blanks, some systems have "_".
std::string comparable(std::string text) {
    std::ranges::transform(text, text.begin(), [](unsigned char letter) {
        return static_cast<char>(letter == '_' ? ' ' : std::tolower(letter));
    });
    return text;
}

/// The first of the names whose capability the device has.
std::string nameByCapability(const DiagDevice& device,
                             std::initializer_list<std::pair<DeviceCapability, const char*>> names) {
    const auto* const found =
        std::ranges::find_if(names, [&device](const auto& each) { return device.hasCapability(each.first); });
    return found != names.end() ? found->second : "";
}

}  // namespace

bool DriveMatch::takes(const DiagDevice& device) const {
    const std::string kind = kindOf(device);
    const bool isWantedKind = kinds.empty() ? kind != kVirtual : contains(kinds, kind);
    const std::uint64_t bytes = numberProperty(device, quix5::kPropertyBytes);
    return isWantedKind && (buses.empty() || contains(buses, busOf(device))) && bytes >= leastBytes &&
           bytes <= mostBytes &&
           (model.empty() ||
            fitsPattern(comparable(model), comparable(textProperty(device, quix5::kPropertyModel))));
}

const std::vector<std::string>& driveKinds() {
    static const std::vector<std::string> kKinds = {"hdd",     "ssd",    "nvme",  "card",
                                                    "optical", "floppy", kVirtual};
    return kKinds;
}

const std::vector<std::string>& driveBuses() {
    static const std::vector<std::string> kBuses = {"ata", "scsi", "nvme", "usb", "mmc"};
    return kBuses;
}

std::string kindOf(const DiagDevice& device) {
    if (flagProperty(device, quix5::kPropertyVirtual))
        return kVirtual;
    std::string kind = nameByCapability(device, {{DeviceCapability::CDROM, "optical"},
                                                 {DeviceCapability::SCSIMMC, "optical"},
                                                 {DeviceCapability::FloppyDrive, "floppy"},
                                                 {DeviceCapability::NVME, "nvme"},
                                                 {DeviceCapability::MMCSDFlash, "card"}});
    if (kind.empty() && device.property(quix5::kPropertyRotational) != nullptr)
        kind = flagProperty(device, quix5::kPropertyRotational) ? "hdd" : "ssd";
    return kind;
}

std::string busOf(const DiagDevice& device) {
    // Where the system has a path of the drive, it names the bus between "-".
    const std::string address = device.hwLocator().utf8();
    for (const char* const bus : {"usb", "ata"})
        if (address.find("-" + std::string(bus) + "-") != std::string::npos)
            return bus;
    return nameByCapability(device, {{DeviceCapability::USBMassStorage, "usb"},
                                     {DeviceCapability::USB_UFI, "usb"},
                                     {DeviceCapability::NVME, "nvme"},
                                     {DeviceCapability::MMCSDFlash, "mmc"},
                                     {DeviceCapability::ATA, "ata"},
                                     {DeviceCapability::SCSISBC, "scsi"},
                                     {DeviceCapability::SCSIMMC, "scsi"}});
}

bool fitsPattern(std::string_view pattern, std::string_view text) {
    std::size_t at = 0;
    std::size_t in = 0;
    std::size_t star = std::string_view::npos;  // the last one, which takes as little as possible
    std::size_t taken = 0;
    while (in < text.size()) {
        if (at < pattern.size() && pattern[at] == '*') {
            star = at++;
            taken = in;
        } else if (at < pattern.size() && (pattern[at] == '?' || pattern[at] == text[in])) {
            ++at;
            ++in;
        } else if (star != std::string_view::npos) {
            at = star + 1;
            in = ++taken;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', at) == std::string_view::npos;
}

}  // namespace drivetest
