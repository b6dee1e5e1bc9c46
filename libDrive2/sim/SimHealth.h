#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <set>
#include <vector>

#include "libDrive2/DriveHealth.h"

namespace libDrive2 {

/// What a simulated drive is to say of its health to begin with.
struct SimHealthOptions {
    bool predictsFailure = false;
    std::uint64_t reallocated = 0;
    std::uint64_t pending = 0;
    std::uint64_t crcErrors = 0;
    std::uint64_t sparePercent = 100;
    std::uint64_t wearPercent = 1;
    std::uint64_t hours = 1000;
    std::optional<std::uint64_t> hpaSectors;  ///< nothing: the drive has no such feature
    std::optional<std::uint64_t> dcoSectors;
    std::optional<std::uint64_t> inaccessibleSectors;
};

/// The health of a simulated drive: sectors that could not be read wait to be reallocated until they are
/// written; its own test takes its time on zel::Clock and finds the first bad sector.
class SimHealth {
public:
    static constexpr std::uint32_t kShortMinutes = 2;
    static constexpr std::uint32_t kExtendedMinutes = 60;

    SimHealth() = default;
    explicit SimHealth(SimHealthOptions options) : m_options(options) {}

    [[nodiscard]] const SimHealthOptions& options() const { return m_options; }
    [[nodiscard]] std::uint64_t reallocated() const { return m_options.reallocated + m_reallocated; }
    [[nodiscard]] std::uint64_t pending() const { return m_options.pending + m_pending.size(); }
    [[nodiscard]] std::uint64_t failedReads() const { return m_failedReads; }

    void meetUnreadable(std::uint64_t lba);
    void rewrite(std::uint64_t lba, std::uint64_t count);

    /// False while one runs.
    bool startSelfTest(SelfTestKind kind, std::optional<std::uint64_t> firstBad);
    /// False when none runs.
    bool abortSelfTest();
    /// Percent that is done; nothing when none runs.
    std::optional<unsigned> selfTestPercent();
    /// The newest first; without the one that runs.
    const std::vector<SelfTestEntry>& selfTests();
    [[nodiscard]] SelfTestKind runningKind() const { return m_running.kind; }

private:
    void settle();
    void end(SelfTestOutcome outcome);

    SimHealthOptions m_options{};
    std::set<std::uint64_t> m_pending;
    std::uint64_t m_reallocated = 0;
    std::uint64_t m_failedReads = 0;
    struct Running {
        bool isRunning = false;
        SelfTestKind kind = SelfTestKind::other;
        std::optional<std::uint64_t> firstBad{};
        std::chrono::nanoseconds since{};
        std::chrono::nanoseconds duration{};
    } m_running;
    std::vector<SelfTestEntry> m_tests;
};

}  // namespace libDrive2
