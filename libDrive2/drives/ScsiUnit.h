#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "libDrive2/Drive.h"
#include "libDrive2/ScsiPassThrough.h"
#include "libDrive2/commands/ScsiAnswers.h"
#include "libDrive2/commands/ScsiSense.h"

namespace libDrive2 {

/// What the drive classes ask a SCSI unit, with commands sent and answers understood. Borrows the handle.
class ScsiUnit {
public:
    explicit ScsiUnit(ScsiPassThrough& device) : m_device(device) {}

    /// Sends a command, once more each time the unit only had news to tell.
    scsi::Outcome execute(const ScsiRequest& request);

    enum class Readiness : std::uint8_t { ready, becomingReady, noMedium, failed };
    Readiness readiness();
    /// Whether the unit answers at all, whatever it says.
    bool answers();

    /// On failure `why`, where given, tells.
    std::optional<scsi::Inquiry> inquiry(DeviceStatus* why = nullptr);
    /// On failure `why` tells.
    std::optional<scsi::Capacity> capacity(bool asksPhysicalSize, DeviceStatus& why);
    std::optional<scsi::ModeParameters> modeParameters();
    /// Only asked of units that list the page.
    std::optional<scsi::BlockLimits> blockLimits();
    std::optional<double> temperature();

private:
    /// Sends a command that answers into a buffer of this size; empty on failure.
    std::vector<std::uint8_t> ask(const ScsiRequest& request, std::size_t bytes, DeviceStatus* why = nullptr);
    bool listsPage(std::uint8_t page);

    ScsiPassThrough& m_device;
};

/// Null when the unit reports no temperature. Shares the handle.
std::unique_ptr<TemperatureAccessor> scsiTemperature(const SharedScsiPassThrough& device);

}  // namespace libDrive2
