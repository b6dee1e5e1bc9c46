#pragma once

#include <memory>
#include <utility>

#include "libDrive2/sim/SimScsiTarget.h"
#include "libDrive2/sim/optical/OpticalCommands.h"

namespace libDrive2 {

/// A simulated optical drive (MMC-6). All handles of the drive share it; they use it one at a time. Time is
/// zel::Clock's.
class OpticalDrive {
public:
    /// `image` holds the contents of pressed media; empty for those in memory.
    OpticalDrive(SimOptions options, SharedBlockHandle image)
        : m_unit(std::move(options), std::move(image)) {}

    SimFault beginCommand() { return countCommand(options(), m_commands); }
    /// Buffers are the caller's; a command that the drive does not complete at once sleeps.
    void answer(const ScsiRequest& request, ScsiResponse& response);
    /// Whether the command changes the medium.
    [[nodiscard]] static bool changesMedium(std::uint8_t opcode);
    [[nodiscard]] const SimOptions& options() const { return m_unit.options; }
    /// Null unless a medium is in the drive and ready.
    [[nodiscard]] const OpticalDisc* disc() const { return m_unit.tray.disc(); }

private:
    OpticalUnit m_unit;
    std::uint64_t m_commands = 0;
};

/// The SCSI interface of one handle of a simulated optical drive.
class OpticalPassThrough : public SimScsiTarget {
public:
    OpticalPassThrough(std::shared_ptr<OpticalDrive> drive, bool writable)
        : SimScsiTarget(writable, kMaxTransferBytes), m_drive(std::move(drive)) {}

protected:
    [[nodiscard]] bool isWrite(std::uint8_t opcode) const override {
        return OpticalDrive::changesMedium(opcode);
    }
    SimFault beginCommand() override { return m_drive->beginCommand(); }
    void answer(const ScsiRequest& request, ScsiResponse& response) override {
        m_drive->answer(request, response);
    }

private:
    static constexpr std::size_t kMaxTransferBytes = std::size_t{1} << 20;

    std::shared_ptr<OpticalDrive> m_drive;
};

}  // namespace libDrive2
