#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "drivetest/fleet/RateCurve.h"
#include "drivetest/fleet/RunResult.h"
#include "drivetest/fleet/TestHistory.h"
#include "drivetest/health/HealthChanges.h"
#include "drivetest/record/RecordedRun.h"

namespace drivetest {

/// What the newest run of a test shows that the one before did not.
struct Worsening {
    std::string test{};
    std::string before{};  ///< records
    std::string now{};
    std::uint64_t newBad = 0;            ///< sectors
    std::size_t slowerRegions = 0;       ///< by more than a fifth
    double slowestShare = 1;             ///< of its rate before, that is left of the one that lost most
    std::vector<HealthChange> health{};  ///< worse by the drive's own account
};

/// A drive by the newest run of each test on it.
struct FleetDrive {
    RecordedDrive drive{};
    std::string test{};  ///< whose result is the worst
    std::size_t result = 0;
    std::string record{};              ///< of that run
    std::string lastTime{};            ///< of the newest of all
    std::size_t runs = 0;              ///< older ones, too
    std::uint64_t badSectors = 0;      ///< the most that one of them found
    std::optional<double> readRate{};  ///< MB/s
    std::optional<std::int64_t> powerOnHours{};
    std::vector<Worsening> worse{};
    std::optional<RateCurve> rates{};
};

/// All drives of a folder of records, one after the other.
class Fleet {
public:
    void add(const std::vector<TestHistory>& histories);

    [[nodiscard]] const std::vector<FleetDrive>& drives() const { return m_drives; }
    [[nodiscard]] std::size_t runs() const { return m_runs; }
    /// Drives by their result.
    [[nodiscard]] std::array<std::size_t, kResults> results() const;

private:
    std::vector<FleetDrive> m_drives;
    std::size_t m_runs = 0;
};

}  // namespace drivetest
