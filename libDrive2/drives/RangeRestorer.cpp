#include "libDrive2/drives/RangeRestorer.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "zel/Clock.h"
#include "zel/Words.h"

// How it works: compare all sectors with their original data, write those that differ, and again, until
// nothing differs or the rounds are used up. What is equal is never written: it may lie in a hole of an image
// that has no room to grow, or on a spot that takes no writes. What fails as a run is tried sector by sector;
// a sector's further attempts are the further rounds.

namespace libDrive2 {

namespace {

constexpr std::uint32_t kPieceBytes = 1U << 20;
constexpr int kWriteRounds = 3;
constexpr std::uint32_t kMostSetbacks = 5;
constexpr std::chrono::milliseconds kSetbackPause{200};
/// A drive may be silent for half a minute each time.
constexpr std::uint32_t kMostTimeouts = 16;

/// Errors that tell of the drive rather than of the sectors.
bool isSetback(_LIBDRIVE2_ERROR_TYPES error) {
    return error == LIBDRIVE2_BUSY || error == LIBDRIVE2_NO_ACCESS || error == LIBDRIVE2_TIMEOUT;
}

}  // namespace

RangeRestorer::RangeRestorer(Drive& drive, SectorJournal& journal, const std::function<bool()>& isSameDrive)
    : m_drive(drive),
      m_journal(journal),
      m_isSameDrive(isSameDrive),
      m_sectorBytes(drive.getSectorSize()),
      m_sectorCount(drive.getSectorCount()),
      m_pieceSectors(std::max(1U, kPieceBytes / std::max(1U, m_sectorBytes))) {}

bool RangeRestorer::restore(const std::vector<SectorSpan>& spans, RestoreOutcome& outcome) {
    try {
        m_lbas.clear();
        for (const SectorSpan& span : spans)
            for (std::uint64_t i = 0; i < span.count; ++i)
                m_lbas.push_back(span.lba + i);
        m_count = static_cast<std::uint32_t>(m_lbas.size());
        m_original = zel::Buffer(std::size_t{m_count} * m_sectorBytes);
        m_found = zel::Buffer(std::size_t{std::min(m_count, m_pieceSectors)} * m_sectorBytes);
        m_differs.assign(m_count, true);
        if (m_journal.readOriginal(m_lbas.front(), m_count, m_original.data(), m_original.size()))
            return putBack(outcome);
        outcome.reason = m_journal.lastErrorStr().shown();
        if (isAsBefore())
            return true;
    } catch (const std::bad_alloc&) {
        outcome.reason = zel::words("there is not enough memory");
    }
    outcome.left.insert(outcome.left.end(), spans.begin(), spans.end());
    return false;
}

/// Even a journal that cannot be read may know the data's checksum.
bool RangeRestorer::isAsBefore() {
    settle();
    for (std::uint32_t at = 0, end = 0; at < m_count; at = end) {
        for (end = at + 1; end < m_count && isNextTo(end);)
            ++end;
        std::uint8_t* const into = m_original.data() + std::size_t{at} * m_sectorBytes;
        if (!m_isDurable || !attempt([&] {
                return m_drive.readSector(m_lbas[at], end - at, into, (end - at) * m_sectorBytes);
            }))
            return false;
    }
    return m_journal.holdsOriginal(m_lbas.front(), m_count, m_original.data(), m_original.size());
}

bool RangeRestorer::putBack(RestoreOutcome& outcome) {
    std::vector<bool> before;
    for (int round = 0;; ++round) {
        settle();
        compare(0, m_count);
        if (round == 0)
            before = m_differs;
        if (m_isGone || round == kWriteRounds || (m_isDurable && !differsAnywhere()))
            break;
        writeDiffering();
    }
    const auto different = [](const std::vector<bool>& sectors) {
        return static_cast<std::uint64_t>(std::count(sectors.begin(), sectors.end(), true));
    };
    outcome.putBack += different(before) - different(m_differs);
    // A power cut may still take what was not flushed, wherever it lies.
    if (!m_isDurable)
        m_differs.assign(m_count, true);
    addLeft(outcome);
    if (!differsAnywhere())
        return true;
    outcome.reason = m_reason.isEmpty() ? zel::words("it does not read back as it was") : m_reason;
    return false;
}

void RangeRestorer::addLeft(RestoreOutcome& outcome) const {
    bool isInSpan = false;
    for (std::uint32_t at = 0; at < m_count; ++at) {
        if (m_differs[at] && (!isInSpan || !isNextTo(at)))
            outcome.left.push_back({m_lbas[at], 0});
        isInSpan = m_differs[at];
        if (isInSpan)
            ++outcome.left.back().count;
    }
}

bool RangeRestorer::differsAnywhere() const {
    return std::find(m_differs.begin(), m_differs.end(), true) != m_differs.end();
}

/// Brings to the medium what was written, and lets the next reads come from there.
void RangeRestorer::settle() {
    m_isDurable = attempt([this] {
        // What has no cache needs no flush.
        return m_drive.flushCache() || m_drive.lastError == LIBDRIVE2_NOT_SUPPORTED;
    });
    // Memory is all that promises to keep the data: a flush that fails takes nothing from it.
    m_isDurable = m_isDurable || !m_journal.outlivesCrash();
    if (!m_isGone)
        (void)m_drive.clearCache();
}

void RangeRestorer::compare(std::uint32_t first, std::uint32_t count) {
    for (std::uint32_t done = 0, now = 0; done < count && !m_isGone; done += now) {
        const std::uint32_t at = first + done;
        for (now = 1; now < m_pieceSectors && now < count - done && isNextTo(at + now);)
            ++now;
        const auto bytes = now * m_sectorBytes;
        if (attempt([&] { return m_drive.readSector(m_lbas[at], now, m_found.data(), bytes); })) {
            for (std::uint32_t i = 0; i < now; ++i)
                m_differs[at + i] =
                    std::memcmp(m_found.data() + std::size_t{i} * m_sectorBytes,
                                m_original.data() + std::size_t{at + i} * m_sectorBytes, m_sectorBytes) != 0;
            continue;
        }
        for (std::uint32_t i = 0; now > 1 && i < now; ++i)
            compare(at + i, 1);
        if (now == 1)
            m_differs[at] = true;
    }
}

void RangeRestorer::writeDiffering() {
    for (std::uint32_t at = 0, end = 0; at < m_count && !m_isGone; at = end) {
        end = at + 1;
        if (!m_differs[at])
            continue;
        while (end < m_count && m_differs[end] && isNextTo(end) && end - at < m_pieceSectors)
            ++end;
        writeRun(at, end - at);
    }
}

void RangeRestorer::writeRun(std::uint32_t first, std::uint32_t count) {
    const std::uint8_t* const data = m_original.data() + std::size_t{first} * m_sectorBytes;
    if (attempt([&] { return m_drive.writeSector(m_lbas[first], count, data, count * m_sectorBytes); }))
        return;
    for (std::uint32_t i = 0; count > 1 && i < count && !m_isGone; ++i)
        writeRun(first + i, 1);
}

/// False when the operation failed, though the drive answers, or when the drive is gone.
template <class Operation>
bool RangeRestorer::attempt(Operation operation) {
    while (!m_isGone) {
        if (operation()) {
            m_setbacks = 0;
            return true;
        }
        m_reason = m_drive.lastErrorShown();
        const _LIBDRIVE2_ERROR_TYPES error = m_drive.lastError;
        if (error == LIBDRIVE2_TIMEOUT && ++m_timeouts > kMostTimeouts)
            m_isGone = true;
        else if (!isSetback(error) || answers())
            return false;
        else
            m_isGone = !waitForReturn();
    }
    return false;
}

/// Not every error of this kind tells of the whole drive: an image file may only have no room to grow.
bool RangeRestorer::answers() {
    if (!m_drive.readSector(m_lbas.front(), 1, m_found.data(), m_sectorBytes) && isSetback(m_drive.lastError))
        return false;
    m_setbacks = 0;
    return true;
}

bool RangeRestorer::waitForReturn() {
    bool isBusy = m_drive.lastError == LIBDRIVE2_BUSY;
    while (m_setbacks++ < kMostSetbacks) {
        zel::Clock::current().sleep(kSetbackPause);
        if (isBusy || comesBack())
            return true;
        isBusy = m_drive.lastError == LIBDRIVE2_BUSY;
    }
    return false;
}

/// Behind the same path there may be another drive by now.
bool RangeRestorer::comesBack() {
    if (!m_drive.reOpenHandle() || m_drive.getSectorCount() == 0)
        return false;
    if (m_drive.getSectorSize() == m_sectorBytes && m_drive.getSectorCount() == m_sectorCount &&
        (!m_isSameDrive || m_isSameDrive()))
        return true;
    m_reason = zel::words("another drive has taken its place");
    m_setbacks = kMostSetbacks;
    return false;
}

}  // namespace libDrive2
