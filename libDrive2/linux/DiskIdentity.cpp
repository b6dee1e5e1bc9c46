#include "libDrive2/linux/DiskIdentity.h"

#include <fstream>
#include <iterator>

#include "libDrive2/linux/FileIdentity.h"

namespace libDrive2 {

namespace {

std::string trimmed(const std::string& text) {
    const auto isBlank = [](char c) { return c == ' ' || c == '\0' || c == '\t' || c == '\r'; };
    std::size_t first = 0;
    std::size_t end = text.size();
    while (first < end && isBlank(text[first]))
        ++first;
    while (end > first && isBlank(text[end - 1]))
        --end;
    return text.substr(first, end - first);
}

std::string firstOf(const SysfsBlock& disk, std::initializer_list<const char*> names) {
    for (const char* name : names)
        if (std::string value = trimmed(disk.attribute(name)); !value.empty())
            return value;
    return {};
}

/// SPC-4, Unit Serial Number: four bytes, then the text.
std::string serialPageOf(const SysfsBlock& disk) {
    std::ifstream page(disk.folder() / "device" / "vpd_pg80", std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(page), {}};
    return bytes.size() > 4 ? trimmed(bytes.substr(4)) : std::string();
}

/// An adapter may answer for the drive in it. What an IEEE registered name says is the drive's own.
bool isTrusted(const SysfsBlock& disk, const std::string& wwid) {
    const bool isBehindUsb = disk.folder().string().find("/usb") != std::string::npos;
    return !isBehindUsb || wwid.starts_with("naa.");
}

}  // namespace

std::string lastingIdOf(const SysfsBlock& disk) {
    const std::string wwid = firstOf(disk, {"wwid", "device/wwid", "device/cid"});
    if (!isTrusted(disk, wwid))
        return {};
    const std::string page = serialPageOf(disk);
    const std::string serial = page.empty() ? firstOf(disk, {"device/serial", "serial"}) : page;
    if (!wwid.empty())
        return "wwid:" + wwid + (serial.empty() ? "" : ";" + serial);
    if (serial.empty())
        return {};
    return "serial:" + firstOf(disk, {"device/model", "device/name"}) + ";" + serial + ";" +
           disk.attribute("size");
}

std::string passingIdOf(const SysfsBlock& device, dev_t number) {
    const std::string sequence = device.attribute("diskseq");
    return "boot:" + bootId() +
           (sequence.empty() ? ":device:" + std::to_string(number) : ":disk:" + sequence);
}

}  // namespace libDrive2
