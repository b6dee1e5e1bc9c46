#pragma once

#include "libDrive2/ScsiPassThrough.h"
#include "libDrive2/sim/SimMedium.h"

namespace libDrive2 {

/// One handle of a model that answers SCSI commands: what is delivered to it at all. A model of a kind
/// derives from it.
class SimScsiTarget : public ScsiPassThrough {
public:
    ScsiResponse execute(const ScsiRequest& request) final;
    [[nodiscard]] std::size_t maxTransferBytes() const override { return m_maxTransferBytes; }
    DeviceStatus reopen() override { return {}; }

protected:
    SimScsiTarget(bool writable, std::size_t maxTransferBytes)
        : m_writable(writable), m_maxTransferBytes(maxTransferBytes) {}

    /// Whether the command changes the medium.
    [[nodiscard]] virtual bool isWrite(std::uint8_t opcode) const = 0;
    /// Counts the command; a fault of the transport keeps it from the model.
    virtual SimFault beginCommand() = 0;
    /// What the model makes of a command that reached it.
    virtual void answer(const ScsiRequest& request, ScsiResponse& response) = 0;

private:
    bool m_writable;
    std::size_t m_maxTransferBytes;
};

}  // namespace libDrive2
