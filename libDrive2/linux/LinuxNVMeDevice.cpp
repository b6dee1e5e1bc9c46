#include "libDrive2/linux/LinuxNVMeDevice.h"

#include <fcntl.h>
#include <linux/nvme_ioctl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>

#include "libDrive2/DeviceProvider.h"
#include "libDrive2/linux/HeldSignals.h"
#include "libDrive2/linux/NVMeRequest.h"
#include "libDrive2/linux/SysfsBlock.h"
#include "zel/Uninterrupted.h"
#include "zel/Words.h"

namespace libDrive2 {

namespace fs = std::filesystem;

namespace {

/// As large as a piece of a transfer by the block device: many of them are in flight.
constexpr std::size_t kMaxBytes = std::size_t{512} << 10;

/// Whether the kernel or the driver did not let the command through this way: the other one tells why, or
/// lets it through.
bool isRefusal(int error) {
    return error == NVMeRing::kNotSent || error == EOPNOTSUPP || error == ENOTTY || error == EPERM ||
           error == EACCES;
}

}  // namespace

std::unique_ptr<LinuxNVMeDevice> LinuxNVMeDevice::open(const zel::String& path) {
    std::unique_ptr<LinuxNVMeDevice> device(new LinuxNVMeDevice(PassThroughNode(path.utf8(), true)));
    if (const DeviceStatus status = device->reopen(); !status.ok()) {
        noteOpenError(zel::worded("{path} cannot be opened for NVMe commands: {reason}",
                                  {{"path", path}, {"reason", status.text}}));
        return nullptr;
    }
    return device;
}

DeviceStatus LinuxNVMeDevice::reopen() {
    if (DeviceStatus status = m_node.open(); !status.ok())
        return status;
    const int id = ioctl(m_node.fd(), NVME_IOCTL_ID);
    if (id <= 0)
        return {LIBDRIVE2_NOT_SUPPORTED, zel::worded("it is no NVMe namespace")};
    m_namespaceId = static_cast<std::uint32_t>(id);
    m_ring = NVMeRing::create(openGenericNode());
    return {};
}

/// The character device of the same namespace: by its number, as the kernel tells it of the block device's
/// neighbour, and proven by the namespace that it names. Empty where there is none.
FileDescriptor LinuxNVMeDevice::openGenericNode() const {
    struct stat found {};
    if (fstat(m_node.fd(), &found) != 0 || !S_ISBLK(found.st_mode))
        return {};
    const SysfsBlock block(found.st_rdev);
    const std::string name = block.name();
    if (!name.starts_with("nvme"))
        return {};
    const std::string generic = "ng" + name.substr(4);
    std::error_code none;
    const fs::path folder = fs::path("/sys/class/nvme-generic") / generic;
    if (fs::canonical(folder / "device", none) != fs::canonical(block.folder() / "device", none) || none)
        return {};
    FileDescriptor node(
        zel::uninterrupted([&] { return ::open(("/dev/" + generic).c_str(), O_RDWR | O_CLOEXEC); }));
    const bool isIt = node && fstat(node.get(), &found) == 0 && S_ISCHR(found.st_mode) &&
                      found.st_rdev == SysfsBlock::numberIn(folder) &&
                      ioctl(node.get(), NVME_IOCTL_ID) == static_cast<int>(m_namespaceId) && block.isUsable();
    return isIt ? std::move(node) : FileDescriptor();
}

std::size_t LinuxNVMeDevice::maxTransferBytes() const {
    return std::min(m_isScattered ? m_node.maxTransferBytes() : m_node.maxAdjoiningBytes(), kMaxBytes);
}

DeviceStatus LinuxNVMeDevice::failure(const NVMeCommand& command, int error) {
    if (error == EINVAL && command.dataBytes > m_node.maxTransferBytes())
        m_isScattered = true;
    return m_node.ioctlFailure(error);
}

bool LinuxNVMeDevice::executeTogether(std::span<const NVMeCommand> commands,
                                      std::span<NVMeResponse> answers) {
    if (m_ring == nullptr || commands.size() > NVMeRing::kDepth)
        return false;
    std::array<NVMeRing::Outcome, NVMeRing::kDepth> outcomes{};
    if (!m_ring->run(commands, std::span(outcomes).first(commands.size())))
        m_ring.reset();
    for (std::size_t i = 0; i < commands.size(); ++i) {
        const bool wasSent = outcomes[i].error == 0 || !isRefusal(outcomes[i].error);
        answers[i] = wasSent ? responseOf(commands[i], outcomes[i]) : execute(commands[i]);
        if (!wasSent)
            m_ring.reset();
    }
    return true;
}

NVMeResponse LinuxNVMeDevice::responseOf(const NVMeCommand& command, const NVMeRing::Outcome& outcome) {
    NVMeResponse response;
    response.status = outcome.status;
    response.result = outcome.result;
    if (outcome.error != 0)
        response.delivery = failure(command, outcome.error);
    return response;
}

NVMeResponse LinuxNVMeDevice::execute(const NVMeCommand& command) {
    auto request = requestOf<nvme_passthru_cmd>(command);
    const HeldSignals held;
    const int result = ioctl(m_node.fd(), command.admin ? NVME_IOCTL_ADMIN_CMD : NVME_IOCTL_IO_CMD, &request);
    NVMeResponse response;
    response.result = request.result;
    if (result < 0)
        response.delivery = failure(command, errno);
    else
        response.status = static_cast<std::uint16_t>(result);
    return response;
}

}  // namespace libDrive2
