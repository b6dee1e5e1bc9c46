#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "libDrive2/DriveTypes.h"
#include "libDrive2/ScsiPassThrough.h"
#include "libDrive2/commands/MmcAnswers.h"
#include "libDrive2/commands/MmcCommands.h"
#include "libDrive2/commands/MmcParameters.h"

namespace libDrive2 {

/// What the drive classes ask an optical unit, with commands sent and answers understood. Borrows the handle.
/// An answer is empty when the unit refuses or makes no sense; `why` then tells.
class MmcUnit {
public:
    explicit MmcUnit(ScsiPassThrough& device) : m_device(device) {}

    /// Why the last question stayed without an answer.
    [[nodiscard]] const DeviceStatus& why() const { return m_why; }

    _MMC_PROFILES currentProfile();
    std::optional<mmc::Feature> feature(std::uint16_t number);
    std::optional<mmc::DiscInformation> discInformation();
    std::optional<mmc::TrackInformation> trackInformation(mmc::TrackAddress kind, std::uint32_t address);
    /// The track that takes what is written next: the last one, or the one not begun yet.
    std::optional<mmc::TrackInformation> writableTrack();
    /// Empty without a closed session, too.
    std::vector<mmc::TocTrack> tracks();
    std::optional<mmc::FormatCapacities> formatCapacities();
    std::optional<mmc::MediaEvent> mediaEvent();
    bool isWriteProtected(bool isBluRay);
    std::optional<std::vector<std::uint8_t>> writeParameters();
    std::optional<std::vector<::scsi::mmc_performance_nom_desc_t>> nominalPerformance(bool writing,
                                                                                      std::uint16_t maximum);
    std::optional<std::vector<zel_write_speed_desc_t>> writeSpeeds();
    /// Those of mode page 2Ah.
    std::optional<std::vector<zel_write_speed_desc_t>> listedWriteSpeeds();

    struct Progress {
        bool busy = false;                ///< becoming ready, or an operation under way
        DeviceStatus status;              ///< of a unit that is not busy: ready, or why not
        std::optional<unsigned> percent;  ///< where a busy unit tells
        bool isMute = false;              ///< busy, and does not say with what (SAM-5, BUSY)
    };
    Progress progress();

private:
    std::vector<std::uint8_t> ask(const ScsiRequest& request, std::size_t bytes);
    /// Keeps why an answer is worth nothing.
    template <class Answer>
    std::optional<Answer> understood(std::optional<Answer> answer);

    ScsiPassThrough& m_device;
    DeviceStatus m_why;
};

}  // namespace libDrive2
