#include "libDrive2/linux/LinuxScsiDevice.h"

#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/utsname.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/DeviceProvider.h"
#include "libDrive2/bridges/SatAtaDevice.h"
#include "libDrive2/commands/ScsiCommands.h"
#include "libDrive2/linux/HeldSignals.h"
#include "libDrive2/linux/SysfsBlock.h"
#include "libDrive2/linux/SysfsScsi.h"
#include "zel/Words.h"

namespace libDrive2 {

namespace {

constexpr int kOldestInterface = 30000;  ///< the first that knows SG_IO
constexpr std::uint8_t kCheckCondition = 0x02;

int directionOf(DataDirection direction) {
    switch (direction) {
        case DataDirection::fromDevice:
            return SG_DXFER_FROM_DEV;
        case DataDirection::toDevice:
            return SG_DXFER_TO_DEV;
        default:
            return SG_DXFER_NONE;
    }
}

/// The host adapter's own verdict (the kernel's DID_ codes).
DeviceStatus statusOfHost(unsigned hostStatus) {
    const auto code = [hostStatus](const char* text) {
        return zel::worded("{problem} (host status {n})",
                           {{"problem", zel::worded(text)}, {"n", hostStatus}});
    };
    switch (hostStatus) {
        case 0x00:
            return {};
        case 0x02:  // BUS_BUSY
        case 0x0C:  // IMM_RETRY
        case 0x0D:  // REQUEUE
        case 0x11:  // NEXUS_FAILURE
            return {LIBDRIVE2_BUSY, code(zel::marked("the device is busy"))};
        case 0x03:  // TIME_OUT
        case 0x05:  // ABORT
            return {LIBDRIVE2_TIMEOUT, code(zel::marked("the device did not answer in time"))};
        case 0x01:  // NO_CONNECT
        case 0x04:  // BAD_TARGET
        case 0x0E:  // TRANSPORT_DISRUPTED
        case 0x0F:  // TRANSPORT_FAILFAST
            return {LIBDRIVE2_NO_ACCESS, code(zel::marked("the device cannot be reached"))};
        default:
            return {LIBDRIVE2_LINK_ERROR, code(zel::marked("the command was lost between host and device"))};
    }
}

sg_io_hdr headerOf(const ScsiRequest& request, ScsiResponse& response) {
    sg_io_hdr header{};
    header.interface_id = 'S';
    header.dxfer_direction = directionOf(request.direction);
    header.cmd_len = request.cdbBytes;
    // The kernel's structure has pointers to changeable memory for what it only reads.
    header.cmdp = const_cast<unsigned char*>(request.cdb.data());
    header.dxferp = request.data;
    header.dxfer_len = static_cast<unsigned>(request.dataBytes);
    header.sbp = response.sense.data();
    header.mx_sb_len = static_cast<unsigned char>(response.sense.size());
    header.timeout = request.timeoutMs;
    return header;
}

std::size_t transferred(const sg_io_hdr& header) {
    const auto missing = header.resid > 0 ? static_cast<unsigned>(header.resid) : 0U;
    return missing < header.dxfer_len ? header.dxfer_len - missing : 0;
}

}  // namespace

std::unique_ptr<LinuxScsiDevice> LinuxScsiDevice::open(const zel::String& path, bool writable) {
    PassThroughNode node(path.utf8(), writable);
    DeviceStatus status = node.open();
    int interface = 0;
    if (status.ok() &&
        (ioctl(node.fd(), SG_GET_VERSION_NUM, &interface) != 0 || interface < kOldestInterface))
        status = {LIBDRIVE2_NOT_SUPPORTED, zel::worded("it takes no SCSI commands")};
    std::unique_ptr<LinuxScsiDevice> device(new LinuxScsiDevice(std::move(node)));
    // A node stays for a while when nothing answers behind it.
    if (status.ok())
        status = device->execute(scsi::testUnitReady()).delivery;
    if (!status.ok()) {
        noteOpenError(zel::worded("{path} cannot be opened for SCSI commands: {reason}",
                                  {{"path", path}, {"reason", status.text}}));
        return nullptr;
    }
    return device;
}

/// Where the kernel's own driver of ATA drives is behind the node; older ones send them with no tags. What
/// other adapters and bridges make of such commands nobody knows.
bool LinuxScsiDevice::tagsAtaCommands() const {
    constexpr long kOldestRelease = 5;
    struct stat found {};
    struct utsname system {};
    if (fstat(m_node.fd(), &found) != 0 || uname(&system) != 0 ||
        std::strtol(system.release, nullptr, 10) < kOldestRelease)
        return false;
    const SysfsScsi device =
        S_ISBLK(found.st_mode) ? SysfsScsi::of(SysfsBlock(found.st_rdev)) : SysfsScsi(found.st_rdev);
    return std::any_of(device.folder().begin(), device.folder().end(), [](const std::filesystem::path& part) {
        const std::string name = part.string();
        return name.size() > 3 && name.starts_with("ata") &&
               name.find_first_not_of("0123456789", 3) == std::string::npos;
    });
}

ScsiResponse LinuxScsiDevice::execute(const ScsiRequest& request) {
    ScsiResponse response;
    sg_io_hdr header = headerOf(request, response);
    {
        const HeldSignals held;
        if (ioctl(m_node.fd(), SG_IO, &header) != 0) {
            response.delivery = m_node.ioctlFailure(errno);
            return response;
        }
    }
    response.status = header.status;
    response.senseBytes = header.sb_len_wr;
    response.transferredBytes = transferred(header);
    // Where the device itself said what is wrong, the adapter's summary of it adds nothing.
    if (header.status != kCheckCondition || header.sb_len_wr == 0)
        response.delivery = statusOfHost(header.host_status);
    // A command that was under way when the device was pulled ends like one that was lost.
    if (!response.delivery.ok() && m_node.isGone())
        response.delivery.type = LIBDRIVE2_NO_ACCESS;
    return response;
}

}  // namespace libDrive2
