#include "libDrive2/drives/MmcUnit.h"

#include <algorithm>

#include "libDrive2/commands/ScsiCommands.h"
#include "libDrive2/drives/UnitAttention.h"

namespace libDrive2 {

namespace {

constexpr std::uint16_t kConfigurationAllocation = 512;
constexpr std::uint16_t kDiscAllocation = 34;
constexpr std::uint16_t kTrackAllocation = 48;
constexpr std::uint16_t kTocAllocation = 4 + 100 * 8;
constexpr std::uint16_t kCapacitiesAllocation = 252;
constexpr std::uint16_t kEventAllocation = 8;
constexpr std::uint16_t kStructureAllocation = 8;
constexpr std::uint16_t kModeAllocation = 192;
constexpr std::uint16_t kPerformanceHeaderBytes = 8;
constexpr std::uint16_t kPerformanceBytes = 16;
constexpr std::uint16_t kMaxSpeeds = 64;

}  // namespace

std::vector<std::uint8_t> MmcUnit::ask(const ScsiRequest& request, std::size_t bytes) {
    std::vector<std::uint8_t> answer(bytes);
    const scsi::Outcome outcome =
        executePast(News::ofMedium, m_device, scsi::withData(request, answer.data(), answer.size())).outcome;
    m_why = outcome.status;
    answer.resize(outcome.status.ok() ? std::min(bytes, outcome.transferredBytes) : 0);
    return answer;
}

template <class Answer>
std::optional<Answer> MmcUnit::understood(std::optional<Answer> answer) {
    if (!answer && m_why.ok())
        m_why = {LIBDRIVE2_DRIVE_ERROR, "the drive's answer makes no sense"};
    return answer;
}

_MMC_PROFILES MmcUnit::currentProfile() {
    const auto answer = ask(mmc::getConfiguration(mmc::kFeatureProfileList, kConfigurationAllocation),
                            kConfigurationAllocation);
    return static_cast<_MMC_PROFILES>(understood(mmc::parseCurrentProfile(answer)).value_or(kProfileNone));
}

std::optional<mmc::Feature> MmcUnit::feature(std::uint16_t number) {
    const auto answer =
        ask(mmc::getConfiguration(number, kConfigurationAllocation), kConfigurationAllocation);
    return mmc::parseFeature(answer, number);
}

std::optional<mmc::DiscInformation> MmcUnit::discInformation() {
    return understood(
        mmc::parseDiscInformation(ask(mmc::readDiscInformation(kDiscAllocation), kDiscAllocation)));
}

std::optional<mmc::TrackInformation> MmcUnit::trackInformation(mmc::TrackAddress kind,
                                                               std::uint32_t address) {
    return understood(mmc::parseTrackInformation(
        ask(mmc::readTrackInformation(kind, address, kTrackAllocation), kTrackAllocation)));
}

std::optional<mmc::TrackInformation> MmcUnit::writableTrack() {
    const auto disc = discInformation();
    const auto last =
        disc ? trackInformation(mmc::TrackAddress::track, std::max<std::uint32_t>(disc->lastTrack, 1))
             : std::nullopt;
    if (last && last->nextWritable)
        return last;
    const auto invisible = trackInformation(mmc::TrackAddress::track, mmc::kInvisibleTrack);
    return invisible && invisible->nextWritable ? invisible : std::nullopt;
}

std::vector<mmc::TocTrack> MmcUnit::tracks() {
    return understood(mmc::parseToc(ask(mmc::readToc(0, kTocAllocation), kTocAllocation)))
        .value_or(std::vector<mmc::TocTrack>());
}

std::optional<mmc::FormatCapacities> MmcUnit::formatCapacities() {
    return understood(mmc::parseFormatCapacities(
        ask(mmc::readFormatCapacities(kCapacitiesAllocation), kCapacitiesAllocation)));
}

std::optional<mmc::MediaEvent> MmcUnit::mediaEvent() {
    return understood(mmc::parseMediaEvent(ask(mmc::getMediaEvent(kEventAllocation), kEventAllocation)));
}

bool MmcUnit::isWriteProtected(bool isBluRay) {
    const auto answer = ask(mmc::readWriteProtection(isBluRay, kStructureAllocation), kStructureAllocation);
    return mmc::parseWriteProtection(answer).value_or(false);
}

std::optional<std::vector<std::uint8_t>> MmcUnit::writeParameters() {
    return understood(mmc::findWriteParameters(
        ask(scsi::modeSense10(mmc::kModePageWriteParameters, kModeAllocation), kModeAllocation)));
}

std::optional<std::vector<::scsi::mmc_performance_nom_desc_t>> MmcUnit::nominalPerformance(
    bool writing, std::uint16_t maximum) {
    const auto answer = ask(mmc::getNominalPerformance(writing, maximum),
                            kPerformanceHeaderBytes + std::size_t{maximum} * kPerformanceBytes);
    return understood(mmc::parseNominalPerformance(answer, writing, maximum));
}

std::optional<std::vector<zel_write_speed_desc_t>> MmcUnit::writeSpeeds() {
    const auto answer = ask(mmc::getWriteSpeeds(kMaxSpeeds),
                            kPerformanceHeaderBytes + std::size_t{kMaxSpeeds} * kPerformanceBytes);
    return understood(mmc::parseWriteSpeeds(answer, kMaxSpeeds));
}

std::optional<std::vector<zel_write_speed_desc_t>> MmcUnit::listedWriteSpeeds() {
    const auto answer = ask(scsi::modeSense10(mmc::kModePageCapabilities, kModeAllocation), kModeAllocation);
    return understood(mmc::parseListedWriteSpeeds(answer));
}

MmcUnit::Progress MmcUnit::progress() {
    const auto [response, outcome] = executePast(News::ofMedium, m_device, scsi::testUnitReady());
    // Some drives are ready while they still write or close, and do not tell of the medium until they are
    // done.
    if (outcome.status.ok() && !discInformation() &&
        (m_why.type == LIBDRIVE2_BUSY || m_why.type == LIBDRIVE2_NO_ACCESS))
        return {m_why.type == LIBDRIVE2_BUSY, m_why, std::nullopt};
    if (outcome.status.type != LIBDRIVE2_BUSY)
        return {false, outcome.status, std::nullopt};
    return {true, outcome.status, mmc::parseProgress(scsi::senseOf(response)), !outcome.sense};
}

}  // namespace libDrive2
