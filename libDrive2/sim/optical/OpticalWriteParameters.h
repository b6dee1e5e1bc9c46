#pragma once

#include <cstdint>
#include <span>

#include "libDrive2/sim/optical/OpticalMedia.h"

namespace libDrive2 {

enum class OpticalWriteType : std::uint8_t {
    incremental = 0,
    trackAtOnce = 1,
    sessionAtOnce = 2,
    layerJump = 4
};

/// How the host wants to record (MMC-6, write parameters page).
struct OpticalWriteParameters {
    /// The page as MODE SELECT sends it, all 52 bytes.
    explicit OpticalWriteParameters(std::span<const std::uint8_t> page);

    /// Whether a strict drive takes such parameters for a medium.
    [[nodiscard]] bool areLegal(const OpticalMediaType& medium) const;
    /// Whether the medium can be recorded so as it is.
    [[nodiscard]] bool suit(const OpticalMediaType& medium) const;

    OpticalWriteType type;
    bool test;
    bool linkSizeGiven;
    bool fixedPackets;
    std::uint8_t multiSession;
    std::uint8_t trackMode;
    std::uint8_t blockType;
    std::uint8_t linkSize;
    std::uint32_t packetSectors;

private:
    [[nodiscard]] bool areLegalForCd(bool inFixedPackets, bool rewritable) const;
    [[nodiscard]] bool areLegalForDvd(bool jumpsLayers) const;
};

}  // namespace libDrive2
