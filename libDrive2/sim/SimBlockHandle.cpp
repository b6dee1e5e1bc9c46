#include "libDrive2/sim/SimBlockHandle.h"

#include "zel/Format.h"
#include "zel/Words.h"

namespace libDrive2 {

using zel::worded;

namespace {

constexpr std::uint32_t kOptimalTransferBytes = 64 * 1024;

DeviceStatus mediaError(const char* what, std::uint64_t lba) {
    return {LIBDRIVE2_MEDIA_ERROR, zel::format("%s at sector %u", what, lba)};
}

/// As the block interface of an operating system tells it: without what the drive corrected.
DeviceStatus toStatus(const SimOutcome& outcome) {
    if (outcome.backing != nullptr)
        return *outcome.backing;
    switch (outcome.fault) {
        case SimFault::none:
        case SimFault::recovered:
            break;
        case SimFault::gone:
            return {LIBDRIVE2_NO_ACCESS, worded("the device does not answer any more")};
        case SimFault::busy:
            return {LIBDRIVE2_BUSY, worded("the device is busy")};
        case SimFault::noMedium:
            return {LIBDRIVE2_NO_ACCESS, worded("there is no medium in the drive")};
        case SimFault::locked:
            return {LIBDRIVE2_NO_ACCESS, worded("the drive is locked with a password")};
        case SimFault::beyondEnd:
            return {LIBDRIVE2_BAD_ARGUMENT, zel::format("sector %u lies beyond the end", outcome.lba)};
        case SimFault::writeProtected:
            return {LIBDRIVE2_WRITE_PROTECTED_MEDIUM, worded("the medium is write-protected")};
        case SimFault::unreadable:
        case SimFault::failedCheck:
            return mediaError("unrecovered read error", outcome.lba);
        case SimFault::unwritable:
            return mediaError("write error", outcome.lba);
        case SimFault::unseekable:
            return mediaError("seek error", outcome.lba);
    }
    return {};
}

}  // namespace

SimBlockHandle::SimBlockHandle(std::shared_ptr<SimMedium> medium, bool writable)
    : m_medium(std::move(medium)) {
    const SimOptions& options = m_medium->options();
    m_info.logicalSectorBytes = options.sectorBytes;
    m_info.physicalSectorBytes = options.sectorBytes;
    m_info.optimalTransferBytes = kOptimalTransferBytes;
    m_info.removable = options.removable;
    m_info.writable = writable;
    (void)SimBlockHandle::reopen();
}

DeviceStatus SimBlockHandle::reopen() {
    m_opened = m_medium->inserted();
    m_isOpenedEmpty = !m_medium->isPresent();
    return query();
}

bool SimBlockHandle::seesMedium() const {
    return m_medium->isPresent() && !m_isOpenedEmpty && m_opened == m_medium->inserted();
}

DeviceStatus SimBlockHandle::query() {
    m_info.mediumPresent = seesMedium();
    m_info.bytes = m_info.mediumPresent ? m_medium->bytes() : 0;
    return {};
}

template <class Operation>
DeviceStatus SimBlockHandle::perform(Operation operation) {
    SimOutcome outcome = m_medium->beginCommand();
    if (outcome.ok())
        outcome = operation();
    return toStatus(outcome);
}

/// An operation that needs the medium.
template <class Operation>
DeviceStatus SimBlockHandle::onMedium(Operation operation) {
    return perform([&] { return seesMedium() ? operation() : SimOutcome{SimFault::noMedium}; });
}

DeviceStatus SimBlockHandle::read(std::uint64_t offset, void* buffer, std::size_t bytes) {
    const std::uint32_t sectorBytes = m_info.logicalSectorBytes;
    return onMedium([&] {
        return m_medium->read(offset / sectorBytes, static_cast<std::uint32_t>(bytes / sectorBytes),
                              static_cast<std::uint8_t*>(buffer));
    });
}

DeviceStatus SimBlockHandle::write(std::uint64_t offset, const void* buffer, std::size_t bytes) {
    if (!m_info.writable)
        return {LIBDRIVE2_WRITE_PROTECTED_DEVICE, worded("the device was opened for reading only")};
    const std::uint32_t sectorBytes = m_info.logicalSectorBytes;
    return onMedium([&] {
        return m_medium->write(offset / sectorBytes, static_cast<std::uint32_t>(bytes / sectorBytes),
                               static_cast<const std::uint8_t*>(buffer));
    });
}

/// As behind an operating system, which moves the head only to read: an unreadable sector is not reached.
DeviceStatus SimBlockHandle::seek(std::uint64_t offset) {
    return onMedium([&] { return m_medium->verify(offset / m_info.logicalSectorBytes, 1); });
}

DeviceStatus SimBlockHandle::flush() {
    return onMedium([&] { return m_medium->flush(); });
}

DeviceStatus SimBlockHandle::eject() {
    if (!m_info.removable)
        return BlockHandle::eject();
    if (m_medium->state().removalPrevented)
        return {LIBDRIVE2_BUSY, "the medium is locked in"};
    return perform([&] {
        m_medium->eject();
        return SimOutcome{};
    });
}

DeviceStatus SimBlockHandle::load() {
    if (!m_info.removable)
        return BlockHandle::load();
    return perform([&] {
        m_medium->load();
        return SimOutcome{};
    });
}

DeviceStatus SimBlockHandle::lockMedium(bool lock) {
    if (!m_info.removable)
        return BlockHandle::lockMedium(lock);
    return perform([&] {
        m_medium->state().removalPrevented = lock;
        return SimOutcome{};
    });
}

}  // namespace libDrive2
