#pragma once

#include <memory>
#include <utility>

#include "libDrive2/sim/optical/OpticalDisc.h"
#include "zel/Clock.h"

namespace libDrive2 {

/// What the drive tells of its medium when it is asked for news (MMC-6, media class events).
enum class OpticalEvent : std::uint8_t { none = 0, newMedium = 2, mediumRemoved = 3 };

/// How media get into the drive and out of it. Every load takes the next medium of the script; the last one
/// stays the medium, with what was written to it. Time is zel::Clock's.
class OpticalTray {
public:
    OpticalTray(const SimOptions& options, SharedBlockHandle image);

    /// Lets happen what time has brought: a medium has become ready, or a hand has put one in.
    void update();

    /// Null unless a medium is in the drive and ready.
    [[nodiscard]] OpticalDisc* disc() const { return isReady() ? m_disc.get() : nullptr; }
    [[nodiscard]] bool isOpen() const { return m_open; }
    [[nodiscard]] bool hasTray() const { return m_options.optical.tray; }
    /// Counts the media that were put in.
    [[nodiscard]] unsigned insertions() const { return m_insertions; }
    [[nodiscard]] bool hasMedium() const { return m_inside && m_disc != nullptr; }
    /// Why there is no disc(); nothing when there is one.
    [[nodiscard]] OpticalRefusal notReady() const;

    OpticalRefusal eject(bool immediate);
    OpticalRefusal load(bool immediate);
    void prevent(bool prevented) { m_prevented = prevented; }
    [[nodiscard]] bool isPrevented() const { return m_prevented; }

    /// ASC and ASCQ of the unit attention that waits; 0 for none. Taking it ends it.
    [[nodiscard]] std::uint16_t unitAttention() const { return m_unitAttention; }
    void reportReset() { m_unitAttention = kReset; }
    std::uint16_t takeUnitAttention() { return std::exchange(m_unitAttention, std::uint16_t{0}); }
    OpticalEvent takeEvent() { return std::exchange(m_event, OpticalEvent::none); }

private:
    static constexpr std::uint16_t kReset = 0x2900;

    [[nodiscard]] bool isReady() const { return hasMedium() && !m_spinningUp; }
    void insertNext();
    void takeNext();
    void awaitHand();

    const SimOptions& m_options;
    SharedBlockHandle m_image;
    std::unique_ptr<OpticalDisc> m_disc;
    std::size_t m_next = 0;
    unsigned m_insertions = 1;
    zel::Clock::Duration m_due{0};  ///< when the medium is ready, or the hand puts one in
    std::uint16_t m_unitAttention = kReset;
    OpticalEvent m_event = OpticalEvent::none;
    bool m_inside = true;
    bool m_open = false;
    bool m_spinningUp = false;
    bool m_handAwaited = false;
    bool m_prevented = false;
};

}  // namespace libDrive2
