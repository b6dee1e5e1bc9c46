#pragma once

#include "libDrive2/sim/optical/LongOperation.h"
#include "libDrive2/sim/optical/OpticalCache.h"
#include "libDrive2/sim/optical/OpticalModePages.h"
#include "libDrive2/sim/optical/OpticalSpeeds.h"
#include "libDrive2/sim/optical/OpticalTray.h"
#include "libDrive2/sim/optical/OpticalWriter.h"

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
    [[nodiscard]] bool isStrict() const { return options.optical.strict; }
    /// What the host does to a drive that does not answer in time: settings go back to their defaults.
    void reset();
    /// Another recording begins, on what may hold something else.
    void beginRecording();

    const SimOptions options;
    OpticalTray tray;
    OpticalSpeeds speeds;
    OpticalModePages modePages;
    LongOperation operation;
    // Only of a strict drive:
    OpticalWriter writer;
    OpticalCache cache;

private:
    const OpticalMediaType* m_type = nullptr;
    unsigned m_insertions = 0;  ///< when the medium came whose type it is
};

/// A command on its way through the drive.
class OpticalCommand : public SimScsiCommand {
public:
    OpticalCommand(const ScsiRequest& request, ScsiResponse& response)
        : SimScsiCommand(request, response, false), m_response(response), m_timeout(request.timeoutMs) {}

    /// Ends as a drive that is still busy with something does: with how far it is.
    void failBusy(const LongOperation& operation);
    /// True when there was nothing to refuse.
    bool accept(const OpticalRefusal& refusal);
    /// How long the host waits for it.
    [[nodiscard]] std::chrono::milliseconds timeout() const { return m_timeout; }
    /// Ends unanswered.
    void expire();
    /// The sectors of the command that the caller's buffer has room for.
    [[nodiscard]] std::uint32_t sectorsOf(DataDirection direction) const;
    /// Ends as the transfer of so many sectors did.
    void finishSectors(const SimOutcome& outcome, std::uint64_t lba, std::uint32_t sectors);

private:
    ScsiResponse& m_response;
    std::chrono::milliseconds m_timeout;
};

/// A header of zeros with a body behind it.
std::vector<std::uint8_t> behindHeader(std::size_t headerBytes, const std::vector<std::uint8_t>& body);

/// Sense data of fixed format with the progress of an operation (SPC-4, sense key specific).
void putProgress(std::uint8_t* sense, std::uint16_t progress);

}  // namespace libDrive2
