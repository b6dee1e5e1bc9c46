#include "ChunkBackup.h"

#include <algorithm>

#include "Events.h"

namespace libDriveTest {

namespace {

constexpr int kAttemptsPerSector = 5;

}  // namespace

/// A restoration that did not succeed at once.
struct ChunkBackup::Restore {
    std::uint64_t first;
    std::uint32_t count;
    std::uint32_t attempts = 1;
    std::uint32_t nonFail = 0;  ///< attempts that ended with an error that is no failure
    std::uint32_t lost = 0;     ///< sectors that could not be put back
    bool silenced = false;      ///< the limits are reached
    _LIBDRIVE2_ERROR_TYPES errorType = libDrive2::LIBDRIVE2_NO_ERROR;

    void noteNonFail(_LIBDRIVE2_ERROR_TYPES error) {
        errorType = error;
        ++nonFail;
    }
};

/// Calls `transfer(sector, count, byteOffset)` for the pieces of a chunk until one fails.
template <class Transfer>
bool ChunkBackup::transferAll(std::uint64_t sector, std::uint32_t count, Transfer transfer) {
    const std::uint32_t sectorSize = m_test.drive->getSectorSize();
    const std::uint32_t step = m_sectorsPerTransfer != 0 ? m_sectorsPerTransfer : count;
    for (std::uint32_t done = 0; done < count; done += step)
        if (!transfer(sector + done, std::min(step, count - done), std::size_t{done} * sectorSize))
            return false;
    return true;
}

bool ChunkBackup::isSaved(std::uint64_t sector, std::uint32_t count) {
    Drive& drive = *m_test.drive;
    const std::uint32_t sectorSize = drive.getSectorSize();
    return transferAll(sector, count,
                       [&](std::uint64_t lba, std::uint32_t sectors, std::size_t offset) {
                           return drive.readSector(lba, sectors, m_buffer.data() + offset,
                                                   sectors * sectorSize);
                       }) &&
           drive.protectSectors(sector, count, m_buffer.data(), std::size_t{count} * sectorSize);
}

bool ChunkBackup::backupSectors(std::uint64_t sector, std::uint32_t count) {
    m_isRestored = true;
    m_logger.line(1, zel::formatted("Backing up sector %I64u (count: %i)", sector, count));
    if (isSaved(sector, count))
        return true;
    if (m_test.isNonFailError(m_test.drive->lastError))
        return false;
    events::cannotRdOrigRange->setVariable("sector", sector)->setVariable("endsector", sector + count - 1);
    m_test.sendEvent(*events::cannotRdOrigRange, EventType::ERR);
    m_logger.line(1, zel::formatted("Failed to backup sector %I64u (count: %i)", sector, count));
    return false;
}

/// Silently: the chunk was reported as a whole.
void ChunkBackup::nameUnreadable(std::uint64_t sector, std::uint32_t count) {
    Drive& drive = *m_test.drive;
    const auto behavior = drive.retryCallbackBehavior();
    drive.skipSectors(sector, count);
    drive.setRetryCallbackBehavior(libDrive2::LIBDRIVE2_RETRY);
    for (std::uint32_t i = 0; i < count && !DiagModule::checkForStop(); ++i) {
        if (drive.readSector(sector + i, 1, m_buffer.data(), drive.getSectorSize()))
            continue;
        if (m_test.isNonFailError(drive.lastError))
            break;
        m_logger.line(3, zel::formatted("Sector %I64u cannot be saved: ", sector + i),
                      drive.getLastErrorStr());
        drive.condemnSectors(sector + i, 1, SectorFault::unreadable);
    }
    drive.setRetryCallbackBehavior(behavior);
}

/// A drive that refuses all writes has changed nothing.
void ChunkBackup::noteWritten() {
    const _LIBDRIVE2_ERROR_TYPES error = m_test.drive->lastError;
    m_isRestored = m_isRestored && (error == libDrive2::LIBDRIVE2_WRITE_PROTECTED_MEDIUM ||
                                    error == libDrive2::LIBDRIVE2_WRITE_PROTECTED_DEVICE);
}

bool ChunkBackup::restoreSectors(std::uint64_t sector, std::uint32_t count,
                                 _LIBDRIVE2_ERROR_TYPES& errorType) {
    errorType = libDrive2::LIBDRIVE2_NO_ERROR;
    if (m_buffer.data() == nullptr)
        return true;
    Drive& drive = *m_test.drive;
    m_logger.line(1, zel::formatted("Restoring sector %I64u (count: %i)", sector, count));
    const bool restored =
        transferAll(sector, count, [&](std::uint64_t lba, std::uint32_t sectors, std::size_t offset) {
            return drive.writeSector(lba, sectors, m_buffer.data() + offset, sectors * drive.getSectorSize());
        });
    Restore restore{sector, count};
    if (!restored) {
        if (m_test.isNonFailError(drive.lastError))
            restore.noteNonFail(drive.lastError);
        restoreSingly(restore);
    }
    m_isRestored = restore.lost == 0;
    errorType = restore.nonFail < restore.attempts ? libDrive2::LIBDRIVE2_NO_ERROR : restore.errorType;
    if (errorType != libDrive2::LIBDRIVE2_NO_ERROR)
        m_test.reportNonFailError(errorType);
    return restore.lost == 0;
}

void ChunkBackup::leave(std::uint64_t sector, std::uint32_t count) {
    if (m_buffer.data() == nullptr || !m_isRestored || m_test.drive->releaseSectors(sector, count))
        return;
    m_logger.line(4, zel::formatted("The journal keeps sector %I64u (count: %i): ", sector, count),
                  m_test.drive->getLastErrorStr());
}

void ChunkBackup::restoreSingly(Restore& restore) {
    Drive& drive = *m_test.drive;
    const String errorText = drive.getLastErrorStr();
    m_logger.line(
        4, zel::formatted("Restoration of sector %I64u (count: %i) failed", restore.first, restore.count));
    drive.setRetryCallbackBehavior(m_behaviors.isolation);
    const std::uint8_t* data = m_buffer.data();
    for (std::uint32_t i = 0; i < restore.count; ++i, data += drive.getSectorSize())
        if (!restoreSector(restore, restore.first + i, data))
            reportLost(restore, restore.first + i);
    drive.setRetryCallbackBehavior(m_behaviors.normal);
    if (restore.lost == 0)
        m_test.reportIsolationRecover(restore.first, restore.count, errorText);
}

/// The lines name the first sector of the chunk, whichever sector is being restored.
bool ChunkBackup::restoreSector(Restore& restore, std::uint64_t sector, const std::uint8_t* data) {
    Drive& drive = *m_test.drive;
    for (int attempt = 1; attempt <= kAttemptsPerSector; ++attempt) {
        if (drive.writeSector(sector, 1, data, drive.getSectorSize()))
            return true;
        ++restore.attempts;
        if (m_test.isNonFailError(drive.lastError))
            restore.noteNonFail(drive.lastError);
        if (attempt < kAttemptsPerSector)
            m_logger.line(1, zel::formatted("  Restoring sector %I64u failed", restore.first));
    }
    m_logger.line(1, zel::formatted("Restoration of sector %I64u failed", restore.first));
    return false;
}

void ChunkBackup::reportLost(Restore& restore, std::uint64_t sector) {
    ++restore.lost;
    if (!m_test.isNonFailError(m_test.drive->lastError))
        m_test.drive->condemnSectors(sector, 1, SectorFault::unwritable);
    if (restore.silenced)
        return;
    if (m_test.hitEventLimits(false)) {
        m_test.drive->setRetryCallbackBehavior(libDrive2::LIBDRIVE2_SILENT);
        restore.silenced = true;
        return;
    }
    events::cannotRestoreData->setVariable("TestName", "PatternTest")
        ->setVariable("TestSector", sector)
        ->setVariable("EndSector", restore.first + restore.count - 1);
    if (!m_test.isNonFailError(m_test.drive->lastError))
        m_test.sendEvent(*events::cannotRestoreData, EventType::ERR);
}

}  // namespace libDriveTest
