#include "libDrive2/health/AtaHealth.h"

namespace libDrive2 {

namespace {

constexpr std::uint32_t kQuickCommandMs = 10000;

/// What vendors agree upon. Further bytes of a raw value hold other things in ways of each vendor's own.
struct Meaning {
    std::uint8_t id;
    DriveHealth::Number DriveHealth::*number;
    std::uint64_t bits;
};
constexpr Meaning kMeanings[] = {
    {5, &DriveHealth::reallocatedSectors, 0xFFFFFFFF}, {9, &DriveHealth::powerOnHours, 0xFFFFFF},
    {12, &DriveHealth::powerCycles, 0xFFFFFFFF},       {187, &DriveHealth::mediaErrors, 0xFFFF},
    {197, &DriveHealth::pendingSectors, 0xFFFFFFFF},   {198, &DriveHealth::uncorrectableSectors, 0xFFFFFFFF},
    {199, &DriveHealth::crcErrors, 0xFFFFFFFF},
};

/// How many sectors lie beyond the last one; nothing when the answer contradicts the drive's size.
std::optional<std::uint64_t> beyond(std::optional<std::uint64_t> lastLba, std::uint64_t sectors) {
    if (!lastLba || *lastLba + 1 < sectors)
        return std::nullopt;
    return *lastLba + 1 - sectors;
}

}  // namespace

void takeAttributeMeanings(DriveHealth& health) {
    for (const SmartAttribute& attribute : health.attributes)
        for (const Meaning& meaning : kMeanings)
            if (attribute.id == meaning.id)
                health.*meaning.number = static_cast<std::int64_t>(attribute.raw & meaning.bits);
}

AtaHealth::AtaHealth(SharedAtaDevice device) : m_device(std::move(device)) {
    Answer answer{};
    if (ask(ata::identifyDevice(), answer).ok())
        m_identity = ata::parseIdentity(answer);
}

AtaResponse AtaHealth::execute(AtaRequest request) {
    AtaResponse response;
    response.delivery = m_lost;
    if (!m_lost.ok())
        return response;
    request.timeoutMs = kQuickCommandMs;
    response = m_device->execute(request);
    if (response.delivery.type == LIBDRIVE2_TIMEOUT || response.delivery.type == LIBDRIVE2_NO_ACCESS)
        m_lost = response.delivery;
    return response;
}

DeviceStatus AtaHealth::ask(const AtaRequest& request, Answer& answer) {
    answer.fill(0);
    return ata::statusOf(execute(ata::withData(request, answer.data(), answer.size())));
}

std::optional<std::uint64_t> AtaHealth::askAddress(const AtaRequest& request) {
    const AtaResponse response = execute(request);
    // Bridges that return no registers leave 0.
    return ata::statusOf(response).ok() && response.lba != 0 ? std::optional(response.lba) : std::nullopt;
}

DriveHealth AtaHealth::read() {
    DriveHealth health;
    if (!m_identity)
        return health;
    if (m_identity->smart) {
        Answer data{};
        Answer thresholds{};
        health.predictsFailure = ata::parseReturnStatus(execute(ata::smartReturnStatus()));
        if (ask(ata::smartReadData(), data).ok()) {
            const bool hasThresholds = ask(ata::smartReadThresholds(), thresholds).ok();
            health.attributes = ata::parseAttributes(data, hasThresholds ? Bytes(thresholds) : Bytes());
            if (const auto celsius = ata::parseSmartTemperature(data))
                health.temperatureC = static_cast<std::int64_t>(*celsius);
        }
        takeAttributeMeanings(health);
        if (Answer log{}; ask(ata::smartReadSelfTestLog(), log).ok())
            health.selfTests = ata::parseSelfTestLog(log);
    }
    health.hidden = AtaHealth::readHiddenAreas();
    return health;
}

std::optional<std::int64_t> AtaHealth::readTemperature() {
    Answer data{};
    if (!m_identity || !m_identity->smart || !ask(ata::smartReadData(), data).ok())
        return std::nullopt;
    const auto celsius = ata::parseSmartTemperature(data);
    return celsius ? std::optional(static_cast<std::int64_t>(*celsius)) : std::nullopt;
}

HiddenAreas AtaHealth::readHiddenAreas() {
    HiddenAreas hidden;
    if (!m_identity || !m_identity->extended || m_identity->sectors == 0)
        return hidden;
    const std::uint64_t sectors = m_identity->sectors;
    std::uint64_t native = sectors;
    if (m_identity->areas.hostProtected) {
        hidden.hpaSectors = beyond(askAddress(ata::readNativeMaxAddress()), sectors);
        native += hidden.hpaSectors.value_or(0);
    }
    if (Answer answer{};
        m_identity->areas.configurationOverlay && ask(ata::deviceConfigurationIdentify(), answer).ok())
        hidden.dcoSectors = beyond(ata::parseConfiguredMaxAddress(answer), native);
    if (m_identity->areas.accessibleMaxAddress)
        hidden.inaccessibleSectors = beyond(askAddress(ata::getAccessibleMaxAddress()), sectors);
    return hidden;
}

DeviceStatus AtaHealth::startSelfTest(SelfTestKind kind) {
    return ata::statusOf(execute(ata::smartStartSelfTest(kind)));
}

DeviceStatus AtaHealth::abortSelfTest() {
    return ata::statusOf(execute(ata::smartAbortSelfTest()));
}

SelfTestState AtaHealth::selfTestState() {
    SelfTestState state;
    Answer answer{};
    state.status = ask(ata::smartReadData(), answer);
    if (!state.status.ok())
        return state;
    const auto told = ata::parseSmartSelfTest(answer);
    if (!told) {
        state.status = {LIBDRIVE2_DRIVE_ERROR,
                        zel::worded("the drive's answer about its health makes no sense")};
        return state;
    }
    state.isRunning = told->outcome == SelfTestOutcome::running;
    if (state.isRunning)
        state.percent = 100 - told->percentLeft;
    if (ask(ata::smartReadSelfTestLog(), answer).ok())
        if (const auto entries = ata::parseSelfTestLog(answer); !entries.empty())
            state.newest = entries.front();
    return state;
}

std::optional<std::uint32_t> AtaHealth::selfTestMinutes(SelfTestKind kind) {
    Answer answer{};
    if (!ask(ata::smartReadData(), answer).ok())
        return std::nullopt;
    const auto told = ata::parseSmartSelfTest(answer);
    const std::uint32_t minutes = !told                             ? 0
                                  : kind == SelfTestKind::shortTest ? told->shortMinutes
                                                                    : told->extendedMinutes;
    return minutes != 0 ? std::optional(minutes) : std::nullopt;
}

}  // namespace libDrive2
