#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

namespace lab {

/// A host adapter of the kernel's own (tcm_loop), to which devices are attached that a process plays. Set up
/// in configfs, where it stays. Failures are thrown as std::system_error.
class TargetHost {
public:
    TargetHost();

    /// Where a device's commands arrive.
    struct Place {
        std::string node;  ///< /dev/uioN
        std::size_t bytes;
    };
    Place create(unsigned unit);
    /// Lets the kernel find the device, whose commands must be answered by now; gives its nodes: "/dev/srN
    /// /dev/sgN", the first of them "-" where the kernel makes no block device, or makes it later.
    std::string attach(unsigned unit);

private:
    std::filesystem::path m_port;
};

}  // namespace lab
