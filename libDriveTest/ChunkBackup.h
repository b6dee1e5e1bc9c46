#pragma once

#include <cstdint>

#include "DriveTest.h"

namespace libDriveTest {

/// How a test that writes has the drive report errors, over whole chunks and over single sectors.
struct WriteBehaviors {
    _LIBDRIVE2_RETRY_CALLBACK_BEHAVIOR normal = libDrive2::LIBDRIVE2_RETRY_AND_REPORT;
    _LIBDRIVE2_RETRY_CALLBACK_BEHAVIOR isolation = libDrive2::LIBDRIVE2_RETRY_AND_REPORT;
};

/// Keeps what a chunk held before a test overwrites it, and puts it back. While the chunk is in danger the
/// drive's journal, where there is one, holds it as well.
class ChunkBackup {
public:
    /// Reports through the test; lines go to its logger. All must outlive the backup.
    ChunkBackup(DriveTest& test, zel::Logger& logger, const WriteBehaviors& behaviors)
        : m_test(test), m_logger(logger), m_behaviors(behaviors) {}

    /// Makes room for chunks of so many bytes; without it nothing is kept and nothing put back.
    void allocate(std::uint32_t bytes) { m_buffer = zel::Buffer(bytes); }
    void release() { m_buffer = zel::Buffer(); }

    /// Transfers of so many sectors; by default a chunk is one transfer.
    void setSectorsPerTransfer(std::uint32_t sectors) { m_sectorsPerTransfer = sectors; }

    /// Reads the chunk. False: the data was not saved, so it must not be overwritten.
    bool backupSectors(std::uint64_t sector, std::uint32_t count);
    /// Of a chunk that was not saved: finds the sectors that cannot be read, until a stop is asked for or the
    /// drive fails as a whole; the chunk stays untested.
    void nameUnreadable(std::uint64_t sector, std::uint32_t count);
    /// Tells that the test has just written to the chunk, or tried to.
    void noteWritten();
    /// False when a sector was lost. `errorType` is then, or else 0, the error that ends the test.
    bool restoreSectors(std::uint64_t sector, std::uint32_t count, _LIBDRIVE2_ERROR_TYPES& errorType);
    /// The test leaves the chunk: if it holds again what was saved, the journal may forget it.
    void leave(std::uint64_t sector, std::uint32_t count);

private:
    struct Restore;

    template <class Transfer>
    bool transferAll(std::uint64_t sector, std::uint32_t count, Transfer transfer);
    bool isSaved(std::uint64_t sector, std::uint32_t count);
    void restoreSingly(Restore& restore);
    bool restoreSector(Restore& restore, std::uint64_t sector, const std::uint8_t* data);
    void reportLost(Restore& restore, std::uint64_t sector);

    DriveTest& m_test;
    zel::Logger& m_logger;
    const WriteBehaviors& m_behaviors;
    zel::Buffer m_buffer;
    bool m_isRestored = true;
    std::uint32_t m_sectorsPerTransfer = 0;  ///< 0: all of a chunk
};

}  // namespace libDriveTest
