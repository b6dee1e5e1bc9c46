#include "libDrive2/sim/SimMedium.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <vector>

#include "zel/Clock.h"

namespace libDrive2 {

namespace {

constexpr std::uint64_t kMegabyte = 1048576;
constexpr std::uint64_t kNanosecondsPerSecond = 1000000000;
constexpr std::uint16_t kMediumMayHaveChanged = 0x2800;
constexpr std::uint32_t kEraseBytes = 1048576;

}  // namespace

SimMedium::SimMedium(SimOptions options, SharedBlockHandle image, std::shared_ptr<SimHealth> health)
    : m_options(std::move(options)),
      m_mostSectors(m_options.sectors),
      m_image(std::move(image)),
      m_store(m_options.sectorBytes) {
    m_state.security = SimSecurity(m_options.locked);
    m_state.warmth = SimWarmth(m_options.heating);
    m_state.health = health != nullptr ? std::move(health) : std::make_shared<SimHealth>(m_options.health);
    insert(0);
}

void SimMedium::insert(std::size_t number) {
    m_inserted = number;
    const std::uint64_t sectors = m_options.media[number].sectors;
    m_options.sectors = sectors != 0 ? sectors : m_mostSectors;
    m_store = SectorStore(m_options.sectorBytes);
}

bool SimMedium::isWriteProtected() const {
    return m_options.writeProtected || (m_image && !m_image->info().writable);
}

std::uint64_t SimMedium::bytes() const {
    return isPresent() ? m_options.sectors * m_options.sectorBytes : 0;
}

void SimMedium::load() {
    if (isPresent())
        return;
    m_state.loaded = true;
    if (m_inserted + 1 < m_options.media.size())
        insert(m_inserted + 1);
    if (isPresent())
        m_state.unitAttention = kMediumMayHaveChanged;
}

SimFault countCommand(const SimOptions& options, std::uint64_t& count) {
    ++count;
    if (options.goneAt != 0 && count >= options.goneAt)
        return SimFault::gone;
    return options.busyAt != 0 && count >= options.busyAt ? SimFault::busy : SimFault::none;
}

SimOutcome SimMedium::checkAccess(std::uint64_t lba, std::uint64_t count) const {
    if (!isPresent())
        return {SimFault::noMedium};
    if (m_state.security.isLocked())
        return {SimFault::locked};
    if (lba > m_options.sectors || count > m_options.sectors - lba)
        return {SimFault::beyondEnd, lba};
    return {};
}

void SimMedium::spendTime(std::uint64_t lba, std::uint32_t count) {
    m_state.warmth.setWorking(true);
    if (m_options.megabytesPerSecond != 0) {
        const std::uint64_t bytes = std::uint64_t{count} * m_options.sectorBytes;
        const std::uint64_t rate = m_options.megabytesPerSecond * kMegabyte;
        zel::Clock::current().sleep(std::chrono::nanoseconds(bytes * kNanosecondsPerSecond / rate));
    }
    for (const SlowRange& slow : m_options.slow)
        if (slow.range.first < lba + count && lba <= slow.range.last)
            zel::Clock::current().sleep(std::chrono::milliseconds(slow.milliseconds));
    m_state.warmth.setWorking(false);
}

bool SimMedium::hitTransient(std::uint64_t lba, std::uint32_t count, std::uint64_t& hit) {
    const auto fault = m_options.transient.lower_bound(lba);
    if (fault == m_options.transient.end() || fault->first >= lba + count)
        return false;
    hit = fault->first;
    if (--fault->second == 0)
        m_options.transient.erase(fault);
    return true;
}

void SimMedium::corrupt(std::uint64_t lba, std::uint32_t count, std::uint8_t* buffer) {
    if (m_options.corrupt.isEmpty())
        return;
    // Another wrong byte at every read, never the right one.
    m_corruption = static_cast<std::uint8_t>(m_corruption % 255 + 1);
    std::uint64_t hit = 0;
    const std::uint64_t end = lba + count;
    for (std::uint64_t from = lba; from < end && m_options.corrupt.findFirst(from, end - from, hit);
         from = hit + 1)
        buffer[(hit - lba) * m_options.sectorBytes] ^= m_corruption;
}

std::optional<std::uint64_t> SimMedium::firstBad() const {
    std::uint64_t hit = 0;
    return m_options.bad.findFirst(0, m_options.sectors, hit) ? std::optional(hit) : std::nullopt;
}

SimOutcome SimMedium::findUnreadable(std::uint64_t lba, std::uint32_t count) {
    std::uint64_t hit = 0;
    if (m_options.bad.findFirst(lba, count, hit) || hitTransient(lba, count, hit)) {
        m_state.health->meetUnreadable(hit);
        return {SimFault::unreadable, hit};
    }
    if (m_options.protectionType != 0 && m_options.corrupt.findFirst(lba, count, hit))
        return {SimFault::failedCheck, hit};
    if (m_options.recovered.findFirst(lba, count, hit))
        return {SimFault::recovered, hit};
    return {};
}

bool SimMedium::isReal(std::uint64_t lba, std::uint32_t count) const {
    return m_options.realSectors == 0 || lba + count <= m_options.realSectors;
}

/// Calls `transfer(lba, count, firstSector, isReal)` for the pieces of a transfer: where the medium has them,
/// or those that it only pretends to have.
template <class Transfer>
SimOutcome SimMedium::transferPieces(std::uint64_t lba, std::uint32_t count, Transfer transfer) {
    const std::uint64_t real = m_options.realSectors;
    if (isReal(lba, count))
        return transfer(lba, count, 0U, true);
    SimOutcome outcome;
    for (std::uint32_t done = 0, now = 0; done < count && outcome.ok(); done += now) {
        const std::uint64_t at = lba + done;
        const bool hasIt = at < real || m_options.beyond == SimBeyond::wrap;
        const std::uint64_t place = hasIt ? at % real : at;
        now = hasIt ? static_cast<std::uint32_t>(std::min<std::uint64_t>(count - done, real - place))
                    : count - done;
        outcome = transfer(place, now, done, hasIt);
    }
    return outcome;
}

/// What a read gives of sectors that are not there.
void SimMedium::pretend(std::uint64_t lba, std::uint32_t count, std::uint8_t* buffer) {
    if (m_options.beyond == SimBeyond::zeros)
        std::memset(buffer, 0, std::size_t{count} * m_options.sectorBytes);
    else
        // The number of the read instead of the drive's size: another content each time.
        SectorStore(m_options.sectorBytes)
            .read(lba + (m_options.beyond == SimBeyond::garbage ? ++m_pretended << 32U : 0), count, buffer);
}

SimOutcome SimMedium::fetchReal(std::uint64_t lba, std::uint32_t count, std::uint8_t* buffer) {
    if (!m_image) {
        m_store.read(lba, count, buffer);
        return {};
    }
    const std::uint32_t sectorBytes = m_options.sectorBytes;
    m_backing = m_image->read(lba * sectorBytes, buffer, std::size_t{count} * sectorBytes);
    return m_backing.ok() ? SimOutcome{} : SimOutcome{SimFault::unreadable, lba, &m_backing};
}

SimOutcome SimMedium::fetch(std::uint64_t lba, std::uint32_t count, std::uint8_t* buffer) {
    if (count == 0)
        return {};
    const SimOutcome outcome = transferPieces(
        lba, count, [&](std::uint64_t at, std::uint32_t sectors, std::uint32_t first, bool hasIt) {
            std::uint8_t* const into = buffer + std::size_t{first} * m_options.sectorBytes;
            // Of an image, what is there from the beginning is what it holds.
            if (hasIt || (m_image && m_options.beyond == SimBeyond::drop))
                return fetchReal(at, sectors, into);
            pretend(at, sectors, into);
            return SimOutcome{};
        });
    if (outcome.ok())
        corrupt(lba, count, buffer);
    return outcome;
}

SimOutcome SimMedium::storeReal(std::uint64_t lba, std::uint32_t count, const std::uint8_t* buffer) {
    if (!m_image) {
        m_store.write(lba, count, buffer);
        return {};
    }
    const std::uint32_t sectorBytes = m_options.sectorBytes;
    m_backing = m_image->write(lba * sectorBytes, buffer, std::size_t{count} * sectorBytes);
    return m_backing.ok() ? SimOutcome{} : SimOutcome{SimFault::unwritable, lba, &m_backing};
}

SimOutcome SimMedium::store(std::uint64_t lba, std::uint32_t count, const std::uint8_t* buffer) {
    if (count == 0)
        return {};
    return transferPieces(
        lba, count, [&](std::uint64_t at, std::uint32_t sectors, std::uint32_t first, bool hasIt) {
            return hasIt ? storeReal(at, sectors, buffer + std::size_t{first} * m_options.sectorBytes)
                         : SimOutcome{};
        });
}

SimOutcome SimMedium::read(std::uint64_t lba, std::uint32_t count, std::uint8_t* buffer) {
    if (SimOutcome outcome = checkAccess(lba, count); !outcome.ok())
        return outcome;
    spendTime(lba, count);
    const SimOutcome found = findUnreadable(lba, count);
    const auto readable = found.ok() ? count : static_cast<std::uint32_t>(found.lba - lba);
    const SimOutcome fetched = fetch(lba, readable, buffer);
    return fetched.ok() ? found : fetched;
}

SimOutcome SimMedium::write(std::uint64_t lba, std::uint32_t count, const std::uint8_t* buffer) {
    if (SimOutcome outcome = checkAccess(lba, count); !outcome.ok())
        return outcome;
    if (isWriteProtected())
        return {SimFault::writeProtected};
    spendTime(lba, count);
    m_state.health->rewrite(lba, count);
    std::uint64_t hit = 0;
    const bool faulty = m_options.badWrite.findFirst(lba, count, hit);
    const SimOutcome stored = store(lba, faulty ? static_cast<std::uint32_t>(hit - lba) : count, buffer);
    return faulty && stored.ok() ? SimOutcome{SimFault::unwritable, hit} : stored;
}

SimOutcome SimMedium::verify(std::uint64_t lba, std::uint32_t count) {
    if (SimOutcome outcome = checkAccess(lba, count); !outcome.ok())
        return outcome;
    spendTime(lba, count);
    SimOutcome found = findUnreadable(lba, count);
    std::uint64_t hit = 0;
    if (m_options.badSeek.findFirst(lba, count, hit) && (found.ok() || hit < found.lba))
        found = {SimFault::unseekable, hit};
    return found;
}

SimOutcome SimMedium::seek(std::uint64_t lba) const {
    if (SimOutcome outcome = checkAccess(lba, 1); !outcome.ok())
        return outcome;
    std::uint64_t hit = 0;
    return m_options.badSeek.findFirst(lba, 1, hit) ? SimOutcome{SimFault::unseekable, lba} : SimOutcome{};
}

SimOutcome SimMedium::flush() {
    if (SimOutcome outcome = checkAccess(0, 0); !outcome.ok() || !m_image)
        return outcome;
    m_backing = m_image->flush();
    return m_backing.ok() ? SimOutcome{} : SimOutcome{SimFault::unwritable, 0, &m_backing};
}

SimOutcome SimMedium::erase() {
    if (isWriteProtected())
        return {SimFault::writeProtected};
    if (!m_image) {
        m_store.erase();
        return {};
    }
    const std::vector<std::uint8_t> zeros(kEraseBytes);
    const std::uint32_t step = kEraseBytes / m_options.sectorBytes;
    SimOutcome outcome;
    for (std::uint64_t lba = 0; lba < m_options.sectors && outcome.ok(); lba += step)
        outcome =
            store(lba, static_cast<std::uint32_t>(std::min<std::uint64_t>(step, m_options.sectors - lba)),
                  zeros.data());
    return outcome;
}

}  // namespace libDrive2
