#pragma once

#include <cstdint>

#include "libDrive2/sim/optical/OpticalMedia.h"

namespace libDrive2 {

/// Where the sectors lie that a medium takes one after the other: position 0 is recorded first. Recording
/// that jumps between two layers takes a stretch of the lower one, then the stretch above it, and so on. As
/// the upper layer runs back from the rim to the hub, its addresses go on behind those of the lower one: each
/// stretch of it lies in front of the one before.
class OpticalLayers {
public:
    /// Media of other kinds are recorded straight on: positions are addresses.
    OpticalLayers(const OpticalMediaType& type, std::uint32_t capacity);

    [[nodiscard]] std::uint32_t addressOf(std::uint32_t position) const;
    [[nodiscard]] std::uint32_t positionOf(std::uint32_t address) const;
    /// How many sectors from a position on have addresses that follow each other.
    [[nodiscard]] std::uint32_t sectorsToJump(std::uint32_t position) const;
    /// Behind the highest address of all positions before this one.
    [[nodiscard]] std::uint32_t endOf(std::uint32_t position) const;

private:
    /// Of the position: where the stretch that it belongs to begins on the lower layer, and its size there.
    struct Stretch {
        std::uint32_t base;
        std::uint32_t size;
    };
    [[nodiscard]] Stretch stretchAt(std::uint32_t lowerAddress) const;

    std::uint32_t m_layer = 0;     ///< sectors of one layer
    std::uint32_t m_interval = 0;  ///< sectors between jumps; 0 never jumps
};

}  // namespace libDrive2
