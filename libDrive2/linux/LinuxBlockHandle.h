#pragma once

#include <memory>

#include "libDrive2/BlockHandle.h"
#include "libDrive2/linux/FileDescriptor.h"
#include "libDrive2/linux/IoRing.h"
#include "libDrive2/linux/MediumProbe.h"

namespace libDrive2 {

/// A block device or an image file. Reads and writes bypass the page cache where the system allows it. A
/// removable drive without a medium opens, too.
class LinuxBlockHandle : public BlockHandle {
public:
    /// Null on failure, which is kept with noteOpenError(); `name` is what it calls the path, if not so.
    static std::unique_ptr<LinuxBlockHandle> open(const zel::String& path, std::uint32_t desiredAccess,
                                                  std::uint32_t shareMode, const zel::String& name = {});

    [[nodiscard]] const BlockDeviceInfo& info() const override { return m_info; }
    DeviceStatus query() override;
    DeviceStatus read(std::uint64_t offset, void* buffer, std::size_t bytes) override;
    DeviceStatus write(std::uint64_t offset, const void* buffer, std::size_t bytes) override;
    DeviceStatus flush() override;
    DeviceStatus dropCache() override;
    DeviceStatus reopen() override;
    /// For what transfers do not tell; reopen() closes it.
    [[nodiscard]] int descriptor() const { return m_buffered.get(); }

private:
    LinuxBlockHandle(std::string path, int openFlags) : m_path(std::move(path)), m_openFlags(openFlags) {}

    DeviceStatus openDescriptors();
    DeviceStatus openEmpty();
    /// Of the drive that the path leads to.
    [[nodiscard]] MediumProbe mediumProbe() const;
    DeviceStatus queryBlockDevice();
    DeviceStatus queryFile();
    DeviceStatus transfer(bool writing, std::uint64_t offset, std::uint8_t* buffer, std::size_t bytes);
    int transferInPieces(bool writing, std::uint64_t offset, std::uint8_t* buffer, std::size_t bytes);
    int transferBounced(bool writing, std::uint64_t offset, std::uint8_t* buffer, std::size_t bytes);
    int transferPlain(int fd, bool writing, std::uint64_t offset, std::uint8_t* buffer, std::size_t bytes);
    [[nodiscard]] bool endsBefore(std::uint64_t offset) const;
    [[nodiscard]] bool isGone() const;
    DeviceStatus failure(int error) const;

    std::string m_path;
    int m_openFlags;
    FileDescriptor m_direct;    ///< empty where the system refuses to bypass its cache
    FileDescriptor m_buffered;  ///< for transfers that the direct one cannot do
    std::unique_ptr<IoRing> m_ring;
    BlockDeviceInfo m_info;
    std::uint32_t m_directAlignment = 512;  ///< of offsets and sizes of direct transfers
    bool m_isBlockDevice = false;
    bool m_isEmpty = false;  ///< opened without a medium, only to wait for one
};

}  // namespace libDrive2
