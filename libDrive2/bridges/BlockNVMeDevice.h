#pragma once

#include <memory>

#include "libDrive2/BlockHandle.h"
#include "libDrive2/NVMeDevice.h"

namespace libDrive2 {

/// An NVMe namespace whose sectors the system moves by its block interface only: commands that move or verify
/// sectors go there from the first one on that the system does not let through; all others to the device.
class BlockNVMeDevice : public NVMeDevice {
public:
    /// Both of the same namespace.
    BlockNVMeDevice(std::unique_ptr<NVMeDevice> device, std::unique_ptr<BlockHandle> blocks)
        : m_device(std::move(device)), m_blocks(std::move(blocks)) {}

    NVMeResponse execute(const NVMeCommand& command) override;
    [[nodiscard]] std::uint32_t namespaceId() const override { return m_device->namespaceId(); }
    /// What keeps the block interface busy, as one command is under way at a time.
    [[nodiscard]] std::size_t maxTransferBytes() const override {
        return m_blocks->info().optimalTransferBytes;
    }
    DeviceStatus reopen() override;

private:
    [[nodiscard]] DeviceStatus move(const NVMeCommand& command) const;
    [[nodiscard]] DeviceStatus write(std::uint64_t offset, const NVMeCommand& command) const;

    std::unique_ptr<NVMeDevice> m_device;
    std::unique_ptr<BlockHandle> m_blocks;
    bool m_isRefused = false;
};

}  // namespace libDrive2
