#pragma once

#include <array>
#include <span>
#include <vector>

#include "libDrive2/sim/optical/OpticalSpeeds.h"
#include "libDrive2/sim/optical/OpticalTracks.h"
#include "libDrive2/sim/optical/OpticalWriteParameters.h"

namespace libDrive2 {

class OpticalTray;

/// The mode pages of the drive: read/write error recovery (01h) and write parameters (05h), which can be
/// changed, and capabilities (2Ah).
class OpticalModePages {
public:
    using Page = std::vector<std::uint8_t>;
    using WriteType = OpticalWriteType;

    /// A strict drive takes no write parameters that do not fit the medium.
    explicit OpticalModePages(bool strict);
    /// Another medium brings back the defaults of the write parameters, blanking and formatting do not.
    void setMedium(const OpticalMediaType* type, bool isAnother);

    [[nodiscard]] OpticalWriteParameters parameters() const { return OpticalWriteParameters(m_write); }
    [[nodiscard]] WriteType writeType() const { return parameters().type; }
    [[nodiscard]] bool isTestWrite() const { return parameters().test; }
    /// Whether a session may follow the one that is closed next.
    [[nodiscard]] bool isMultiSession() const { return parameters().multiSession == 3; }

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

    bool m_strict;
    const OpticalMediaType* m_type = nullptr;
    WritePage m_write;
    ErrorPage m_error;
};

}  // namespace libDrive2
