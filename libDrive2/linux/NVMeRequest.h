#pragma once

#include <linux/nvme_ioctl.h>

#include <cstdint>

#include "libDrive2/NVMeDevice.h"

namespace libDrive2 {

/// A command as the kernel takes it: nvme_passthru_cmd by ioctl(), nvme_uring_cmd by io_uring. The data stay
/// the caller's.
template <class Request>
Request requestOf(const NVMeCommand& command) {
    Request request{};
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
    return request;
}

}  // namespace libDrive2
