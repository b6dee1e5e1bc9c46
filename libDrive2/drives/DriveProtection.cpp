#include <algorithm>
#include <cstring>
#include <utility>

#include "libDrive2/Drive.h"
#include "libDrive2/drives/RangeRestorer.h"
#include "zel/Format.h"
#include "zel/Words.h"

namespace libDrive2 {

bool Drive::failProtection(const char* what, std::uint64_t lba, const zel::Wording& reason) {
    lastError = fail(LIBDRIVE2_NO_ACCESS,
                     zel::worded("{problem} at sector {lba}: {reason}",
                                 {{"problem", zel::worded(what)}, {"lba", lba}, {"reason", reason}}));
    return false;
}

bool Drive::expectWrites(const void* data, std::size_t bytes) {
    if (m_journal == nullptr || m_journal->expectWrites(data, bytes))
        return true;
    return failProtection(zel::marked("the journal took no patterns"), 0, m_journal->lastErrorStr());
}

/// How it works: a drive whose physical sectors hold several logical ones writes a part of one by reading,
/// changing and writing all of it, so that a power cut can cost the neighbours that no test asked for. The
/// range to protect therefore grows to whole physical sectors: `first` and `end` are its limits rounded down
/// and up, but not beyond the end of the drive, whose last physical sector may be cut off. `data` are the
/// test's originals of the middle; the margins before and after it are read here and joined to it in `wide`,
/// which stays empty when there are none. A margin that cannot be read is left out, whole: what cannot be
/// read cannot be lost, and the journal must not claim to know it. The margin in front moves the start of
/// what is journaled only if it was read. Margins are read past observers and retries: they are no part of
/// the test. What is remembered with the journal's range is the LBA that the test asked for, as that is what
/// releaseSectors() is called with.
Drive::ProtectedRange Drive::widen(std::uint64_t lba, std::uint32_t count, const void* data,
                                   zel::Buffer& wide) {
    const std::uint32_t sectorBytes = getSectorSize();
    const std::uint64_t ratio = std::max(1U, getPhysicalSectorSize() / sectorBytes);
    const std::uint64_t first = lba / ratio * ratio;
    const std::uint64_t end = std::min((lba + count + ratio - 1) / ratio * ratio, getSectorCount());
    const auto before = static_cast<std::uint32_t>(lba - first);
    const auto after = static_cast<std::uint32_t>(end - std::min(end, lba + count));
    ProtectedRange range{lba, lba, count};
    if (before + after == 0)
        return range;
    wide = zel::Buffer(std::size_t{before + count + after} * sectorBytes);
    // What cannot be read cannot be lost either.
    const auto reads = [&](std::uint64_t from, std::uint32_t sectors, std::uint32_t at) {
        return sectors > 0 && doReadSector(from, sectors, wide.data() + std::size_t{at} * sectorBytes,
                                           sectors * sectorBytes) == LIBDRIVE2_NO_ERROR;
    };
    const std::uint32_t kept = reads(first, before, 0) ? before : 0;
    std::memcpy(wide.data() + std::size_t{kept} * sectorBytes, data, std::size_t{count} * sectorBytes);
    range.journalLba -= kept;
    range.journalCount += kept + (reads(lba + count, after, kept + count) ? after : 0);
    return range;
}

bool Drive::protectSectors(std::uint64_t lba, std::uint32_t count, const void* data, std::size_t bytes) {
    if (m_journal == nullptr)
        return true;
    zel::Buffer wide;
    const ProtectedRange range = widen(lba, count, data, wide);
    if (wide.size() > 0) {
        data = wide.data();
        bytes = std::size_t{range.journalCount} * getSectorSize();
    }
    if (!m_journal->protect(range.journalLba, range.journalCount, data, bytes))
        return failProtection(zel::marked("the journal did not take the data"), lba,
                              m_journal->lastErrorStr());
    m_protected.push_back(range);
    m_protected.back().spans = {{range.journalLba, range.journalCount}};
    return true;
}

bool Drive::protectScattered(std::span<const SectorSpan> spans, const void* data, std::size_t bytes) {
    if (m_journal == nullptr || spans.empty())
        return true;
    const std::uint64_t first = spans.front().lba;
    if (!m_journal->protectScattered(spans, data, bytes))
        return failProtection(zel::marked("the journal did not take the data"), first,
                              m_journal->lastErrorStr());
    m_protected.push_back(
        {first, first, static_cast<std::uint32_t>(bytes / getSectorSize()), {spans.begin(), spans.end()}});
    return true;
}

bool Drive::readsBackAsBefore(const ProtectedRange& range) {
    zel::Buffer found(std::size_t{range.journalCount} * getSectorSize());
    std::uint8_t* into = found.data();
    for (const SectorSpan& span : range.spans) {
        const auto bytes = static_cast<std::uint32_t>(span.count) * getSectorSize();
        const auto reads = [&] {
            return doReadSector(span.lba, static_cast<std::uint32_t>(span.count), into, bytes) ==
                   LIBDRIVE2_NO_ERROR;
        };
        // One read that goes wrong says nothing of what was written.
        bool isRead = reads();
        for (std::uint32_t retry = 0; !isRead && retry < m_retryCount; ++retry)
            isRead = reads();
        if (!isRead)
            return false;
        into += bytes;
    }
    return m_journal->holdsOriginal(range.journalLba, range.journalCount, found.data(), found.size());
}

bool Drive::releaseSectors(std::uint64_t lba, std::uint32_t /*count*/) {
    const auto range = std::find_if(m_protected.begin(), m_protected.end(),
                                    [lba](const ProtectedRange& each) { return each.lba == lba; });
    if (m_journal == nullptr || range == m_protected.end())
        return true;
    // What has no cache needs no flush.
    if (m_journal->outlivesCrash() && !flushCache() && lastError != LIBDRIVE2_NOT_SUPPORTED)
        return failProtection(zel::marked("the restored data may not have reached the medium"), lba,
                              errorText());
    if (m_journal->verifiesRestores() && !readsBackAsBefore(*range))
        return failProtection(zel::marked("the restored data does not read back as it was"), lba,
                              zel::worded("the journal keeps it, \"drivetest recover\" tries again"));
    if (!m_journal->release(range->journalLba, range->journalCount))
        return failProtection(zel::marked("the journal could not be written"), lba,
                              m_journal->lastErrorStr());
    m_protected.erase(range);
    return true;
}

RestoreOutcome Drive::restoreProtected(const std::function<bool()>& isSameDrive) {
    RestoreOutcome outcome;
    if (m_journal == nullptr || m_protected.empty())
        return outcome;
    DriveObserver* const observer = std::exchange(m_observer, nullptr);
    const auto behavior = std::exchange(m_behavior, LIBDRIVE2_SILENT);
    restoreRanges(isSameDrive, outcome);
    m_behavior = behavior;
    m_observer = observer;
    return outcome;
}

void Drive::restoreRanges(const std::function<bool()>& isSameDrive, RestoreOutcome& outcome) {
    RangeRestorer restorer(*this, *m_journal, isSameDrive);
    // The newest first: where two overlap, what the older one held is the original.
    for (auto range = m_protected.end(); range != m_protected.begin();) {
        --range;
        if (restorer.restore(range->spans, outcome) &&
            m_journal->release(range->journalLba, range->journalCount))
            range = m_protected.erase(range);
    }
    std::sort(outcome.left.begin(), outcome.left.end(),
              [](const SectorSpan& a, const SectorSpan& b) { return a.lba < b.lba; });
}

}  // namespace libDrive2
