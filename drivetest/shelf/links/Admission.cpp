#include "drivetest/shelf/links/Admission.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "drivetest/shelf/links/StartOrder.h"

namespace drivetest {

namespace {

/// A drive that nobody told a rate of holds the others up no longer.
constexpr std::chrono::seconds kLongestMeasuring{20};
/// Drives that become so much slower when another one starts are slowed by that.
constexpr double kSlowed = 0.9;
constexpr double kHardlySlowed = 0.97;
/// From here on the link, not the drives, says how fast they are.
constexpr double kNearlyFull = 0.95;
constexpr double kUnknownMegabytes = 1048576;
constexpr double kBytesOfEach = 1048576;
/// Of a drive of which nothing is known.
constexpr double kUsualRate = 200;

double secondsSince(zel::Clock::Duration since) {
    return std::chrono::duration<double>(zel::Clock::current().now() - since).count();
}

}  // namespace

Admission::Admission(const std::vector<Drive>& drives, std::size_t jobs) : m_jobs(jobs) {
    for (const Drive& each : drives) {
        State state;
        state.megabytes =
            each.bytes != 0 ? static_cast<double>(each.bytes) / kBytesOfEach : kUnknownMegabytes;
        state.expected = each.expected;
        for (const SharedLink& link : each.links)
            if (const std::size_t index = indexOf(link);
                std::ranges::find(state.links, index) == state.links.end()) {
                state.links.push_back(index);
                ++m_links[index].use.drives;
            }
        m_drives.push_back(std::move(state));
    }
}

std::size_t Admission::indexOf(const SharedLink& link) {
    const auto [known, isNew] = m_byId.emplace(link.id, m_links.size());
    if (isNew)
        m_links.push_back({{link}});
    return known->second;
}

bool Admission::share(const State& a, const State& b) const {
    return std::ranges::any_of(
        a.links, [&](std::size_t link) { return std::ranges::find(b.links, link) != b.links.end(); });
}

bool Admission::isUnmeasured(const State& drive) const {
    return drive.phase == Phase::running && drive.measurements < 2 &&
           secondsSince(drive.since) < std::chrono::duration<double>(kLongestMeasuring).count();
}

/// Its own rate; else that of the fastest of its kind beside it; else what its kind has.
double Admission::estimateOf(const State& drive) const {
    if (drive.own)
        return *drive.own;
    double fastest = 0;
    for (const State& other : m_drives)
        if (other.own && other.expected == drive.expected && share(drive, other))
            fastest = std::max(fastest, *other.own);
    return fastest > 0 ? fastest : drive.expected > 0 ? drive.expected : kUsualRate;
}

double Admission::loadOf(std::size_t link) const {
    double sum = 0;
    for (const State& each : m_drives)
        if (each.phase == Phase::running && std::ranges::find(each.links, link) != each.links.end())
            sum += estimateOf(each);
    return sum;
}

double Admission::latestOf(std::size_t link) const {
    double sum = 0;
    for (const State& each : m_drives)
        if (each.phase == Phase::running && std::ranges::find(each.links, link) != each.links.end())
            sum += each.latest;
    return sum;
}

bool Admission::hasRoom(const State& drive) const {
    return std::ranges::none_of(
               m_drives, [&](const State& other) { return isUnmeasured(other) && share(drive, other); }) &&
           std::ranges::all_of(drive.links, [&](std::size_t link) {
               return m_links[link].running == 0 ||
                      StartOrder::hasRoom(m_links[link].use.link.megabytesPerSecond, loadOf(link),
                                          estimateOf(drive));
           });
}

bool Admission::mayStart(std::size_t drive) {
    if (m_drives[drive].phase != Phase::waiting || (m_jobs != 0 && m_running >= m_jobs))
        return false;
    arrange();
    for (const std::size_t each : m_order) {
        if (m_drives[each].phase != Phase::waiting || !hasRoom(m_drives[each]))
            continue;
        return each == drive;
    }
    return false;
}

void Admission::started(std::size_t drive) {
    State& each = m_drives[drive];
    each.phase = Phase::running;
    each.since = zel::Clock::current().now();
    ++m_running;
    for (const State& other : m_drives)
        each.latestBefore.push_back(other.phase == Phase::running ? other.latest : 0);
    for (const std::size_t link : each.links) {
        LinkUse& use = m_links[link].use;
        use.mostAtOnce = std::max(use.mostAtOnce, ++m_links[link].running);
    }
}

void Admission::measured(std::size_t drive, double megabytesPerSecond) {
    State& each = m_drives[drive];
    if (each.phase != Phase::running || !std::isfinite(megabytesPerSecond) || megabytesPerSecond < 0)
        return;
    each.latest = megabytesPerSecond;
    ++each.measurements;
    if (each.measurements == 2)
        learn(each);
    // One that was just started may slow it before its own rate is known.
    const bool isBesideNew = std::ranges::any_of(m_drives, [&](const State& other) {
        return &other != &each && isUnmeasured(other) && share(each, other);
    });
    const bool isSlowed = std::ranges::any_of(each.links, [&](std::size_t link) {
        const double capacity = m_links[link].use.link.megabytesPerSecond;
        return m_links[link].running > 1 && capacity > 0 &&
               (isBesideNew || latestOf(link) > capacity * kNearlyFull);
    });
    for (const std::size_t link : each.links)
        m_links[link].use.moved = std::max(m_links[link].use.moved, latestOf(link));
    // A disk becomes slower towards its end by itself.
    each.own = isSlowed ? std::max(each.latest, estimateOf(each)) : each.latest;
    m_isArranged = m_isArranged && each.measurements > 2;
}

/// With its second measurement, as the others had one since its start. The nearest link explains it.
void Admission::learn(const State& drive) {
    for (const std::size_t link : drive.links)
        if (isSlowedBy(drive, link)) {
            double& capacity = m_links[link].use.link.megabytesPerSecond;
            capacity = capacity == 0 ? latestOf(link) : std::min(capacity, latestOf(link));
            return;
        }
}

/// Whether all that ran on the link became slower when the drive came: one alone may have met bad sectors.
bool Admission::isSlowedBy(const State& drive, std::size_t link) const {
    double before = 0;
    double now = 0;
    for (std::size_t i = 0; i < m_drives.size(); ++i) {
        const State& other = m_drives[i];
        if (&other == &drive || other.phase != Phase::running || drive.latestBefore[i] == 0 ||
            std::ranges::find(other.links, link) == other.links.end())
            continue;
        if (other.latest > drive.latestBefore[i] * kHardlySlowed)
            return false;
        before += drive.latestBefore[i];
        now += other.latest;
    }
    return now < before * kSlowed;
}

void Admission::ended(std::size_t drive) {
    State& each = m_drives[drive];
    if (each.phase == Phase::running) {
        --m_running;
        for (const std::size_t link : each.links)
            --m_links[link].running;
    }
    each.phase = Phase::ended;
    m_isArranged = false;
}

/// Also finds out for which links drives have to wait.
void Admission::arrange() {
    if (m_isArranged)
        return;
    std::vector<OrderedDrive> drives;
    std::vector<std::size_t> numbers;
    for (std::size_t i = 0; i < m_drives.size(); ++i) {
        const State& each = m_drives[i];
        if (each.phase == Phase::ended)
            continue;
        const double rate = std::max(estimateOf(each), 1.0);
        const bool isRunning = each.phase == Phase::running;
        const double over = isRunning ? secondsSince(each.since) : 0;
        drives.push_back({std::max(each.megabytes / rate - over, 0.0), rate, each.links, isRunning});
        numbers.push_back(i);
    }
    std::vector<double> capacities;
    capacities.reserve(m_links.size());
    for (std::size_t link = 0; link < m_links.size(); ++link)
        capacities.push_back(m_links[link].use.link.megabytesPerSecond);
    m_order.clear();
    for (const std::size_t index : StartOrder(std::move(drives), std::move(capacities), m_jobs).best())
        m_order.push_back(numbers[index]);
    for (const std::size_t number : m_order)
        for (const std::size_t link : m_drives[number].links) {
            LinkUse& use = m_links[link].use;
            use.isFull = use.isFull || (m_links[link].running > 0 && use.link.megabytesPerSecond > 0 &&
                                        !StartOrder::hasRoom(use.link.megabytesPerSecond, loadOf(link),
                                                             estimateOf(m_drives[number])));
        }
    m_isArranged = true;
}

std::vector<Admission::LinkUse> Admission::uses() const {
    std::vector<LinkUse> shared;
    for (const Link& each : m_links)
        if (each.use.drives > 1)
            shared.push_back(each.use);
    return shared;
}

std::vector<Admission::LinkUse> Admission::usesBy(std::size_t drive) const {
    std::vector<LinkUse> shared;
    for (const std::size_t link : m_drives[drive].links)
        if (m_links[link].use.drives > 1)
            shared.push_back(m_links[link].use);
    return shared;
}

LinkSharing sharingOf(const Admission::LinkUse& use) {
    const auto whole = [](double rate) { return static_cast<std::uint64_t>(std::llround(rate)); };
    return {use.link.name, whole(use.link.megabytesPerSecond), use.drives, use.mostAtOnce, whole(use.moved),
            use.isFull};
}

}  // namespace drivetest
