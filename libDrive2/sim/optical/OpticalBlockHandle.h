#pragma once

#include <memory>

#include "libDrive2/ScsiPassThrough.h"

namespace libDrive2 {

/// The block interface that an operating system gives an optical drive: it sends commands.
class OpticalBlockHandle : public BlockHandle {
public:
    OpticalBlockHandle(std::unique_ptr<ScsiPassThrough> drive, bool writable);

    [[nodiscard]] const BlockDeviceInfo& info() const override { return m_info; }
    /// Waits for a medium that is becoming ready.
    DeviceStatus query() override;
    DeviceStatus read(std::uint64_t offset, void* buffer, std::size_t bytes) override;
    DeviceStatus write(std::uint64_t offset, const void* buffer, std::size_t bytes) override;
    DeviceStatus flush() override { return send(0x35); }
    DeviceStatus dropCache() override { return {}; }
    DeviceStatus eject() override { return send(0x1B, 0x02); }
    DeviceStatus load() override { return send(0x1B, 0x03); }
    DeviceStatus lockMedium(bool lock) override { return send(0x1E, lock ? 1 : 0); }
    DeviceStatus reopen() override { return query(); }

private:
    /// A command without data, but for the byte at 4.
    DeviceStatus send(std::uint8_t opcode, std::uint8_t flags = 0);
    DeviceStatus execute(const ScsiRequest& request);
    DeviceStatus transfer(std::uint8_t opcode, std::uint64_t offset, void* buffer, std::size_t bytes);

    std::unique_ptr<ScsiPassThrough> m_drive;
    BlockDeviceInfo m_info;
};

}  // namespace libDrive2
