#pragma once

#include <cstdint>
#include <random>
#include <set>
#include <vector>

#include "ReadingOrder.h"
#include "libDrive2/DriveTypes.h"

namespace libDriveTest {

/// Reads a sample of a range in areas of a few MiB, within a given time: first both ends and the middle, then
/// pass after pass over the whole range. A pass cuts the range into strata of equal size, and takes one area
/// of each at random; it goes from the start to the end, so that the head moves little. Where the time
/// suffices for all of the range, all of it is read instead.
class SampleOrder : public ReadingOrder {
public:
    struct Plan {
        libDrive2::SectorSpan range;
        std::uint32_t areaSectors;   ///< at least 1
        std::uint32_t chunkSectors;  ///< read at once; at least 1
        zel::Clock::Duration time;   ///< zero: without end, which reads all
        std::uint64_t seed;
    };

    explicit SampleOrder(const Plan& plan);

    std::optional<Reading> next() override;
    void note(const Finding& finding) override;

    [[nodiscard]] std::uint64_t areas() const { return m_areas; }
    /// Areas drawn at random in passes that came to their end.
    [[nodiscard]] std::uint64_t samples() const { return m_samples; }
    /// Areas in which something cannot be read.
    [[nodiscard]] std::uint64_t badAreas() const { return m_badAreas.size(); }
    /// Every sector of the range was asked for.
    [[nodiscard]] bool isComplete() const { return m_isWhole && m_stage == Stage::done; }

private:
    enum class Stage : std::uint8_t { zones, pass, whole, done };

    void begin(libDrive2::SectorSpan span);
    void nextSpan();
    void planPass();
    void drawArea();
    [[nodiscard]] bool sufficesForAll() const;
    [[nodiscard]] std::uint64_t areaOf(std::uint64_t lba) const;

    Plan m_plan;
    std::uint64_t m_areas;
    std::mt19937_64 m_generator;
    Stage m_stage = Stage::zones;
    bool m_isWhole = false;

    std::vector<libDrive2::SectorSpan> m_zones;  ///< still to be read, the next one last
    std::uint64_t m_strata = 0;                  ///< of the present pass
    std::uint64_t m_stratum = 0;                 ///< the next one
    std::uint64_t m_at = 0;                      ///< in the present span
    std::uint64_t m_spanEnd = 0;
    Reading m_reading{0, 0};  ///< the one that was given last
    bool m_isOpen = false;    ///< it failed, and is to be read once more, sector by sector

    std::uint64_t m_samples = 0;
    std::set<std::uint64_t> m_badAreas;
    zel::Clock::Duration m_spent{0};
    zel::Clock::Duration m_passBegan{0};
    zel::Clock::Duration m_zoneTime{0};
    std::uint64_t m_zoneSectors = 0;
};

}  // namespace libDriveTest
