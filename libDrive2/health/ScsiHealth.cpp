#include "libDrive2/health/ScsiHealth.h"

#include <algorithm>

#include "libDrive2/commands/ScsiAnswers.h"
#include "libDrive2/commands/ScsiCommands.h"
#include "libDrive2/commands/ScsiLogs.h"
#include "libDrive2/drives/UnitAttention.h"

namespace libDrive2 {

namespace {

constexpr std::uint16_t kListAllocation = 252;
/// Twenty self-tests take 404 bytes, the other pages less.
constexpr std::uint16_t kPageAllocation = 1024;
constexpr std::uint8_t kDefectHeaderBytes = 8;
constexpr std::uint8_t kSenseAllocation = 252;
constexpr std::uint32_t kQuickCommandMs = 10000;

DriveHealth::Number number(std::optional<std::uint64_t> told) {
    constexpr std::uint64_t kMost = std::uint64_t{1} << 62;
    return told ? std::optional(static_cast<std::int64_t>(std::min(*told, kMost))) : std::nullopt;
}

/// The sum of what is known.
std::optional<std::uint64_t> sum(std::optional<std::uint64_t> a, std::optional<std::uint64_t> b) {
    constexpr std::uint64_t kMost = std::uint64_t{1} << 62;
    if (!a || !b)
        return a ? a : b;
    return std::min(*a, kMost) + std::min(*b, kMost);
}

}  // namespace

ScsiHealth::ScsiHealth(SharedScsiPassThrough device) : m_device(std::move(device)) {
    m_pages = scsi::parseSupportedLogPages(
        ask(scsi::logSense(scsi::kLogPageSupported, kListAllocation), kListAllocation));
}

std::vector<std::uint8_t> ScsiHealth::ask(const ScsiRequest& request, std::size_t bytes, DeviceStatus* why) {
    if (!m_lost.ok()) {
        if (why != nullptr)
            *why = m_lost;
        return {};
    }
    std::vector<std::uint8_t> answer(bytes);
    ScsiRequest sent = scsi::withData(request, answer.data(), answer.size());
    sent.timeoutMs = kQuickCommandMs;
    const scsi::Outcome outcome = executePast(News::ofUnit, *m_device, sent).outcome;
    if (outcome.status.type == LIBDRIVE2_TIMEOUT || outcome.status.type == LIBDRIVE2_NO_ACCESS)
        m_lost = outcome.status;
    if (why != nullptr)
        *why = outcome.status;
    answer.resize(outcome.status.ok() ? std::min(bytes, outcome.transferredBytes) : 0);
    return answer;
}

std::vector<std::uint8_t> ScsiHealth::page(std::uint8_t code) {
    if (std::ranges::find(m_pages, code) == m_pages.end())
        return {};
    return ask(scsi::logSense(code, kPageAllocation), kPageAllocation);
}

DriveHealth ScsiHealth::read() {
    DriveHealth health;
    // A unit without log pages keeps no lists of its life either; some bridges stumble over what they do not
    // know.
    if (m_pages.empty())
        return health;
    health.predictsFailure = scsi::parseInformationalExceptions(page(scsi::kLogPageInformationalExceptions));
    health.mediaErrors =
        number(sum(scsi::parseUncorrectedErrors(page(scsi::kLogPageWriteErrors), scsi::kLogPageWriteErrors),
                   scsi::parseUncorrectedErrors(page(scsi::kLogPageReadErrors), scsi::kLogPageReadErrors)));
    if (const auto celsius = scsi::parseTemperature(page(scsi::kLogPageTemperature)))
        health.temperatureC = static_cast<std::int64_t>(*celsius);
    health.wearPercent = number(scsi::parseEnduranceUsed(page(scsi::kLogPageSolidState)));
    if (const auto minutes = scsi::parsePowerOnMinutes(page(scsi::kLogPageBackgroundScan)))
        health.powerOnHours = number(*minutes / 60);
    health.selfTests = scsi::parseSelfTestResults(page(scsi::kLogPageSelfTests));
    health.reallocatedSectors =
        number(scsi::parseDefectCount(ask(scsi::readGrownDefects(kDefectHeaderBytes), kDefectHeaderBytes)));
    return health;
}

std::optional<std::int64_t> ScsiHealth::readTemperature() {
    const auto celsius = scsi::parseTemperature(page(scsi::kLogPageTemperature));
    return celsius ? std::optional(static_cast<std::int64_t>(*celsius)) : std::nullopt;
}

DeviceStatus ScsiHealth::startSelfTest(SelfTestKind kind) {
    return executePast(News::ofUnit, *m_device, scsi::startSelfTest(kind)).outcome.status;
}

DeviceStatus ScsiHealth::abortSelfTest() {
    return executePast(News::ofUnit, *m_device, scsi::abortSelfTest()).outcome.status;
}

SelfTestState ScsiHealth::selfTestState() {
    SelfTestState state;
    const auto entries = scsi::parseSelfTestResults(
        ask(scsi::logSense(scsi::kLogPageSelfTests, kPageAllocation), kPageAllocation, &state.status));
    if (entries.empty())
        return state;
    state.newest = entries.front();
    state.isRunning = state.newest->outcome == SelfTestOutcome::running;
    if (state.isRunning)
        state.percent = scsi::parseProgress(ask(scsi::requestSense(kSenseAllocation), kSenseAllocation));
    return state;
}

}  // namespace libDrive2
