#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace drivetest {

/// Numbers as steps that widen with their value: 2^SubBits steps for each doubling, so that a step's upper
/// bound is off by at most 1 / 2^SubBits.
template <unsigned SubBits>
struct LogScale {
    static constexpr std::uint64_t kExact = std::uint64_t{1} << SubBits;  ///< smaller ones are their own step
    static constexpr std::size_t kSteps = (64 - SubBits + 1) << SubBits;

    static constexpr std::size_t stepOf(std::uint64_t value) {
        if (value < kExact)
            return value;
        const auto shift = static_cast<unsigned>(std::bit_width(value)) - SubBits - 1;
        return (std::size_t{shift} << SubBits) + (value >> shift);
    }

    /// Exclusive; at most the largest signed number.
    static constexpr std::int64_t upperBound(std::size_t step) {
        constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
        const std::size_t shift = step < kExact ? 0 : (step >> SubBits) - 1;
        const std::uint64_t bound = step - (std::uint64_t{shift} << SubBits) + 1;
        return static_cast<std::int64_t>(bound > kMost >> shift ? kMost : bound << shift);
    }
};

}  // namespace drivetest
