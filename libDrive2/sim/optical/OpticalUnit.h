#pragma once

#include "libDrive2/sim/optical/LongOperation.h"
#include "libDrive2/sim/optical/OpticalModePages.h"
#include "libDrive2/sim/optical/OpticalSpeeds.h"
#include "libDrive2/sim/optical/OpticalTray.h"

namespace libDrive2 {

/// The parts that make an optical drive, for the commands to work on.
struct OpticalUnit {
    OpticalUnit(SimOptions given, SharedBlockHandle image);
    OpticalUnit(const OpticalUnit&) = delete;
    OpticalUnit& operator=(const OpticalUnit&) = delete;

    /// Lets happen what time has brought, and adapts to the medium.
    void update();
    /// The profile of the medium that is ready; kNoProfile without one.
    [[nodiscard]] std::uint16_t profile() const;

    const SimOptions options;
    OpticalTray tray;
    OpticalSpeeds speeds;
    OpticalModePages modePages;
    LongOperation operation;

private:
    const OpticalMediaType* m_type = nullptr;
    unsigned m_insertions = 0;  ///< when the medium came whose type it is
};

/// A command on its way through the drive.
class OpticalCommand : public SimScsiCommand {
public:
    OpticalCommand(const ScsiRequest& request, ScsiResponse& response)
        : SimScsiCommand(request, response, false), m_response(response) {}

    /// Ends as a drive that is still busy with something does: with how far it is.
    void failBusy(const LongOperation& operation);
    /// True when there was nothing to refuse.
    bool accept(const OpticalRefusal& refusal);

private:
    ScsiResponse& m_response;
};

/// A header of zeros with a body behind it.
std::vector<std::uint8_t> behindHeader(std::size_t headerBytes, const std::vector<std::uint8_t>& body);

/// Sense data of fixed format with the progress of an operation (SPC-4, sense key specific).
void putProgress(std::uint8_t* sense, std::uint16_t progress);

}  // namespace libDrive2
