#include "libDrive2/drives/ScsiUnit.h"

#include <algorithm>

#include "libDrive2/commands/ScsiCommands.h"
#include "libDrive2/drives/UnitAttention.h"

namespace libDrive2 {

namespace {

constexpr std::uint16_t kInquiryAllocation = 36;  // as older bridges want it
constexpr std::uint16_t kPageAllocation = 252;
/// What devices are asked by other systems, too: some answer nothing else well.
constexpr std::uint8_t kModeAllocation = 192;
constexpr std::uint8_t kCapacity16Bytes = 32;
constexpr std::uint8_t kCapacity10Bytes = 8;

}  // namespace

scsi::Outcome ScsiUnit::execute(const ScsiRequest& request) {
    return executePast(News::ofUnit, m_device, request).outcome;
}

ScsiUnit::Readiness ScsiUnit::readiness() {
    constexpr std::uint8_t kNotReady = 0x04;
    constexpr std::uint8_t kNoMedium = 0x3A;
    const scsi::Outcome outcome = executePast(News::ofMedium, m_device, scsi::testUnitReady()).outcome;
    if (outcome.status.ok())
        return Readiness::ready;
    if (!outcome.sense || outcome.sense->key != scsi::kSenseNotReady)
        return Readiness::failed;
    if (outcome.sense->code == kNoMedium)
        return Readiness::noMedium;
    return outcome.sense->code == kNotReady && outcome.status.type == LIBDRIVE2_BUSY
               ? Readiness::becomingReady
               : Readiness::failed;
}

bool ScsiUnit::answers() {
    const DeviceStatus delivery = m_device.execute(scsi::testUnitReady()).delivery;
    return delivery.type != LIBDRIVE2_TIMEOUT && delivery.type != LIBDRIVE2_NO_ACCESS;
}

std::vector<std::uint8_t> ScsiUnit::ask(const ScsiRequest& request, std::size_t bytes, DeviceStatus* why) {
    std::vector<std::uint8_t> answer(bytes);
    const scsi::Outcome outcome =
        executePast(News::ofMedium, m_device, scsi::withData(request, answer.data(), answer.size())).outcome;
    if (why != nullptr)
        *why = outcome.status;
    answer.resize(outcome.status.ok() ? std::min(bytes, outcome.transferredBytes) : 0);
    return answer;
}

std::optional<scsi::Inquiry> ScsiUnit::inquiry(DeviceStatus* why) {
    return scsi::parseInquiry(ask(scsi::inquiry(kInquiryAllocation), kInquiryAllocation, why));
}

std::optional<scsi::Capacity> ScsiUnit::capacity(bool asksPhysicalSize, DeviceStatus& why) {
    auto small = scsi::parseCapacity10(ask(scsi::readCapacity10(), kCapacity10Bytes, &why));
    if (!small && why.ok())
        why = {LIBDRIVE2_DRIVE_ERROR, "the drive's answer about its capacity makes no sense"};
    const bool tooLarge = small && small->sectors == scsi::kCapacityTooLarge;
    if (!small || (!tooLarge && !asksPhysicalSize))
        return small;
    DeviceStatus whyNot;
    auto large =
        scsi::parseCapacity16(ask(scsi::readCapacity16(kCapacity16Bytes), kCapacity16Bytes, &whyNot));
    if (large || !tooLarge)
        return large && (tooLarge ||
                         (large->sectors == small->sectors && large->sectorBytes == small->sectorBytes))
                   ? large
                   : small;
    why = whyNot.ok() ? DeviceStatus{LIBDRIVE2_DRIVE_ERROR, "the drive does not tell its full capacity"}
                      : whyNot;
    return std::nullopt;
}

std::optional<scsi::ModeParameters> ScsiUnit::modeParameters() {
    auto parameters =
        scsi::parseModeSense6(ask(scsi::modeSense6(scsi::kModePageAll, kModeAllocation), kModeAllocation));
    if (!parameters)
        parameters = scsi::parseModeSense10(
            ask(scsi::modeSense10(scsi::kModePageAll, kModeAllocation), kModeAllocation));
    return parameters;
}

bool ScsiUnit::listsPage(std::uint8_t page) {
    const auto pages = scsi::parseSupportedPages(
        ask(scsi::vitalProductData(scsi::kPageSupportedPages, kPageAllocation), kPageAllocation));
    return pages && std::find(pages->begin(), pages->end(), page) != pages->end();
}

std::optional<scsi::BlockLimits> ScsiUnit::blockLimits() {
    if (!listsPage(scsi::kPageBlockLimits))
        return std::nullopt;
    return scsi::parseBlockLimits(
        ask(scsi::vitalProductData(scsi::kPageBlockLimits, kPageAllocation), kPageAllocation));
}

std::optional<double> ScsiUnit::temperature() {
    return scsi::parseTemperature(
        ask(scsi::logSense(scsi::kLogPageTemperature, kPageAllocation), kPageAllocation));
}

std::unique_ptr<TemperatureAccessor> scsiTemperature(const SharedScsiPassThrough& device) {
    return TemperatureAccessor::over([device] { return ScsiUnit(*device).temperature(); });
}

}  // namespace libDrive2
