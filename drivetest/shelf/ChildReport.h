#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "drivetest/run/Signals.h"

namespace drivetest {

/// Where a run is. Reports have these names.
enum class RunStage : std::uint8_t { preparing, testing, resting, ending };

/// How far a run is, as its process tells the one that has started it.
struct ChildReport {
    RunStage stage = RunStage::preparing;
    double share = 0;  ///< 0 to 1
    std::uint64_t bytes = 0;
    std::uint64_t visited = 0;
    std::optional<double> rate{};  ///< MB/s of the last seconds, and since the start
    std::optional<double> meanRate{};
    std::optional<double> secondsLeft{};
    std::optional<std::uint64_t> sector{};
    std::optional<std::int64_t> temperatureC{};
    std::uint64_t errors = 0;
    std::uint64_t warnings = 0;
    AtStake stake = AtStake::nothing;
    std::string journal{};  ///< its file; empty for none

    /// A line, with its end.
    [[nodiscard]] std::string toText() const;
    /// Nothing when the line, without its end, is no report.
    static std::optional<ChildReport> fromText(std::string_view line);

    /// Whether anything was done since that one.
    [[nodiscard]] bool isBeyond(const ChildReport& before) const;
};

}  // namespace drivetest
