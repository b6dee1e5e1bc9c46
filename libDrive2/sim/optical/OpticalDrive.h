#pragma once

#include "libDrive2/sim/optical/OpticalCommands.h"

namespace libDrive2 {

/// A simulated optical drive (MMC-6): commands in, data, status and sense out. All handles of the drive share
/// it; they use it one at a time. Time is zel::Clock's.
class OpticalDrive {
public:
    /// `image` holds the contents of pressed media; empty for those in memory.
    OpticalDrive(SimOptions options, SharedBlockHandle image)
        : m_unit(std::move(options), std::move(image)) {}

    /// Buffers are the caller's; a command that the drive does not complete at once sleeps.
    ScsiResponse execute(const ScsiRequest& request);
    /// Whether the command changes the medium.
    [[nodiscard]] static bool changesMedium(std::uint8_t opcode);
    [[nodiscard]] const SimOptions& options() const { return m_unit.options; }
    /// Null unless a medium is in the drive and ready.
    [[nodiscard]] const OpticalDisc* disc() const { return m_unit.tray.disc(); }

private:
    void perform(OpticalCommand& command, std::uint8_t cdbBytes);

    OpticalUnit m_unit;
    std::uint64_t m_commands = 0;
};

}  // namespace libDrive2
