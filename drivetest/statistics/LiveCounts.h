#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cstdint>
#include <optional>
#include <vector>

namespace drivetest {

/// What is known of a stretch of the surface while a test runs, from best to worst.
enum class LiveOutcome : std::uint8_t { untouched, good, bad };

/// What other threads may read of a run's statistics while it goes on. Written by one thread; each value is
/// right by itself, not in relation to the others.
class LiveCounts {
public:
    /// A drive of so many sectors.
    explicit LiveCounts(std::uint64_t sectors) { begin(sectors); }

    void begin(std::uint64_t sectors) {
        const auto bits = static_cast<int>(std::bit_width(sectors == 0 ? 0 : sectors - 1));
        m_shift = static_cast<unsigned>(std::max(0, bits - kMostBits));
        m_stretches = sectors == 0 ? 0 : static_cast<std::size_t>((sectors - 1) >> m_shift) + 1;
        for (auto& outcome : m_outcomes)
            outcome.store(LiveOutcome::untouched, kRelaxed);
    }
    /// So many sectors of that size; 0 bytes for positions.
    void plan(std::uint64_t requested, std::uint32_t bytesOfEach) {
        m_bytesOfEach.store(bytesOfEach, kRelaxed);
        m_requested.store(requested, kRelaxed);
    }
    /// Of what was planned, each counted once, however many operations it takes.
    void visit(std::uint64_t visited) { m_visited.store(visited, kRelaxed); }
    /// An operation on so many sectors, at least one, that went well.
    void operation(std::uint64_t lba, std::uint64_t count) {
        m_position.store(lba, kRelaxed);
        mark(lba, count, LiveOutcome::good);
    }
    void transfer(std::uint64_t bytes, bool isWrite) {
        add(m_bytes, bytes);
        if (isWrite)
            add(m_written, bytes);
    }
    /// What an earlier part of the run moved.
    void restore(std::uint64_t read, std::uint64_t written) {
        m_bytes.store(read + written, kRelaxed);
        m_written.store(written, kRelaxed);
    }
    /// At least one sector.
    void restore(std::uint64_t lba, std::uint64_t count, LiveOutcome outcome) { mark(lba, count, outcome); }
    void condemn(std::uint64_t lba, std::uint64_t count) { mark(lba, count, LiveOutcome::bad); }

    [[nodiscard]] std::uint64_t bytes() const { return m_bytes.load(kRelaxed); }
    [[nodiscard]] std::uint64_t written() const { return m_written.load(kRelaxed); }
    [[nodiscard]] std::uint32_t bytesOfEach() const { return m_bytesOfEach.load(kRelaxed); }
    [[nodiscard]] std::uint64_t requested() const { return m_requested.load(kRelaxed); }
    [[nodiscard]] std::uint64_t visited() const { return m_visited.load(kRelaxed); }
    /// Where the last operation was that went well; nothing before.
    [[nodiscard]] std::optional<std::uint64_t> position() const {
        const std::uint64_t lba = m_position.load(kRelaxed);
        return lba == kNowhere ? std::nullopt : std::optional(lba);
    }
    /// The surface from its first sector to its last, in at most 128 stretches.
    [[nodiscard]] std::vector<LiveOutcome> surface() const;

private:
    static constexpr auto kRelaxed = std::memory_order_relaxed;
    static constexpr int kMostBits = 7;
    static constexpr std::uint64_t kNowhere = ~std::uint64_t{0};

    static void add(std::atomic<std::uint64_t>& sum, std::uint64_t count) {
        sum.store(sum.load(kRelaxed) + count, kRelaxed);
    }
    void mark(std::uint64_t lba, std::uint64_t count, LiveOutcome outcome) {
        const std::uint64_t last =
            std::min<std::uint64_t>((lba + count - 1) >> m_shift, m_outcomes.size() - 1);
        for (std::uint64_t i = lba >> m_shift; i <= last; ++i)
            if (m_outcomes[i].load(kRelaxed) < outcome)
                m_outcomes[i].store(outcome, kRelaxed);
    }

    unsigned m_shift = 0;
    std::atomic<std::size_t> m_stretches{0};
    std::array<std::atomic<LiveOutcome>, 1U << kMostBits> m_outcomes{};
    std::atomic<std::uint64_t> m_bytes{0};
    std::atomic<std::uint64_t> m_written{0};
    std::atomic<std::uint32_t> m_bytesOfEach{0};
    std::atomic<std::uint64_t> m_requested{0};
    std::atomic<std::uint64_t> m_visited{0};
    std::atomic<std::uint64_t> m_position{kNowhere};
};

}  // namespace drivetest
