#pragma once

#include <optional>
#include <string>
#include <vector>

#include "drivetest/health/HealthCounters.h"
#include "drivetest/health/HealthReading.h"

namespace drivetest {

/// A number that is another one after the run.
struct HealthChange {
    const HealthCounter* counter;
    std::int64_t before;
    std::int64_t after;
};

/// What two readings of a drive's health say together. It goes beside the verdict of a test, not into it.
struct HealthFindings {
    bool predictsFailure = false;         ///< before or after
    std::vector<HealthChange> worse{};    ///< damage that grew, reserves that shrank
    std::vector<HealthChange> changed{};  ///< all others but the limits
    /// Of the latest reading: attributes at or below the limit that the vendor sets.
    std::vector<libDrive2::SmartAttribute> belowThreshold{};
    bool isSpareLow = false;
    /// The newest self-test that came to an end failed.
    std::optional<libDrive2::SelfTestEntry> failedSelfTest{};
    libDrive2::HiddenAreas hidden{};  ///< only areas with sectors

    [[nodiscard]] bool hasWarnings() const;
};

/// Either may be missing. Numbers are compared only when both were read in the same way.
HealthFindings changes(const std::optional<HealthReading>& before, const std::optional<HealthReading>& after);

/// A sentence for each reason to worry, in the language of the texts.
std::vector<std::string> healthWarnings(const HealthFindings& findings);

/// What hardly anybody worries about but wants to see, in one line: "0 reallocated sectors, …, 38 °C"; empty
/// when the drive tells nothing of it.
std::string healthLine(const libDrive2::DriveHealth& health);

/// The lines of a run's summary: what the drive says of itself, what changed, and why to worry. Empty where
/// nothing was told.
std::vector<std::string> healthSummary(const std::optional<HealthReading>& before,
                                       const std::optional<HealthReading>& after);

/// "smartctl did not tell …"; empty when it did, or was not asked.
std::string problemText(const HealthReading& reading);

/// "Temperature: 38 °C -> 41 °C"
std::string changeText(const HealthChange& change);

}  // namespace drivetest
