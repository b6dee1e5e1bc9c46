#pragma once

#include <memory>

#include "libDrive2/ScsiPassThrough.h"
#include "libDrive2/linux/PassThroughNode.h"

namespace libDrive2 {

/// SCSI commands by the SG_IO ioctl, to a SCSI disk's block node or to a generic one (/dev/sg*).
class LinuxScsiDevice : public ScsiPassThrough {
public:
    /// Null on failure, which is kept with noteOpenError().
    static std::unique_ptr<LinuxScsiDevice> open(const zel::String& path, bool writable);

    ScsiResponse execute(const ScsiRequest& request) override;
    [[nodiscard]] std::size_t maxTransferBytes() const override { return m_node.maxTransferBytes(); }
    [[nodiscard]] unsigned maxInFlight() const override { return kCommandsInFlight; }
    DeviceStatus reopen() override { return m_node.open(); }
    /// Whether the queued commands of an ATA drive, sent by ATA PASS-THROUGH, get their tags.
    [[nodiscard]] bool tagsAtaCommands() const;

private:
    explicit LinuxScsiDevice(PassThroughNode node) : m_node(std::move(node)) {}

    PassThroughNode m_node;
};

}  // namespace libDrive2
