#pragma once

#include "libDrive2/sim/SimMedium.h"
#include "libDrive2/sim/optical/BackgroundFormat.h"
#include "libDrive2/sim/optical/OpticalTracks.h"

namespace libDrive2 {

/// One medium: what it holds, what state it is in, and what may be done to it. Refusals are the drive's;
/// outcomes are those of sectors that cannot be read or written.
class OpticalDisc {
public:
    /// `image` holds the contents of a pressed medium; empty for one in memory. The size of the medium and
    /// its faults are those of the options.
    OpticalDisc(const OpticalMediaType& type, const SimOptions& options, SharedBlockHandle image);

    /// Changes as blanking and formatting change the profile.
    [[nodiscard]] const OpticalMediaType& type() const { return *m_type; }
    [[nodiscard]] const OpticalTracks& tracks() const { return m_tracks; }
    [[nodiscard]] bool isFormatted() const { return m_formatted; }
    [[nodiscard]] bool isWriteProtected() const { return m_writeProtected; }
    /// Whether anything can be written as things are.
    [[nodiscard]] bool isWritable() const;
    [[nodiscard]] bool isSequential() const { return m_type->writing == OpticalWriting::sequential; }
    /// Whether it can only be recorded as a whole, at once: a DVD-RW that was not blanked in full.
    [[nodiscard]] bool isQuicklyBlanked() const {
        return m_quicklyBlanked && (m_type->profile == 0x14 || m_type->profile == 0x17);
    }
    /// Of media that are formatted in the background.
    [[nodiscard]] BackgroundFormat& background() { return m_background; }
    [[nodiscard]] const BackgroundFormat& background() const { return m_background; }
    /// Sectors that the medium has, or can have when it is formatted.
    [[nodiscard]] std::uint32_t capacity() const { return capacityAs(*m_type); }
    /// How many it has as a medium of this type.
    [[nodiscard]] std::uint32_t capacityAs(const OpticalMediaType& type) const;
    [[nodiscard]] std::uint32_t readableSectors() const;
    /// What READ CAPACITY tells of: for a strict drive, a session counts when it is closed.
    [[nodiscard]] std::uint32_t toldSectors() const;
    /// Whether something was written that is not durable yet.
    [[nodiscard]] bool isDirty() const { return m_dirty; }

    [[nodiscard]] OpticalRefusal checkRead(std::uint64_t lba, std::uint64_t count) const;
    [[nodiscard]] OpticalRefusal checkWrite(std::uint64_t lba, std::uint64_t count) const;
    // Only what has been checked is read and written.
    SimOutcome read(std::uint64_t lba, std::uint32_t count, std::uint8_t* buffer);
    SimOutcome verify(std::uint64_t lba, std::uint32_t count);
    [[nodiscard]] SimOutcome seek(std::uint64_t lba) const { return m_contents.seek(lba); }
    /// A recording without the laser leaves no data; endTest() undoes what it did to the tracks.
    SimOutcome write(std::uint64_t lba, std::uint32_t count, const std::uint8_t* buffer, bool test);
    void endTest();
    void synchronize();
    void beginTrack(std::uint64_t lba, OpticalWriteType mode) { m_tracks.begin(lba, mode); }
    /// A write that was broken off: nothing is recorded, and what is recorded there later cannot be read.
    void spoil(std::uint64_t lba, std::uint32_t count);

    OpticalRefusal reserve(std::uint32_t sectors);
    OpticalRefusal closeTrack(std::uint32_t number);
    OpticalRefusal closeSession(bool last);
    OpticalRefusal blank(bool minimal);
    /// Makes so many sectors usable as a medium of this type, which is one that it can become.
    OpticalRefusal format(const OpticalMediaType& type, std::uint32_t sectors);

private:
    [[nodiscard]] OpticalRefusal checkRecording() const;

    const OpticalMediaType* m_type;
    std::uint32_t m_capacity;  ///< as it comes from the factory
    OpticalTracks m_tracks;
    SimMedium m_contents;
    SectorRanges m_writtenOnce;
    SectorRanges m_spoilt;
    BackgroundFormat m_background{BackgroundFormat::Status::none};
    std::optional<OpticalTracks> m_beforeTest;
    bool m_strict;
    bool m_quicklyBlanked;
    bool m_writeProtected;
    bool m_formatted = true;
    bool m_dirty = false;
};

}  // namespace libDrive2
