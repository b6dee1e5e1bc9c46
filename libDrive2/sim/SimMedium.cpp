#include "libDrive2/sim/SimMedium.h"

#include <chrono>

#include "zel/Clock.h"
#include "zel/Format.h"

namespace libDrive2 {

namespace {

constexpr std::uint64_t kMegabyte = 1048576;
constexpr std::uint64_t kNanosecondsPerSecond = 1000000000;

DeviceStatus mediaError(const char* what, std::uint64_t lba) {
    return {LIBDRIVE2_MEDIA_ERROR, zel::format("%s at sector %u", what, lba)};
}

}  // namespace

SimMedium::SimMedium(SimOptions options, SharedBlockHandle image)
    : m_options(std::move(options)), m_image(std::move(image)), m_store(m_options.sectorBytes) {}

DeviceStatus SimMedium::beginCommand() {
    ++m_commands;
    if (m_options.goneAt != 0 && m_commands >= m_options.goneAt)
        return {LIBDRIVE2_NO_ACCESS, "the device does not answer any more"};
    if (m_options.busyAt != 0 && m_commands >= m_options.busyAt)
        return {LIBDRIVE2_BUSY, "the device is busy"};
    if (!m_options.mediumPresent)
        return {LIBDRIVE2_NO_ACCESS, "there is no medium in the drive"};
    return {};
}

void SimMedium::spendTime(std::uint64_t lba, std::uint32_t count) {
    if (m_options.megabytesPerSecond != 0) {
        const std::uint64_t bytes = std::uint64_t{count} * m_options.sectorBytes;
        const std::uint64_t rate = m_options.megabytesPerSecond * kMegabyte;
        zel::Clock::current().sleep(std::chrono::nanoseconds(bytes * kNanosecondsPerSecond / rate));
    }
    for (const SlowRange& slow : m_options.slow)
        if (slow.range.first < lba + count && lba <= slow.range.last)
            zel::Clock::current().sleep(std::chrono::milliseconds(slow.milliseconds));
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

DeviceStatus SimMedium::read(std::uint64_t lba, std::uint32_t count, std::uint8_t* buffer) {
    if (DeviceStatus status = beginCommand(); !status.ok())
        return status;
    spendTime(lba, count);
    std::uint64_t hit = 0;
    if (m_options.bad.findFirst(lba, count, hit))
        return mediaError("unrecovered read error", hit);
    if (hitTransient(lba, count, hit))
        return mediaError("unrecovered read error", hit);
    if (m_image) {
        DeviceStatus status =
            m_image->read(lba * m_options.sectorBytes, buffer, std::size_t{count} * m_options.sectorBytes);
        if (!status.ok())
            return status;
    } else {
        m_store.read(lba, count, buffer);
    }
    corrupt(lba, count, buffer);
    return {};
}

DeviceStatus SimMedium::write(std::uint64_t lba, std::uint32_t count, const std::uint8_t* buffer) {
    if (DeviceStatus status = beginCommand(); !status.ok())
        return status;
    if (m_options.writeProtected)
        return {LIBDRIVE2_WRITE_PROTECTED_MEDIUM, "the medium is write-protected"};
    spendTime(lba, count);
    std::uint64_t hit = 0;
    if (m_options.badWrite.findFirst(lba, count, hit))
        return mediaError("write error", hit);
    if (m_image)
        return m_image->write(lba * m_options.sectorBytes, buffer,
                              std::size_t{count} * m_options.sectorBytes);
    m_store.write(lba, count, buffer);
    return {};
}

DeviceStatus SimMedium::seek(std::uint64_t lba) {
    if (DeviceStatus status = beginCommand(); !status.ok())
        return status;
    std::uint64_t hit = 0;
    return m_options.badSeek.findFirst(lba, 1, hit) ? mediaError("seek error", lba) : DeviceStatus{};
}

DeviceStatus SimMedium::flush() {
    DeviceStatus status = beginCommand();
    return status.ok() && m_image ? m_image->flush() : status;
}

}  // namespace libDrive2
