#pragma once

#include "libDrive2/BlockHandle.h"
#include "libDrive2/ScsiSBCDrive.h"

namespace libDrive2 {

/// The block interface that the system has not got of a SCSI drive: what is read and written in bytes goes to
/// the drive in commands, whatever the size of its sectors.
class ScsiBlockHandle : public BlockHandle {
public:
    /// `device` is what the opener gave: null after a failure, which becomes the reason. Null, too, for a
    /// drive that does not tell its size.
    static SharedBlockHandle over(SharedScsiPassThrough device, bool writable, zel::Wording& reason);

    [[nodiscard]] const BlockDeviceInfo& info() const override { return m_info; }
    DeviceStatus query() override;
    DeviceStatus read(std::uint64_t offset, void* buffer, std::size_t bytes) override;
    DeviceStatus write(std::uint64_t offset, const void* buffer, std::size_t bytes) override;
    DeviceStatus flush() override;
    DeviceStatus dropCache() override { return {}; }
    DeviceStatus reopen() override;

private:
    ScsiBlockHandle(SharedScsiPassThrough device, bool writable);

    /// Calls `move(lba, count, bytes done)` for stretches that one operation of the drive takes.
    template <class Move>
    DeviceStatus transfer(std::uint64_t offset, std::size_t bytes, Move move);
    DeviceStatus statusOf(bool succeeded);
    void takeSizes();

    ScsiSBCDrive m_drive;
    BlockDeviceInfo m_info;
};

}  // namespace libDrive2
