#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace drivetest {

/// What the drive told of itself at one moment. Each is there only where the drive told it.
struct RecordedHealth {
    std::string source{};
    std::string problem{};  ///< why there is nothing else; empty for none
    std::optional<bool> predictsFailure{};
    std::optional<std::uint64_t> reallocatedSectors{};
    std::optional<std::uint64_t> pendingSectors{};
    std::optional<std::uint64_t> uncorrectableSectors{};
    std::optional<std::uint64_t> crcErrors{};
    std::optional<std::uint64_t> mediaErrors{};
    std::optional<std::uint64_t> spareLeft{};       ///< percent
    std::optional<std::uint64_t> spareThreshold{};  ///< percent
    std::optional<std::uint64_t> wear{};            ///< percent
    std::optional<std::uint64_t> temperature{};     ///< degrees Celsius
    std::optional<std::uint64_t> powerOnHours{};
    std::optional<std::uint64_t> powerCycles{};
    std::optional<std::uint64_t> bytesWritten{};
};

/// Before and after the run.
struct RecordedHealths {
    std::optional<RecordedHealth> before{};
    std::optional<RecordedHealth> after{};
};

}  // namespace drivetest
