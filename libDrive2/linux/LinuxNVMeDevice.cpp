#include "libDrive2/linux/LinuxNVMeDevice.h"

#include <linux/nvme_ioctl.h>
#include <sys/ioctl.h>

#include <cerrno>

#include "libDrive2/DeviceProvider.h"
#include "libDrive2/linux/HeldSignals.h"
#include "zel/Words.h"

namespace libDrive2 {

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
    return {};
}

NVMeResponse LinuxNVMeDevice::execute(const NVMeCommand& command) {
    nvme_passthru_cmd request{};
    request.opcode = command.opcode;
    request.nsid = command.namespaceId;
    request.addr = reinterpret_cast<std::uintptr_t>(command.data);
    request.data_len = static_cast<std::uint32_t>(command.dataBytes);
    request.cdw10 = command.cdw10;
    request.cdw11 = command.cdw11;
    request.cdw12 = command.cdw12;
    request.cdw13 = command.cdw13;
    request.cdw14 = command.cdw14;
    request.cdw15 = command.cdw15;
    request.timeout_ms = command.timeoutMs;
    const HeldSignals held;
    const int result = ioctl(m_node.fd(), command.admin ? NVME_IOCTL_ADMIN_CMD : NVME_IOCTL_IO_CMD, &request);
    NVMeResponse response;
    response.result = request.result;
    if (result < 0)
        response.delivery = m_node.ioctlFailure(errno);
    else
        response.status = static_cast<std::uint16_t>(result);
    return response;
}

}  // namespace libDrive2
