#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "drivetest/shelf/links/LinkSharing.h"
#include "drivetest/shelf/links/SharedLink.h"
#include "zel/Clock.h"

namespace drivetest {

/// Which drives of a shelf may start, so that none is slowed by the others.
///
/// A link that drives share carries so much. Drives on one that are tested one after the other or side by
/// side end in the same time; but a rate is a drive's own only as long as the link is not exceeded. So drives
/// start one by one: each is measured in its first seconds, while the link has room, and further ones wait as
/// soon as the sum of the rates would exceed what the link carries. What that is, the system tells; where it
/// does not, or tells too much, it is learned from a start that slows the drives beside it. Drives without a
/// common link start at once.
///
/// Drives are numbers from 0 on. One thread at a time.
class Admission {
public:
    struct Drive {
        std::vector<SharedLink> links{};
        std::uint64_t bytes = 0;  ///< that it will move, for the order; 0 where that is not known
        double expected = 0;      ///< MB/s that drives of its kind have, until it is measured; 0: not known
    };
    /// What became of a link that several drives share.
    struct LinkUse {
        SharedLink link;  ///< with what it was seen to carry, where it is not known otherwise
        std::size_t drives = 0;
        std::size_t mostAtOnce = 0;
        double moved = 0;     ///< MB/s, the most that its drives were measured to move together
        bool isFull = false;  ///< drives had to wait for it
    };

    /// `jobs`: drives at once; 0 for as many as the links carry.
    explicit Admission(const std::vector<Drive>& drives, std::size_t jobs = 0);

    /// Whether it should be started now. To be asked again after each start, measurement and end.
    [[nodiscard]] bool mayStart(std::size_t drive);
    void started(std::size_t drive);
    /// What a drive moves now, in MB/s of 1,048,576 bytes; 0 of one that stands still, but not while it
    /// rests. Of all drives that run, now and then.
    void measured(std::size_t drive, double megabytesPerSecond);
    /// It ended, or will not be started at all.
    void ended(std::size_t drive);

    [[nodiscard]] std::vector<LinkUse> uses() const;
    /// The same of the links of one drive.
    [[nodiscard]] std::vector<LinkUse> usesBy(std::size_t drive) const;

private:
    enum class Phase : std::uint8_t { waiting, running, ended };
    struct State {
        std::vector<std::size_t> links{};
        double megabytes = 0;
        double expected = 0;
        Phase phase = Phase::waiting;
        std::optional<double> own{};  ///< MB/s when nothing slows it
        double latest = 0;
        unsigned measurements = 0;
        zel::Clock::Duration since{};
        std::vector<double> latestBefore{};  ///< of all drives, when it started
    };
    struct Link {
        LinkUse use;
        std::size_t running = 0;
    };

    std::size_t indexOf(const SharedLink& link);
    [[nodiscard]] bool hasRoom(const State& drive) const;
    [[nodiscard]] bool isUnmeasured(const State& drive) const;
    [[nodiscard]] double estimateOf(const State& drive) const;
    [[nodiscard]] double loadOf(std::size_t link) const;
    [[nodiscard]] double latestOf(std::size_t link) const;
    [[nodiscard]] bool share(const State& a, const State& b) const;
    void learn(const State& drive);
    [[nodiscard]] bool isSlowedBy(const State& drive, std::size_t link) const;
    void arrange();

    std::vector<State> m_drives;
    std::vector<Link> m_links;
    std::map<std::string, std::size_t> m_byId;
    std::size_t m_jobs;
    std::size_t m_running = 0;
    std::vector<std::size_t> m_order;  ///< of those that wait
    bool m_isArranged = false;
};

/// In whole numbers, for people and records.
LinkSharing sharingOf(const Admission::LinkUse& use);

}  // namespace drivetest
