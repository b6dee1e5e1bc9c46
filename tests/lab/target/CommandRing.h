#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "libDrive2/ScsiPassThrough.h"

struct tcmu_cmd_entry;

namespace lab {

/// The memory in which the kernel (target_core_user) leaves SCSI commands for a process that plays the
/// device, and takes the answers. Failures are thrown as std::system_error.
class CommandRing {
public:
    using Device = std::function<libDrive2::ScsiResponse(const libDrive2::ScsiRequest&)>;

    /// `node` is the device's /dev/uioN, `bytes` the length of its memory.
    CommandRing(const std::string& node, std::size_t bytes);
    ~CommandRing();
    CommandRing(const CommandRing&) = delete;
    CommandRing& operator=(const CommandRing&) = delete;

    /// Has the device answer every command, one after the other; does not return.
    [[noreturn]] void serve(const Device& device);

private:
    void answerAll(const Device& device);
    void answer(tcmu_cmd_entry& entry, const Device& device);

    int m_fd;
    std::size_t m_bytes;
    std::uint8_t* m_memory;
};

}  // namespace lab
