#include "StampRound.h"

#include <algorithm>
#include <cstring>

namespace libDriveTest {

namespace {

constexpr std::uint32_t kMostRun = 256;  ///< sectors of a transfer
constexpr int kAttemptsPerSector = 5;
/// More than drives have as a cache; the host's is asked to forget besides.
constexpr std::uint64_t kDisplacingBytes = 256U << 20;
constexpr std::uint32_t kDisplacingPiece = 1U << 20;

// Of a round, in percent, how far each step goes.
constexpr int kSaved = 20;
constexpr int kCompared = 35;
constexpr int kStamped = 50;
constexpr int kDisplaced = 65;
constexpr int kRead = 80;

}  // namespace

StampRound::StampRound(const Work& work, std::vector<std::uint64_t> lbas)
    : m_work(work),
      m_sectorBytes(work.drive.getSectorSize()),
      m_sectorCount(work.drive.getSectorCount()),
      m_lbas(std::move(lbas)),
      m_buffer(std::max(std::size_t{kMostRun} * m_sectorBytes, std::size_t{kDisplacingPiece})) {}

StampRound::End StampRound::run() {
    if (save() && leaveUnstable() && protect() && writeStamps() && displaceCache())
        (void)readStamps();
    putBack();
    std::ranges::sort(m_findings, {}, &AddressFinding::lba);
    return m_end;
}

bool StampRound::goesOn(int from, int to, std::size_t done, std::size_t all) {
    if (!m_work.stops(from + static_cast<int>(done * static_cast<std::size_t>(to - from) / (all + 1))))
        return true;
    m_end = End::stopped;
    return false;
}

/// After a failed transfer.
bool StampRound::failsAsWhole() {
    if (!m_work.endsTest(m_work.drive.lastError))
        return false;
    m_end = End::failed;
    return true;
}

template <class Act>
bool StampRound::forRuns(Act act) const {
    for (std::size_t first = 0, end = 0; first < m_savedLbas.size(); first = end) {
        for (end = first + 1; end < m_savedLbas.size() && end - first < kMostRun &&
                              m_savedLbas[end] == m_savedLbas[end - 1] + 1;)
            ++end;
        if (!act(m_savedLbas[first], static_cast<std::uint32_t>(end - first), first))
            return false;
    }
    return true;
}

/// Whole physical sectors: a power cut while a part of one is written may spoil all of it.
bool StampRound::save() {
    const std::uint64_t ratio = std::max(1U, m_work.drive.getPhysicalSectorSize() / m_sectorBytes);
    std::uint64_t next = 0;  // to save
    for (std::size_t i = 0; i < m_lbas.size(); ++i) {
        const std::uint64_t first = std::max(next, m_lbas[i] / ratio * ratio);
        const std::uint64_t end = std::min(m_sectorCount, (m_lbas[i] / ratio + 1) * ratio);
        for (next = first; next < end;) {
            const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(kMostRun, end - next));
            if (!saveRun(next, count))
                return false;
            next += count;
        }
        next = std::max(next, end);
        if (!goesOn(0, kSaved, i, m_lbas.size()))
            return false;
    }
    return true;
}

bool StampRound::saveRun(std::uint64_t lba, std::uint32_t count) {
    if (!m_work.drive.readSector(lba, count, m_buffer.data(), count * m_sectorBytes))
        return !failsAsWhole() && saveSingly(lba, count);
    keep(lba, m_buffer.data(), count);
    return true;
}

bool StampRound::saveSingly(std::uint64_t lba, std::uint32_t count) {
    for (std::uint64_t at = lba; at < lba + count; ++at) {
        if (m_work.drive.readSector(at, 1, m_buffer.data(), m_sectorBytes))
            keep(at, m_buffer.data(), 1);
        else if (failsAsWhole())
            return false;
        else if (std::ranges::binary_search(m_lbas, at))
            find(at, AddressState::unreadable);
    }
    return true;
}

void StampRound::keep(std::uint64_t lba, const std::uint8_t* sectors, std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i)
        m_savedLbas.push_back(lba + i);
    m_saved.insert(m_saved.end(), sectors, sectors + std::size_t{count} * m_sectorBytes);
}

/// What is not the same twice nobody can put back.
bool StampRound::leaveUnstable() {
    std::vector<std::uint64_t> unstable;
    const bool isDone = forRuns([&](std::uint64_t lba, std::uint32_t count, std::size_t number) {
        const bool isRead = m_work.drive.readSector(lba, count, m_buffer.data(), count * m_sectorBytes);
        if (!isRead && failsAsWhole())
            return false;
        for (std::uint32_t i = 0; i < count; ++i) {
            const std::size_t at = std::size_t{i} * m_sectorBytes;
            if (!isRead || std::memcmp(m_buffer.data() + at, m_saved.data() + number * m_sectorBytes + at,
                                       m_sectorBytes) != 0)
                unstable.push_back(lba + i);
        }
        return goesOn(kSaved, kCompared, number, m_savedLbas.size());
    });
    std::size_t kept = 0;
    for (std::size_t i = 0; i < m_savedLbas.size(); ++i) {
        const std::uint64_t lba = m_savedLbas[i];
        if (std::ranges::binary_search(unstable, lba)) {
            if (std::ranges::binary_search(m_lbas, lba))
                find(lba, AddressState::unstable);
            continue;
        }
        std::memmove(m_saved.data() + kept * m_sectorBytes, m_saved.data() + i * m_sectorBytes,
                     m_sectorBytes);
        m_savedLbas[kept++] = lba;
    }
    m_savedLbas.resize(kept);
    m_saved.resize(kept * m_sectorBytes);
    std::erase_if(m_lbas, [this](std::uint64_t lba) { return !isSaved(lba); });
    return isDone;
}

