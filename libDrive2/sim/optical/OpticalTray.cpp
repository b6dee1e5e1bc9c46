#include "libDrive2/sim/optical/OpticalTray.h"

#include <chrono>

namespace libDrive2 {

namespace {

using namespace std::chrono_literals;

constexpr auto kTrayMotion = 1500ms;
constexpr auto kSpinUp = 3s;
/// How long a person takes to put a medium into a drive that does not load by command.
constexpr auto kByHand = 10s;

constexpr std::uint16_t kMediumMayHaveChanged = 0x2800;
constexpr SimSense kBecomingReady{0x2, 0x04, 0x01};
constexpr SimSense kNoMediumTrayClosed{0x2, 0x3A, 0x01};
constexpr SimSense kNoMediumTrayOpen{0x2, 0x3A, 0x02};
constexpr SimSense kRemovalPrevented{0x5, 0x53, 0x02};

}  // namespace

OpticalTray::OpticalTray(const SimOptions& options, SharedBlockHandle image)
    : m_options(options), m_image(std::move(image)) {
    takeNext();
    if (m_disc == nullptr)
        awaitHand();
}

void OpticalTray::awaitHand() {
    m_handAwaited = !hasTray();
    m_due = zel::Clock::current().now() + kByHand;
}

void OpticalTray::takeNext() {
    const auto& script = m_options.optical.script;
    if (m_next >= script.size())
        return;
    const OpticalMediaType* const type = script[m_next++];
    const bool isPressed = type != nullptr && type->writing == OpticalWriting::none;
    m_disc = type != nullptr
                 ? std::make_unique<OpticalDisc>(*type, m_options, isPressed ? m_image : SharedBlockHandle())
                 : nullptr;
}

void OpticalTray::insertNext() {
    takeNext();
    ++m_insertions;
    m_inside = true;
    m_open = false;
    m_spinningUp = m_disc != nullptr;
    m_due = zel::Clock::current().now() + kSpinUp;
}

void OpticalTray::update() {
    if (zel::Clock::current().now() < m_due)
        return;
    if (m_handAwaited) {
        m_handAwaited = false;
        insertNext();
        // An empty hand: it comes back, as long as the script says with what.
        if (m_disc == nullptr && m_next < m_options.optical.script.size())
            awaitHand();
    } else if (m_spinningUp) {
        m_spinningUp = false;
        m_unitAttention = kMediumMayHaveChanged;
        m_event = OpticalEvent::newMedium;
    }
}

OpticalRefusal OpticalTray::notReady() const {
    if (isReady())
        return std::nullopt;
    if (hasMedium())
        return kBecomingReady;
    return m_open ? kNoMediumTrayOpen : kNoMediumTrayClosed;
}

OpticalRefusal OpticalTray::eject(bool immediate) {
    if (m_prevented)
        return kRemovalPrevented;
    const bool isOut = m_open || (!m_inside && !hasTray());
    if (isOut)
        return std::nullopt;
    if (hasMedium()) {
        m_disc->endTest();
        m_disc->background().stop();
        m_event = OpticalEvent::mediumRemoved;
    }
    m_inside = false;
    m_open = hasTray();
    m_spinningUp = false;
    awaitHand();
    if (!immediate)
        zel::Clock::current().sleep(kTrayMotion);
    return std::nullopt;
}

OpticalRefusal OpticalTray::load(bool immediate) {
    if (!hasTray())
        return hasMedium() ? std::nullopt : OpticalRefusal(kInvalidField);
    if (hasMedium())
        return std::nullopt;
    if (!immediate)
        zel::Clock::current().sleep(kTrayMotion);
    insertNext();
    return std::nullopt;
}

}  // namespace libDrive2
