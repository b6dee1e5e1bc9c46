#include "libDrive2/health/NVMeHealth.h"

#include <array>

#include "libDrive2/commands/NVMeCommands.h"
#include "libDrive2/commands/NVMeHealth.h"

namespace libDrive2 {

namespace {

constexpr std::uint32_t kQuickCommandMs = 10000;

template <std::size_t Bytes>
DeviceStatus ask(NVMeDevice& device, const NVMeCommand& command, std::array<std::uint8_t, Bytes>& answer) {
    NVMeCommand sent = nvme::withData(command, answer.data(), answer.size());
    sent.timeoutMs = kQuickCommandMs;
    return nvme::statusOf(device.execute(sent));
}

DeviceStatus notSupported() {
    return {LIBDRIVE2_NOT_SUPPORTED, zel::worded("the drive cannot test itself")};
}

}  // namespace

NVMeHealth::NVMeHealth(SharedNVMeDevice device) : m_device(std::move(device)) {
    std::array<std::uint8_t, nvme::kIdentifyBytes> answer{};
    if (!ask(*m_device, nvme::identifyController(), answer).ok())
        return;
    const auto controller = nvme::parseController(answer);
    m_testsItself = controller && controller->testsItself;
}

DriveHealth NVMeHealth::read() {
    DriveHealth health;
    if (std::array<std::uint8_t, nvme::kHealthLogBytes> answer{};
        ask(*m_device, nvme::healthLog(), answer).ok())
        health = nvme::parseHealthLog(answer);
    if (std::array<std::uint8_t, nvme::kSelfTestLogBytes> answer{};
        m_testsItself && ask(*m_device, nvme::selfTestLog(), answer).ok())
        if (const auto log = nvme::parseSelfTestLog(answer))
            health.selfTests = log->entries;
    return health;
}

std::optional<std::int64_t> NVMeHealth::readTemperature() {
    std::array<std::uint8_t, nvme::kHealthLogBytes> answer{};
    return ask(*m_device, nvme::healthLog(), answer).ok() ? nvme::parseHealthLog(answer).temperatureC
                                                          : std::nullopt;
}

DeviceStatus NVMeHealth::startSelfTest(SelfTestKind kind) {
    if (!m_testsItself)
        return notSupported();
    return nvme::statusOf(m_device->execute(nvme::startSelfTest(m_device->namespaceId(), kind)));
}

DeviceStatus NVMeHealth::abortSelfTest() {
    if (!m_testsItself)
        return notSupported();
    return nvme::statusOf(m_device->execute(nvme::abortSelfTest(m_device->namespaceId())));
}

SelfTestState NVMeHealth::selfTestState() {
    SelfTestState state;
    if (!m_testsItself) {
        state.status = notSupported();
        return state;
    }
    std::array<std::uint8_t, nvme::kSelfTestLogBytes> answer{};
    state.status = ask(*m_device, nvme::selfTestLog(), answer);
    const auto log = state.status.ok() ? nvme::parseSelfTestLog(answer) : std::nullopt;
    if (!log)
        return state;
    state.isRunning = log->isRunning;
    if (log->isRunning)
        state.percent = log->percent;
    if (!log->entries.empty())
        state.newest = log->entries.front();
    return state;
}

}  // namespace libDrive2
