#pragma once

#include <array>
#include <span>
#include <vector>

#include "libDrive2/sim/optical/OpticalSpeeds.h"
#include "libDrive2/sim/optical/OpticalTracks.h"

namespace libDrive2 {

class OpticalTray;

/// The mode pages of the drive: read/write error recovery (01h) and write parameters (05h), which can be
/// changed, and capabilities (2Ah).
class OpticalModePages {
public:
    using Page = std::vector<std::uint8_t>;
    enum class WriteType : std::uint8_t {
        incremental = 0,
        trackAtOnce = 1,
        sessionAtOnce = 2,
        layerJump = 4
    };

    OpticalModePages();
    /// Another medium brings back the defaults of the write parameters, blanking and formatting do not.
    void setMedium(const OpticalMediaType* type, bool isAnother);

    [[nodiscard]] WriteType writeType() const { return static_cast<WriteType>(m_write[2] & 0x0F); }
    [[nodiscard]] bool isTestWrite() const { return (m_write[2] & 0x10) != 0; }
    /// Whether a session may follow the one that is closed next.
    [[nodiscard]] bool isMultiSession() const { return m_write[3] >> 6 == 3; }

    /// The pages with this code (3Fh: all), of current (0), changeable (1) or default (2) values; empty when
    /// the drive has no such page.
    [[nodiscard]] Page sense(std::uint8_t code, std::uint8_t control, const OpticalSpeeds& speeds,
                             const OpticalTray& tray) const;
    /// Takes pages as MODE SELECT sends them, without header; all or none.
    OpticalRefusal select(std::span<const std::uint8_t> pages);

private:
    using WritePage = std::array<std::uint8_t, 52>;
    using ErrorPage = std::array<std::uint8_t, 12>;

    static WritePage defaultWritePage(const OpticalMediaType* type);
    static Page capabilities(const OpticalSpeeds& speeds, const OpticalTray& tray);
    [[nodiscard]] bool isWritePage(std::span<const std::uint8_t> page) const;

    const OpticalMediaType* m_type = nullptr;
    WritePage m_write;
    ErrorPage m_error;
};

}  // namespace libDrive2