bool StampRound::isSaved(std::uint64_t lba) const {
    return std::ranges::binary_search(m_savedLbas, lba);
}

const std::uint8_t* StampRound::saved(std::uint64_t lba) const {
    const auto number = std::ranges::lower_bound(m_savedLbas, lba) - m_savedLbas.begin();
    return m_saved.data() + static_cast<std::size_t>(number) * m_sectorBytes;
}

bool StampRound::protect() {
    if (!m_work.preserve || m_lbas.empty())
        return true;
    std::vector<libDrive2::SectorSpan> spans;
    (void)forRuns([&spans](std::uint64_t lba, std::uint32_t count, std::size_t) {
        spans.push_back({lba, count});
        return true;
    });
    m_isProtected = m_work.drive.protectScattered(spans, m_saved.data(), m_saved.size());
    if (!m_isProtected)
        m_end = End::failed;
    return m_isProtected;
}

bool StampRound::writeStamps() {
    const std::span<std::uint8_t> sector(m_buffer.data(), m_sectorBytes);
    for (const std::uint64_t lba : m_lbas) {
        m_work.stamp.fill(lba, sector);
        ++m_stamped;
        if (!m_work.drive.writeSector(lba, 1, m_buffer.data(), m_sectorBytes)) {
            if (failsAsWhole())
                return false;
            find(lba, AddressState::unwritable);
        }
        if (!goesOn(kCompared, kStamped, m_stamped, m_lbas.size()))
            return false;
    }
    return true;
}

/// What is read next is to come from the medium: much is read elsewhere, for a drive that does not obey.
bool StampRound::displaceCache() {
    libDrive2::Drive& drive = m_work.drive;
    if (!drive.flushCache() && failsAsWhole())
        return false;
    (void)drive.clearCache();
    const std::uint32_t piece = std::max(1U, kDisplacingPiece / m_sectorBytes);
    const std::uint64_t sectors = std::min(m_sectorCount, kDisplacingBytes / m_sectorBytes);
    // From the middle on: what is stamped at the beginning lies closest together.
    const std::uint64_t first = (m_sectorCount - sectors) / 2;
    for (std::uint64_t done = 0; done < sectors; done += piece) {
        const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(piece, sectors - done));
        drive.visitSectors(first + done, count);
        const bool isRead = drive.readSector(first + done, count, m_buffer.data(), count * m_sectorBytes);
        drive.skipSectors(first + done, count);
        if ((!isRead && failsAsWhole()) || !goesOn(kStamped, kDisplaced, done, sectors))
            return false;
    }
    return true;
}

bool StampRound::readStamps() {
    std::vector<std::uint64_t> judged;  // their writing failed
    for (const AddressFinding& finding : m_findings)
        judged.push_back(finding.lba);
    std::ranges::sort(judged);
    std::size_t done = 0;
    for (const std::uint64_t lba : m_lbas) {
        const bool isRead = m_work.drive.readSector(lba, 1, m_buffer.data(), m_sectorBytes);
        if (!isRead && failsAsWhole())
            return false;
        const bool wasWritten = !std::ranges::binary_search(judged, lba);
        if (!isRead && wasWritten)
            find(lba, AddressState::unreadable);
        else if (wasWritten)
            m_findings.push_back(judge(lba));
        if (!goesOn(kDisplaced, kRead, ++done, m_lbas.size()))
            return false;
    }
    return true;
}

/// Of the sector in the buffer.
AddressFinding StampRound::judge(std::uint64_t lba) const {
    const std::span<const std::uint8_t> sector(m_buffer.data(), m_sectorBytes);
    if (m_work.stamp.isAt(lba, sector))
        return {lba, AddressState::good, 0};
    if (const auto mark = libDrive2::AddressStamp::read(sector); mark && mark->run == m_work.stamp.run())
        return {lba, AddressState::elsewhere, mark->lba};
    const bool isOld = std::equal(sector.begin(), sector.end(), saved(lba));
    return {lba, isOld ? AddressState::lost : AddressState::garbage, 0};
}

void StampRound::putBack() {
    for (std::size_t i = m_work.preserve ? m_stamped : 0; i > 0; --i) {
        (void)m_work.stops(kRead + static_cast<int>((m_stamped - i) * (99 - kRead) / m_stamped));
        if (!writeBack(m_lbas[i - 1]))
            m_lost.push_back(m_lbas[i - 1]);
    }
    // What is not released the program tries to put back once more.
    if (m_isProtected && m_lost.empty())
        (void)m_work.drive.releaseSectors(m_savedLbas.front(),
                                          static_cast<std::uint32_t>(m_savedLbas.size()));
}

bool StampRound::writeBack(std::uint64_t lba) {
    for (int attempt = 0; attempt < kAttemptsPerSector; ++attempt) {
        if (m_work.drive.writeSector(lba, 1, saved(lba), m_sectorBytes))
            return true;
        if (failsAsWhole())
            return false;
    }
    // What takes no writes took no stamp either, as a rule.
    return m_work.drive.readSector(lba, 1, m_buffer.data(), m_sectorBytes) &&
           std::memcmp(m_buffer.data(), saved(lba), m_sectorBytes) == 0;
}

}  // namespace libDriveTest
