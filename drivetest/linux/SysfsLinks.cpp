#include "drivetest/linux/SysfsLinks.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <regex>
#include <string_view>
#include <system_error>

#include "zel/Words.h"

namespace drivetest {

namespace fs = std::filesystem;

namespace {

using zel::marked;
using zel::worded;

constexpr double kBitsPerMegabyte = 8.0 * 1048576;
/// What packets, addresses and acknowledgements leave of a link for data.
constexpr double kPciPayload = 0.87;
constexpr double kUsbPayload = 0.85;
constexpr double kSataPayload = 0.95;
constexpr double kSasPayload = 0.95;
/// MB/s of a disk at its outer edge.
constexpr double kDiskRate = 260;
/// Longer names are no names of the kernel's.
constexpr std::size_t kLongestName = 64;

/// The first line of a file, of which nobody says that it is short.
std::string lineOf(const fs::path& file) {
    std::ifstream in(file);
    std::array<char, 128> line{};
    in.getline(line.data(), line.size());
    return line.data();
}

double numberOf(const fs::path& file) {
    const std::string line = lineOf(file);
    char* end = nullptr;
    const double number = std::strtod(line.c_str(), &end);
    return end != line.c_str() && number > 0 && number < 1e9 ? number : 0;
}

/// Of a folder that may go away meanwhile.
std::vector<fs::path> entriesOf(const fs::path& folder) {
    std::vector<fs::path> entries;
    std::error_code problem;
    for (fs::directory_iterator at(folder, problem), end; !problem && at != end; at.increment(problem))
        entries.push_back(at->path());
    return entries;
}

/// Bits of data in a bit on the wire.
double pciCoding(double gigatransfers) {
    return gigatransfers < 8 ? 0.8 : 128.0 / 130;
}
double usbCoding(double megabits) {
    return megabits == 5000 ? 0.8 : megabits > 5000 ? 128.0 / 132 : 1;
}
double sasCoding(double gigabits) {
    return gigabits > 12 ? 128.0 / 150 : 0.8;
}

struct PciKind {
    std::string_view beginning;  ///< of the class code
    const char* name;
};
constexpr PciKind kPciKinds[] = {
    {"0x0106", marked("SATA adapter {address}")},   {"0x0107", marked("SAS adapter {address}")},
    {"0x0104", marked("RAID adapter {address}")},   {"0x0108", marked("NVMe port {address}")},
    {"0x0c03", marked("USB controller {address}")}, {"0x0604", marked("PCI bridge {address}")},
};

zel::Wording namePci(const fs::path& folder) {
    const std::string code = lineOf(folder / "class");
    const auto* const kind = std::ranges::find_if(
        kPciKinds, [&code](const PciKind& each) { return code.starts_with(each.beginning); });
    const char* const text = kind != std::end(kPciKinds) ? kind->name : marked("adapter {address}");
    return worded(text, {{"address", folder.filename().string()}});
}

/// A PCI function; inside the processor it has no link, or one whose width is 0.
std::optional<SharedLink> pciLink(const fs::path& folder) {
    static const std::regex form("[0-9a-f]{4,8}:[0-9a-f]{2}:[0-9a-f]{2}\\.[0-7]");
    if (!std::regex_match(folder.filename().string(), form))
        return std::nullopt;
    const double speed = numberOf(folder / "current_link_speed");
    const double width = numberOf(folder / "current_link_width");
    // A switch on the main board tells of more lanes than there can be.
    const bool isKnown = speed > 0 && width >= 1 && width <= 32;
    const double rate = isKnown ? speed * 1e9 * width * pciCoding(speed) * kPciPayload / kBitsPerMegabyte : 0;
    return SharedLink{folder.string(), namePci(folder), rate};
}

/// A hub, or the device itself: its own cable. The ports of a controller have a cable each.
std::optional<SharedLink> usbLink(const fs::path& folder) {
    static const std::regex form("[0-9]+-[0-9]+(\\.[0-9]+)*");
    const std::string name = folder.filename().string();
    const double speed = numberOf(folder / "speed");
    if (!std::regex_match(name, form) || speed == 0)
        return std::nullopt;
    const bool isHub = lineOf(folder / "bDeviceClass") == "09";
    return SharedLink{
        folder.string(),
        worded(isHub ? marked("USB hub {port}") : marked("USB device {port}"), {{"port", name}}),
        speed * 1e6 * usbCoding(speed) * kUsbPayload / kBitsPerMegabyte};
}

/// A port of a SATA adapter, with one drive or those behind a port multiplier.
std::optional<SharedLink> sataLink(const fs::path& folder) {
    static const std::regex form("ata([0-9]+)");
    std::smatch number;
    const std::string name = folder.filename().string();
    if (!std::regex_match(name, number, form))
        return std::nullopt;
    const std::string link = "link" + number[1].str();
    const double speed = numberOf(folder / link / "ata_link" / link / "sata_spd");
    return SharedLink{folder.string(), worded("SATA port {port}", {{"port", name}}),
                      speed * 1e9 * 0.8 * kSataPayload / kBitsPerMegabyte};
}

/// A port of a SAS adapter or expander: as many lanes as it has phys.
std::optional<SharedLink> sasLink(const fs::path& folder) {
    static const std::regex form("port-[0-9]+(:[0-9]+)+");
    const std::string name = folder.filename().string();
    if (!std::regex_match(name, form))
        return std::nullopt;
    double rate = 0;
    for (const fs::path& entry : entriesOf(folder)) {
        const std::string phy = entry.filename().string();
        if (!phy.starts_with("phy-"))
            continue;
        const double gigabits = numberOf(entry / "sas_phy" / phy / "negotiated_linkrate");
        rate += gigabits * 1e9 * sasCoding(gigabits) * kSasPayload / kBitsPerMegabyte;
    }
    return SharedLink{folder.string(), worded("SAS port {port}", {{"port", name}}), rate};
}

std::optional<SharedLink> linkOf(const fs::path& folder) {
    for (auto* const kind : {pciLink, usbLink, sataLink, sasLink})
        if (auto link = kind(folder))
            return link;
    return std::nullopt;
}

}  // namespace

/// The folder of the device that a node belongs to; of a namespace of several controllers that of the first.
fs::path SysfsLinks::deviceOf(const std::string& name) const {
    std::error_code none;
    for (const char* const kind : {"block", "scsi_generic", "nvme-generic"}) {
        fs::path folder = fs::canonical(m_root / "class" / kind / name, none);
        if (folder.empty())
            continue;
        if (fs::exists(folder / "partition", none))
            folder = folder.parent_path();
        fs::path device = fs::canonical(folder / "device", none);
        if (!device.filename().string().starts_with("nvme-subsys"))
            return device;
        for (const fs::path& entry : entriesOf(device))
            if (const fs::path controller = fs::canonical(entry, none);
                controller != device / entry.filename() && entry.filename().string().starts_with("nvme"))
                return controller;
        return device;
    }
    return {};
}

std::vector<SharedLink> SysfsLinks::of(const std::string& name) const {
    std::vector<SharedLink> links;
    if (name.empty() || name.size() > kLongestName || name.find('/') != std::string::npos)
        return links;
    std::error_code none;
    const fs::path top = fs::canonical(m_root, none);
    for (fs::path at = deviceOf(name); at.has_relative_path() && at != top && at != at.parent_path();
         at = at.parent_path())
        if (auto link = linkOf(at))
            links.push_back(std::move(*link));
    return links;
}

bool SysfsLinks::isDisk(const std::string& name) const {
    const fs::path folder = m_root / "class/block" / name;
    return lineOf(folder / "queue/rotational") == "1" || lineOf(folder / "../queue/rotational") == "1";
}

/// The narrowest link bounds any drive; what else there is to know of flash is its cable.
double SysfsLinks::expectedRateOf(const std::string& name) const {
    double rate = 0;
    for (const SharedLink& link : of(name))
        if (link.megabytesPerSecond > 0 && (rate == 0 || link.megabytesPerSecond < rate))
            rate = link.megabytesPerSecond;
    return rate > kDiskRate && isDisk(name) ? kDiskRate : rate;
}

namespace {

/// The kernel's name of a node; empty for anything else.
std::string nodeNameOf(const std::string& device) {
    std::error_code none;
    const fs::path node = fs::canonical(device, none);
    return node.parent_path() == "/dev" ? node.filename().string() : std::string();
}

}  // namespace

std::vector<SharedLink> linksOf(const std::string& device) {
    return SysfsLinks("/sys").of(nodeNameOf(device));
}

double expectedRateOf(const std::string& device) {
    return SysfsLinks("/sys").expectedRateOf(nodeNameOf(device));
}

}  // namespace drivetest
