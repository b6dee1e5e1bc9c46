#pragma once

#include <cstddef>
#include <string>

#include "libDrive2/BlockHandle.h"
#include "libDrive2/linux/FileDescriptor.h"

namespace libDrive2 {

/// Enough to keep a drive busy while the next command is on its way.
inline constexpr unsigned kCommandsInFlight = 4;

/// A device node that commands are sent to. It must stand for a whole device: through a partition, a mapping
/// or a loop device, commands would reach other sectors than those that the node's numbers mean.
class PassThroughNode {
public:
    PassThroughNode(std::string path, bool writable) : m_path(std::move(path)), m_writable(writable) {}

    /// Also to open it again.
    DeviceStatus open();
    [[nodiscard]] int fd() const { return m_fd.get(); }
    [[nodiscard]] const std::string& path() const { return m_path; }
    /// The largest transfer that the kernel takes as one command, wherever the memory lies.
    [[nodiscard]] std::size_t maxTransferBytes() const { return m_maxTransferBytes; }
    /// The largest one whose memory lies in a few pieces, as that of large pages does. Where it does not, the
    /// kernel refuses the command with EINVAL.
    [[nodiscard]] std::size_t maxAdjoiningBytes() const { return m_maxAdjoiningBytes; }
    /// Whether the device was removed or taken offline since it was opened.
    [[nodiscard]] bool isGone() const;
    /// What a failed ioctl means.
    [[nodiscard]] DeviceStatus ioctlFailure(int error) const;

private:
    DeviceStatus checkWholeDevice() const;
    void readLimits();
    void readNodeLimits();

    std::string m_path;
    bool m_writable;
    FileDescriptor m_fd;
    std::size_t m_maxTransferBytes = 0;
    std::size_t m_maxAdjoiningBytes = 0;
};

}  // namespace libDrive2
