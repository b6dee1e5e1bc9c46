#pragma once

#include <memory>

#include "libDrive2/ScsiMMCDrive.h"

namespace libDrive2 {

/// Common base of writable optical media. Order of calls for a recording: setWriteParameters,
/// prepareForWriting, reserveSectors, writes from getNextWriteAddress on, closeOpenTrack, closeOpenSession.
class RecordableDrive : public ScsiMMCDrive {
public:
    using ScsiMMCDrive::ScsiMMCDrive;

    /// Makes the medium ready to take so many sectors (0: as many as fit): formats or blanks where its kind
    /// needs that. LIBDRIVE2_NOT_SUPPORTED, LIBDRIVE2_DRIVE_ERROR or LIBDRIVE2_BAD_ARGUMENT on failure.
    virtual _LIBDRIVE2_ERROR_TYPES prepareForWriting(const std::uint64_t& sectors);
    virtual bool reserveSectors(const std::uint64_t& sectors);
    /// Write parameters mode page; `test` asks for a recording without the laser.
    virtual bool setWriteParameters(bool test);
    virtual bool closeOpenTrack();
    virtual bool closeOpenSession();
    virtual std::uint64_t getFreeSectors();
    virtual std::uint64_t getNextWriteAddress();
    /// The address to use for a position inside the reserved area.
    virtual std::uint64_t getNextWriteAddress(std::uint64_t position);
    /// Sectors that must be written together, starting at a multiple of their number.
    virtual std::uint32_t numCoincidentWriteSectors();
    /// Takes ownership; replaces the callback before.
    void setRecordableCallback(std::unique_ptr<RecordableDriveCallback> callback);

protected:
    /// Passes an event type on to the callback, if there is one.
    void report(std::int32_t eventType);

private:
    std::unique_ptr<RecordableDriveCallback> m_recordableCallback;
};

}  // namespace libDrive2
