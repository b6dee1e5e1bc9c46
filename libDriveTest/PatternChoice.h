#pragma once

#include <cstdint>

#include "zel/String.h"

namespace libDriveTest {

/// What LinearPatternTest writes, as its parameters have it.
struct PatternChoice {
    /// Of so many patterns that there are.
    static PatternChoice read(std::uint32_t most);

    /// Patterns, the sectors' addresses among them.
    [[nodiscard]] std::uint32_t count() const { return bytePatterns + (stampsAddresses ? 1 : 0); }

    zel::String refused{};        ///< the parameters that make no sense, "NAME:VALUE, NAME:VALUE"
    bool isCountRefused = false;  ///< there are not so many patterns, or none is wanted
    std::uint32_t bytePatterns = 0;
    bool isOverridden = false;
    std::uint8_t overrideByte = 0;  ///< the only pattern, where it is overridden
    bool verifiesOnly = false;
    bool stampsAddresses = false;
};

}  // namespace libDriveTest
