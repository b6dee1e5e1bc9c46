#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "libDrive2/ScsiMMCDrive.h"
#include "zel/Export.h"

namespace libDrive2 {

struct RecordingMethod;

/// Common base of writable optical media. Order of calls for a recording: setWriteParameters,
/// prepareForWriting, reserveSectors, writes from getNextWriteAddress on, closeOpenTrack, closeOpenSession.
/// The long ones among them return when the medium is done. By itself the base writes no medium: a class of a
/// family says how its media are written. lastError and getLastErrorStr() tell why an operation failed.
class DRIVETEST_API RecordableDrive : public ScsiMMCDrive {
public:
    using ScsiMMCDrive::ScsiMMCDrive;

    /// Reaches through the end of the reserved area, too.
    std::uint64_t getSectorCount() override;

    /// Makes the medium ready to take so many sectors (0: as many as fit): formats or blanks where its kind
    /// needs that. Fewer may be free afterwards, none on a medium that is closed for good.
    /// LIBDRIVE2_NOT_SUPPORTED when the medium is not one that can be written, LIBDRIVE2_DRIVE_ERROR when the
    /// drive fails.
    virtual _LIBDRIVE2_ERROR_TYPES prepareForWriting(const std::uint64_t& sectors);
    /// Sets the area that the recording takes: the next sectors of a medium that takes each once, the first
    /// ones of another. Of a number that is no multiple of numCoincidentWriteSectors() the drive may fill the
    /// rest.
    virtual bool reserveSectors(const std::uint64_t& sectors);
    /// Write parameters mode page; `test` asks for a recording without the laser. What the drive refuses for
    /// the medium as it is, prepareForWriting() sends again when it has blanked or formatted it.
    virtual bool setWriteParameters(bool test);
    virtual bool closeOpenTrack();
    /// Leaves the only session of a medium that takes one open while there is room.
    virtual bool closeOpenSession();
    /// Asks the drive; 0 when it does not tell.
    virtual std::uint64_t getFreeSectors();
    /// The first sector of the reserved area, before and after it is written; without one, the sector that
    /// the medium takes next.
    virtual std::uint64_t getNextWriteAddress();
    /// The address to use for a position inside the reserved area, which counts on from its first sector.
    /// Positions are asked for in ascending order, each when it is about to be written, and again at will.
    virtual std::uint64_t getNextWriteAddress(std::uint64_t position);
    /// Sectors that must be written together, starting at a multiple of their number.
    virtual std::uint32_t numCoincidentWriteSectors();
    /// Whether units of the reserved area can be written in any order; then positions may be asked for in any
    /// order, too. Otherwise each must follow the one before.
    virtual bool takesAnyOrder();
    /// How many sectors fit into each of so many recordings that the medium in the drive, which takes each
    /// sector once, still takes: a multiple of numCoincidentWriteSectors(), 0 when not even one unit does.
    /// Nothing for a medium that can be written again.
    virtual std::optional<std::uint64_t> sectorsOfEach(std::uint64_t recordings);
    /// Makes takesAnyOrder() true where formatting can (DVD-RW); what the medium holds is lost then. Blocks
    /// as long as formatUnit(). False when it cannot, or fails.
    virtual bool prepareAnyOrder();
    /// Takes ownership; replaces the callback before.
    void setRecordableCallback(std::unique_ptr<RecordableDriveCallback> callback);

protected:
    bool takesProfile(_MMC_PROFILES profile) override;
    _LIBDRIVE2_ERROR_TYPES doWriteSector(std::uint64_t lba, std::uint32_t count, const void* buffer,
                                         std::uint32_t bufferBytes) override;
    /// How a medium of that profile is written.
    virtual RecordingMethod recordingMethod(_MMC_PROFILES profile);
    /// Whether a rewritable medium can be written as it is.
    virtual bool isFormatted();
    /// Passes an event type on to the callback, if there is one.
    void report(std::int32_t eventType);

private:
    /// Where a contiguous part of the reserved area lies.
    struct Segment {
        std::uint64_t position;
        std::uint64_t lba;
    };

    RecordingMethod method();
    void reportFailure(std::int32_t eventType);
    _LIBDRIVE2_ERROR_TYPES refuseMedium();
    _LIBDRIVE2_ERROR_TYPES prepareRandom(const RecordingMethod& how);
    _LIBDRIVE2_ERROR_TYPES prepareSequential(const RecordingMethod& how, std::uint64_t sectors);
    _LIBDRIVE2_ERROR_TYPES format();
    _LIBDRIVE2_ERROR_TYPES takeTrack(const RecordingMethod& how, std::uint64_t sectors);
    _LIBDRIVE2_ERROR_TYPES finish(const ScsiRequest& request, const char* what);
    _LIBDRIVE2_ERROR_TYPES sendWriteParameters(const RecordingMethod& how);
    void setArea(std::uint64_t start, std::uint64_t sectors);
    std::uint64_t mapNewPosition(std::uint64_t position);

    std::unique_ptr<RecordableDriveCallback> m_recordableCallback;
    std::uint64_t m_areaEnd = 0;          ///< first sector behind the reserved area; 0 without one
    std::uint64_t m_takenEnd = 0;         ///< of the areas that were reserved on a random medium
    std::uint64_t m_unknownPosition = 0;  ///< first that nobody asked for yet
    std::uint16_t m_track = 0;            ///< that takes the recording; 0 none
    std::uint32_t m_jumpSectors = 0;      ///< after which the layer may change; 0 never
    std::uint64_t m_nextJump = 0;         ///< last sector before it does; 0 when the drive does not tell
    bool m_isTest = false;                ///< without the laser
    bool m_areParametersDue = false;      ///< to be sent again when the medium is prepared
    std::vector<Segment> m_segments;      ///< ascending; the first is the start of the area
};

}  // namespace libDrive2
