#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>

#include "libDrive2/NVMeDevice.h"
#include "libDrive2/linux/NVMeRing.h"
#include "libDrive2/linux/PassThroughNode.h"

namespace libDrive2 {

/// NVMe commands by the kernel's pass-through ioctls, to a namespace's node.
class LinuxNVMeDevice : public NVMeDevice {
public:
    /// Null on failure, which is kept with noteOpenError().
    static std::unique_ptr<LinuxNVMeDevice> open(const zel::String& path);

    NVMeResponse execute(const NVMeCommand& command) override;
    [[nodiscard]] std::uint32_t namespaceId() const override { return m_namespaceId; }
    [[nodiscard]] std::size_t maxTransferBytes() const override;
    [[nodiscard]] unsigned maxInFlight() const override {
        return m_ring != nullptr ? NVMeRing::kDepth : kCommandsInFlight;
    }
    bool executeTogether(std::span<const NVMeCommand> commands, std::span<NVMeResponse> answers) override;
    DeviceStatus reopen() override;

private:
    explicit LinuxNVMeDevice(PassThroughNode node) : m_node(std::move(node)) {}

    [[nodiscard]] FileDescriptor openGenericNode() const;
    [[nodiscard]] NVMeResponse responseOf(const NVMeCommand& command, const NVMeRing::Outcome& outcome);
    /// Why the kernel did not carry out a command.
    DeviceStatus failure(const NVMeCommand& command, int error);

    PassThroughNode m_node;
    std::unique_ptr<NVMeRing> m_ring;  ///< null where the kernel has none
    std::uint32_t m_namespaceId = 0;
    std::atomic<bool> m_isScattered{false};  ///< the buffers' memory: a large command was refused
};

}  // namespace libDrive2
