#pragma once

#include <memory>

#include "libDrive2/BlockHandle.h"
#include "libDrive2/commands/Bytes.h"
#include "libDrive2/windows/AutoRunHold.h"
#include "libDrive2/windows/OverlappedQueue.h"
#include "zel/windows/Handle.h"

namespace libDrive2 {

/// A device, a volume or an image file. Reads and writes bypass the system's cache where it allows that. A
/// removable drive without a medium opens, too.
class WindowsBlockHandle : public BlockHandle {
public:
    /// Null on failure, which is kept with noteOpenError(); `name` is what it calls the path, if not so.
    static std::unique_ptr<WindowsBlockHandle> open(const zel::String& path, std::uint32_t desiredAccess,
                                                    std::uint32_t shareMode, const zel::String& name = {});

    [[nodiscard]] const BlockDeviceInfo& info() const override { return m_info; }
    DeviceStatus query() override;
    DeviceStatus read(std::uint64_t offset, void* buffer, std::size_t bytes) override;
    DeviceStatus write(std::uint64_t offset, const void* buffer, std::size_t bytes) override;
    DeviceStatus flush() override;
    /// Reads do not come from the system's cache.
    DeviceStatus dropCache() override { return {}; }
    DeviceStatus eject() override;
    DeviceStatus load() override;
    DeviceStatus lockMedium(bool lock) override;
    DeviceStatus reopen() override;
    bool holdAutoRun(bool hold) override { return hold ? m_autoRun.hold(m_path) : m_autoRun.letGo(); }
    std::optional<double> temperature() override;
    /// For what transfers do not tell; reopen() closes it.
    [[nodiscard]] HANDLE handle() const { return m_direct ? m_direct.get() : m_plain.get(); }

private:
    WindowsBlockHandle(const zel::String& path, DWORD access, DWORD share);

    [[nodiscard]] bool isOpen() const { return m_direct || m_plain; }
    DeviceStatus openHandles();
    DeviceStatus openDevice();
    DeviceStatus openFile();
    DeviceStatus queryFile();
    DeviceStatus transfer(bool writing, std::uint64_t offset, std::uint8_t* buffer, std::size_t bytes);
    TransferOutcome transferBounced(const OverlappedTransfer& transfer);
    /// Whether the sector at an offset can be asked for; reads it.
    bool exists(std::uint64_t offset);
    [[nodiscard]] bool endsBefore(std::uint64_t offset) const;
    [[nodiscard]] DeviceStatus failure(const TransferOutcome& outcome) const;
    /// For controls of the tray.
    [[nodiscard]] DeviceStatus control(DWORD code, Bytes input = {}) const;

    zel::String m_path;
    DWORD m_access;
    DWORD m_share;
    bool m_isDevice;
    zel::Handle m_direct;  ///< empty where the system refuses to bypass its cache, and without a medium
    zel::Handle m_plain;  ///< of a file, for transfers that the direct one cannot do; of a drive to wait with
    std::unique_ptr<OverlappedQueue> m_queue;
    AutoRunHold m_autoRun;
    BlockDeviceInfo m_info;
    std::uint32_t m_directAlignment = 512;  ///< of offsets and sizes of direct transfers
    bool m_isEmpty = false;                 ///< opened without a medium, only to wait for one
    bool m_isWriteProtected = false;
};

}  // namespace libDrive2
