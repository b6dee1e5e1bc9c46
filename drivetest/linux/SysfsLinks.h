#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "drivetest/shelf/links/SharedLink.h"

namespace drivetest {

/// The way of drives to the processor, as the kernel shows it: a device's folder lies in that of what it is
/// attached to.
class SysfsLinks {
public:
    /// `root`: where the kernel's devices are mounted, "/sys".
    explicit SysfsLinks(std::filesystem::path root) : m_root(std::move(root)) {}

    /// Of a device by the kernel's name of its node, such as "sda1", "nvme0n1", "sg3"; empty for one that is
    /// not known or hangs on nothing.
    [[nodiscard]] std::vector<SharedLink> of(const std::string& name) const;
    /// MB/s; 0 for one that is not known.
    [[nodiscard]] double expectedRateOf(const std::string& name) const;

private:
    [[nodiscard]] std::filesystem::path deviceOf(const std::string& name) const;
    [[nodiscard]] bool isDisk(const std::string& name) const;

    std::filesystem::path m_root;
};

}  // namespace drivetest
