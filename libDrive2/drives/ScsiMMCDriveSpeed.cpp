#include <algorithm>
#include <bit>
#include <limits>

#include "libDrive2/ScsiMMCDrive.h"
#include "libDrive2/commands/Bytes.h"
#include "libDrive2/drives/DriveAction.h"
#include "libDrive2/drives/MmcMedia.h"
#include "libDrive2/drives/MmcUnit.h"
#include "zel/Format.h"
#include "zel/Log.h"
#include "zel/Words.h"

/// Speeds of optical drives.

namespace libDrive2 {

namespace {

/// More do not fit one answer's length that every host adapter moves.
constexpr std::uint32_t kMaxDescriptors = 1024;
constexpr std::uint16_t kHighestSpeed = 0xFFFF;      ///< in SET CD SPEED
constexpr std::uint32_t kUnknownSpeed = 0xFFFFFFFF;  ///< whatever the drive can
constexpr std::uint32_t kStreamingTimeMs = 1000;     ///< in which the KB of a descriptor's speed are moved

std::uint32_t fromWire(std::uint32_t field) {
    const auto bytes = std::bit_cast<std::array<std::uint8_t, 4>>(field);
    return loadBigEndian<std::uint32_t>(bytes, 0);
}

std::uint32_t toWire(std::uint32_t value) {
    std::array<std::uint8_t, 4> bytes{};
    storeBigEndian(bytes, 0, value);
    return std::bit_cast<std::uint32_t>(bytes);
}

bool isOutOfReach(_LIBDRIVE2_ERROR_TYPES error) {
    return error == LIBDRIVE2_NO_ACCESS || error == LIBDRIVE2_BUSY;
}

/// Without those of CDs, which some drives list with whatever medium, and without those that are none.
std::vector<zel_write_speed_desc_t> speedsOfFamily(std::vector<zel_write_speed_desc_t> speeds,
                                                   double single) {
    std::erase_if(speeds, [single](const zel_write_speed_desc_t& speed) {
        const std::uint32_t stated = fromWire(speed.writeSpeed);
        return stated == 0 || stated < single / 2;
    });
    return speeds;
}

std::uint16_t cdSpeed(std::uint32_t wireSpeed) {
    return static_cast<std::uint16_t>(
        std::min<std::uint32_t>(fromWire(wireSpeed), std::numeric_limits<std::uint16_t>::max()));
}

}  // namespace

bool ScsiMMCDrive::getNominalPerformance(zel::Array<::scsi::mmc_performance_nom_desc_t>& descriptors,
                                         std::uint32_t maxDescriptors, bool writing) {
    MmcUnit unit(*passThrough());
    const auto found = unit.nominalPerformance(
        writing, static_cast<std::uint16_t>(std::min(maxDescriptors, kMaxDescriptors)));
    if (!found)
        return succeeded(
            fail(unit.why().type, zel::worded("asking for the drive's performance failed: {reason}",
                                              {{"reason", unit.why().text}})));
    for (const auto& descriptor : *found)
        descriptors.append(descriptor);
    return succeeded(LIBDRIVE2_NO_ERROR);
}

bool ScsiMMCDrive::getReadWriteSpeeds(zel::Array<zel_write_speed_desc_t>& descriptors) {
    MmcUnit unit(*passThrough());
    descriptors.clear();
    auto found = unit.writeSpeeds();
    if ((!found || found->empty()) && !isOutOfReach(unit.why().type))
        if (const auto listed = unit.listedWriteSpeeds())
            found = speedsOfFamily(*listed, mmc::mediaKind(getCurrentProfile()).kilobytesPerSecond);
    if (!found)
        return succeeded(
            fail(unit.why().type, zel::worded("asking for the drive's write speeds failed: {reason}",
                                              {{"reason", unit.why().text}})));
    if (found->empty())
        found->push_back({{}, {}, 0, 0, kUnknownSpeed});
    for (const auto& descriptor : *found)
        descriptors.append(descriptor);
    return succeeded(LIBDRIVE2_NO_ERROR);
}

bool ScsiMMCDrive::setCDSpeed(std::uint8_t rotationControl, std::uint16_t readSpeed,
                              std::uint16_t writeSpeed) {
    return succeeded(
        perform(mmc::setCdSpeed(rotationControl, readSpeed, writeSpeed), {zel::marked("setting the speed")}));
}

bool ScsiMMCDrive::setStreamingPerformance(::scsi::mmc_performance_desc_t descriptor) {
    return succeeded(sendParameters(mmc::setStreaming(sizeof descriptor), &descriptor, sizeof descriptor,
                                    zel::marked("setting the speed")));
}

bool ScsiMMCDrive::setReadWriteSpeed(const zel_write_speed_desc_t& descriptor) {
    ::scsi::mmc_performance_desc_t streaming{};
    // Rotation control, restore defaults and exact stand at the same places in both; the lowest bit does not
    // mean the same.
    streaming.flags = descriptor.flags & 0x1E;
    streaming.endLba = descriptor.endLba;
    streaming.readSize = descriptor.readSpeed;
    streaming.writeSize = descriptor.writeSpeed;
    streaming.readTime = streaming.writeTime = toWire(kStreamingTimeMs);
    const auto rotationControl = static_cast<std::uint8_t>(descriptor.flags >> 3 & 0x03);
    if (descriptor.endLba != 0 && setStreamingPerformance(streaming))
        return true;
    // The end may be that of the medium before it was formatted.
    if (descriptor.endLba != 0 && !isOutOfReach(lastError) && m_sectors != 0 &&
        m_sectors <= fromWire(streaming.endLba)) {
        streaming.endLba = toWire(static_cast<std::uint32_t>(m_sectors - 1));
        if (setStreamingPerformance(streaming))
            return true;
    }
    const std::uint16_t readSpeed = descriptor.readSpeed != 0 ? cdSpeed(descriptor.readSpeed) : kHighestSpeed;
    if ((descriptor.endLba == 0 || !isOutOfReach(lastError)) &&
        setCDSpeed(rotationControl, readSpeed, cdSpeed(descriptor.writeSpeed)))
        return true;
    if (isOutOfReach(lastError))
        return false;
    zel::LogFactory::createLogger("libDrive2.ScsiMMCDrive")
        .line(3, "the drive refuses the speed and keeps to its own: ", getLastErrorStr());
    return succeeded(LIBDRIVE2_NO_ERROR);
}

void ScsiMMCDrive::restoreDefaultSpeed() {
    constexpr std::uint8_t kRestoreDefaults = 0x04;
    ::scsi::mmc_performance_desc_t streaming{};
    streaming.flags = kRestoreDefaults;
    (void)setStreamingPerformance(streaming);
}

zel::String ScsiMMCDrive::writeSpeedMultiplier(std::uint32_t kilobytesPerSecond) {
    const double single = mmc::mediaKind(getCurrentProfile()).kilobytesPerSecond;
    return zel::format("%.1f", single > 0 ? kilobytesPerSecond / single : 0.0);
}

}  // namespace libDrive2
