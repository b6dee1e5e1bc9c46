#include "libDrive2/journal/SlotRecovery.h"

#include <algorithm>
#include <cstring>

#include "libDrive2/journal/SlotMarks.h"
#include "zel/Words.h"

namespace libDrive2 {

using zel::words;

namespace {

constexpr int kAttemptsPerSector = 5;

}  // namespace

SlotRecovery::SlotRecovery(const RecoveryTask& task, const JournalSlot& slot, SectorMatcher& matcher)
    : m_task(task),
      m_slot(slot),
      m_matcher(matcher),
      m_sectorBytes(task.journal->header.drive.sectorBytes),
      m_found(slot.count * m_sectorBytes),
      m_held(slot.count, Held::known),
      m_isLost(slot.count, false),
      m_findings(slot.count, SectorFinding::equal) {
    m_lbas.reserve(slot.count);
    for (const SectorSpan& span : slot.spans)
        for (std::uint64_t i = 0; i < span.count; ++i)
            m_lbas.push_back(span.lba + i);
}

Bytes SlotRecovery::original(std::uint32_t index, std::uint32_t count) const {
    return {m_slot.data.data() + index * m_sectorBytes, count * m_sectorBytes};
}

Bytes SlotRecovery::found(std::uint32_t index, std::uint32_t count) const {
    return {m_found.data() + index * m_sectorBytes, count * m_sectorBytes};
}

template <class Belongs, class Act>
void SlotRecovery::forRuns(Belongs belongs, Act act) const {
    for (std::uint32_t first = 0; first < m_slot.count;) {
        const bool isRun = belongs(first);
        std::uint32_t end = first + 1;
        while (end < m_slot.count && isNextTo(end) && belongs(end) == isRun)
            ++end;
        if (isRun)
            act(first, end - first);
        first = end;
    }
}

bool SlotRecovery::isToRestore(std::uint32_t index) const {
    return m_findings[index] == SectorFinding::restored || m_findings[index] == SectorFinding::torn ||
           m_findings[index] == SectorFinding::replaced;
}

/// What holds exactly what the run wrote is of no use to anybody, unless this is not what it seems.
bool SlotRecovery::isToSave(std::uint32_t index) const {
    return m_held[index] == Held::known && isToRestore(index) &&
           (m_task.force || m_findings[index] != SectorFinding::restored);
}

bool SlotRecovery::has(SectorFinding finding) const {
    return std::find(m_findings.begin(), m_findings.end(), finding) != m_findings.end();
}

void SlotRecovery::fail(std::uint32_t index, const zel::String& problem) {
    m_findings[index] = SectorFinding::failed;
    m_problems.emplace(index, problem);
}

bool SlotRecovery::isAllEqual() const {
    return std::all_of(m_findings.begin(), m_findings.end(),
                       [](SectorFinding finding) { return finding == SectorFinding::equal; });
}

bool SlotRecovery::holdsTorn(Bytes sector) const {
    for (std::uint32_t i = 0; m_slot.spans.size() > 1 && i < m_slot.count; ++i)
        if (m_findings[i] == SectorFinding::torn && std::ranges::equal(found(i), sector))
            return true;
    return false;
}

bool SlotRecovery::run() {
    if (!has(SectorFinding::foreign)) {
        saveFound();
        noteTorn();
        writeBack();
        makeDurable();
        verify();
    }
    saveOriginals();
    return !has(SectorFinding::failed) && !has(SectorFinding::foreign);
}

/// Only an error of the medium, or of the drive with it, tells that a sector holds nothing readable.
void SlotRecovery::readSector(std::uint32_t index) {
    const DeviceStatus status =
        m_isDriveGone
            ? DeviceStatus{LIBDRIVE2_NO_ACCESS, zel::worded("the drive is gone")}
            : m_task.drive->read(offsetOf(index), m_found.data() + index * m_sectorBytes, m_sectorBytes);
    m_isDriveGone = m_isDriveGone || status.type == LIBDRIVE2_NO_ACCESS;
    m_held[index] = Held::known;
    if (status.type == LIBDRIVE2_MEDIA_ERROR || status.type == LIBDRIVE2_DRIVE_ERROR)
        m_held[index] = Held::unreadable;
    else if (!status.ok())
        m_held[index] = Held::unreachable;
    if (m_held[index] == Held::unreachable)
        fail(index, words("it could not be read: {reason}", {{"reason", status.text}}));
}

/// Each run at once; sector by sector, of those asked for, where that fails.
void SlotRecovery::readAll(const std::vector<std::uint32_t>& sectors) {
    forRuns([](std::uint32_t) { return true; },
            [&](std::uint32_t first, std::uint32_t count) {
                const auto from = std::lower_bound(sectors.begin(), sectors.end(), first);
                const auto end = std::lower_bound(from, sectors.end(), first + count);
                if (from != end && !readRun(first, count))
                    std::for_each(from, end, [this](std::uint32_t index) { readSector(index); });
            });
}

bool SlotRecovery::readRun(std::uint32_t first, std::uint32_t count) {
    if (m_isDriveGone ||
        !m_task.drive->read(offsetOf(first), m_found.data() + first * m_sectorBytes, count * m_sectorBytes)
             .ok())
        return false;
    std::fill_n(m_held.begin() + first, count, Held::known);
    return true;
}

void SlotRecovery::examine() {
    std::vector<std::uint32_t> all(m_slot.count);
    for (std::uint32_t i = 0; i < m_slot.count; ++i)
        all[i] = i;
    readAll(all);
    loseSectors();
    for (std::uint32_t i = 0; i < m_slot.count; ++i)
        if (m_findings[i] != SectorFinding::failed)
            m_findings[i] = judge(i);
    if (has(SectorFinding::foreign))
        withhold();
}

void SlotRecovery::loseSectors() {
    for (const SectorSpan& span : m_slot.lost)
        for (auto lba = std::lower_bound(m_lbas.begin(), m_lbas.end(), span.lba);
             lba != m_lbas.end() && *lba < span.lba + span.count; ++lba) {
            const auto index = static_cast<std::uint32_t>(lba - m_lbas.begin());
            m_isLost[index] = true;
            fail(index, words("the journal's own medium lost its data"));
        }
}

/// One foreign sector shows that somebody else used these, and what looks like the run's may be theirs.
void SlotRecovery::withhold() {
    for (std::uint32_t i = 0; i < m_slot.count; ++i)
        if (isToRestore(i))
            m_findings[i] = SectorFinding::withheld;
}

SectorFinding SlotRecovery::judge(std::uint32_t index) {
    if (m_held[index] == Held::unreachable)
        return SectorFinding::failed;
    if (m_held[index] == Held::unreadable)
        return SectorFinding::restored;
    const SectorFinding finding = compare(index);
    return m_task.force && finding == SectorFinding::foreign ? SectorFinding::replaced : finding;
}

/// The addresses whose stamps a sector may hold pieces of: all where the slot is of scattered ones.
std::span<const std::uint64_t> SlotRecovery::stampable(std::uint32_t index) const {
    const std::span<const std::uint64_t> all(m_lbas);
    return m_slot.spans.size() > 1 ? all : all.subspan(index, 1);
}

SectorFinding SlotRecovery::compare(std::uint32_t index) {
    const Bytes now = found(index);
    if (std::memcmp(now.data(), original(index).data(), now.size()) == 0)
        return SectorFinding::equal;
    if (m_matcher.isExpected(now))
        return SectorFinding::restored;
    return m_matcher.isTorn(now, stampable(index), original(index), m_slot.wasRestoring)
               ? SectorFinding::torn
               : SectorFinding::foreign;
}

/// A restoration that is cut off would leave pieces of three contents. Looking for such at once would take
/// many a change by others for a torn sector, so the journal says when it may happen.
void SlotRecovery::noteTorn() {
    if (!has(SectorFinding::torn))
        return;
    // Again even if it says so: a recovery that was killed may not have made that durable.
    const DeviceStatus status = noteRestoring(*m_task.journalFile, *m_task.journal, m_slot);
    if (status.ok())
        return;
    for (std::uint32_t i = 0; i < m_slot.count; ++i)
        if (m_findings[i] == SectorFinding::torn)
            fail(i, words("it was not overwritten, as the journal could not be written: {reason}",
                          {{"reason", status.text}}));
}

/// Before they are overwritten: an unlucky coincidence may look like a torn sector.
void SlotRecovery::saveFound() {
    forRuns([this](std::uint32_t i) { return isToSave(i); },
            [this](std::uint32_t first, std::uint32_t count) {
                if (m_task.sink->saveSectors(lbaOf(first), found(first, count), RecoverySink::What::found))
                    return;
                for (std::uint32_t i = first; i < first + count; ++i)
                    fail(i, words("what was found there could not be exported, so it was not overwritten"));
            });
}

void SlotRecovery::writeBack() {
    forRuns([this](std::uint32_t i) { return isToRestore(i); },
            [this](std::uint32_t first, std::uint32_t count) { writeRun(first, count); });
}

void SlotRecovery::writeRun(std::uint32_t first, std::uint32_t count) {
    const Bytes data = original(first, count);
    if (!m_isDriveGone && m_task.drive->write(offsetOf(first), data.data(), data.size()).ok())
        return;
    for (std::uint32_t i = first; i < first + count; ++i)
        writeSector(i);
}

void SlotRecovery::writeSector(std::uint32_t index) {
    DeviceStatus status{LIBDRIVE2_NO_ACCESS, zel::worded("the drive is gone")};
    for (int attempt = 0; attempt < kAttemptsPerSector && !m_isDriveGone; ++attempt) {
        status = m_task.drive->write(offsetOf(index), original(index).data(), m_sectorBytes);
        if (status.ok())
            return;
        m_isDriveGone = status.type == LIBDRIVE2_NO_ACCESS;
    }
    fail(index, words("it could not be written: {reason}", {{"reason", status.text}}));
}

/// Flushes even when nothing was written: of a run that was killed, the drive may only remember what it wrote
/// last.
void SlotRecovery::makeDurable() {
    const DeviceStatus status = m_task.drive->flush();
    // What has no cache needs no flush.
    if (status.ok() || status.type == LIBDRIVE2_NOT_SUPPORTED)
        return;
    for (std::uint32_t i = 0; i < m_slot.count; ++i)
        if (m_findings[i] == SectorFinding::equal || isToRestore(i))
            fail(i, words("it may not have reached the medium: {reason}", {{"reason", status.text}}));
}

void SlotRecovery::verify() {
    std::vector<std::uint32_t> written;
    for (std::uint32_t i = 0; i < m_slot.count; ++i)
        if (isToRestore(i))
            written.push_back(i);
    if (written.empty())
        return;
    // Else what is read back may be only what the host remembers.
    (void)m_task.drive->dropCache();
    readAll(written);
    for (const std::uint32_t i : written)
        if (m_held[i] == Held::unreadable)
            fail(i, words("it was written, but cannot be read back"));
        else if (m_held[i] == Held::known &&
                 std::memcmp(found(i).data(), original(i).data(), m_sectorBytes) != 0)
            fail(i, words("it was written, but reads back as something else"));
}

void SlotRecovery::saveOriginals() {
    forRuns(
        [this](std::uint32_t i) {
            return !m_isLost[i] &&
                   (m_findings[i] == SectorFinding::foreign || m_findings[i] == SectorFinding::withheld ||
                    m_findings[i] == SectorFinding::failed);
        },
        [this](std::uint32_t first, std::uint32_t count) {
            if (m_task.sink->saveSectors(lbaOf(first), original(first, count), RecoverySink::What::original))
                return;
            for (std::uint32_t i = first; i < first + count; ++i)
                fail(i, words("its saved data could not be exported"));
        });
}

void SlotRecovery::addTo(RecoveryReport& report) const {
    for (std::uint32_t first = 0; first < m_slot.count;) {
        std::uint32_t end = first + 1;
        while (end < m_slot.count && isNextTo(end) && m_findings[end] == m_findings[first])
            ++end;
        FoundRange range{lbaOf(first), end - first, m_findings[first], {}};
        if (range.finding == SectorFinding::failed) {
            const auto problem = m_problems.find(first);
            range.problem = problem != m_problems.end() ? problem->second : zel::String();
        }
        report.counts[static_cast<std::size_t>(range.finding)] += range.count;
        report.ranges.push_back(std::move(range));
        first = end;
    }
}

}  // namespace libDrive2
