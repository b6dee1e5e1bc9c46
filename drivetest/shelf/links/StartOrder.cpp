#include "drivetest/shelf/links/StartOrder.h"

#include <algorithm>
#include <utility>

namespace drivetest {

namespace {

/// A drive that is slowed by a twentieth is still told from one that is slow.
constexpr double kTolerance = 1.05;
/// So many tries to improve a list; beyond some dozen drives it is good as it is.
constexpr unsigned kMostTries = 2000;

}  // namespace

bool StartOrder::hasRoom(double capacity, double load, double more) {
    return capacity == 0 || load == 0 || load + more <= capacity * kTolerance;
}

/// What happens if drives start in an order.
class StartOrder::Course {
public:
    explicit Course(const StartOrder& plan) : m_plan(plan), m_loads(plan.m_capacities.size()) {
        for (std::size_t i = 0; i < plan.m_drives.size(); ++i)
            if (plan.m_drives[i].isRunning)
                start(i);
    }

    double play(std::vector<std::size_t> waiting) {
        while (!waiting.empty() || !m_running.empty()) {
            std::erase_if(waiting, [this](std::size_t drive) { return startWhereRoom(drive); });
            if (!m_running.empty())
                endNext();
        }
        return m_now;
    }

private:
    struct Running {
        std::size_t drive;
        double end;
    };

    bool startWhereRoom(std::size_t drive) {
        const OrderedDrive& each = m_plan.m_drives[drive];
        const bool isFull = m_plan.m_most != 0 && m_running.size() >= m_plan.m_most;
        const auto hasRoomOn = [&](std::size_t link) {
            return hasRoom(m_plan.m_capacities[link], m_loads[link], each.megabytesPerSecond);
        };
        if (!m_running.empty() && (isFull || !std::ranges::all_of(each.links, hasRoomOn)))
            return false;
        start(drive);
        return true;
    }

    void start(std::size_t drive) {
        const OrderedDrive& each = m_plan.m_drives[drive];
        for (const std::size_t link : each.links)
            m_loads[link] += each.megabytesPerSecond;
        m_running.push_back({drive, m_now + each.seconds});
    }

    void endNext() {
        const auto next = std::ranges::min_element(m_running, {}, &Running::end);
        m_now = next->end;
        for (const std::size_t link : m_plan.m_drives[next->drive].links) {
            double& load = m_loads[link];
            load -= m_plan.m_drives[next->drive].megabytesPerSecond;
            // What is left of sums and differences is no load.
            load = load < 1e-6 ? 0 : load;
        }
        m_running.erase(next);
    }

    const StartOrder& m_plan;
    std::vector<double> m_loads;
    std::vector<Running> m_running;
    double m_now = 0;
};

StartOrder::StartOrder(std::vector<OrderedDrive> drives, std::vector<double> capacities, std::size_t most)
    : m_drives(std::move(drives)), m_capacities(std::move(capacities)), m_most(most) {}

double StartOrder::secondsOf(const std::vector<std::size_t>& order) const {
    return Course(*this).play(order);
}

std::vector<std::size_t> StartOrder::best() const {
    std::vector<std::size_t> order;
    for (std::size_t i = 0; i < m_drives.size(); ++i)
        if (!m_drives[i].isRunning)
            order.push_back(i);
    // The number decides between equal ones: the same drives give the same order.
    std::ranges::sort(order, {}, [this](std::size_t i) { return std::pair(-m_drives[i].seconds, i); });
    double seconds = secondsOf(order);
    unsigned tries = 0;
    for (bool isBetter = true; isBetter && tries < kMostTries;) {
        isBetter = false;
        for (std::size_t a = 0; a + 1 < order.size(); ++a)
            for (std::size_t b = a + 1; b < order.size() && tries < kMostTries; ++b, ++tries) {
                std::swap(order[a], order[b]);
                if (const double now = secondsOf(order); now < seconds - 1e-6) {
                    seconds = now;
                    isBetter = true;
                } else {
                    std::swap(order[a], order[b]);
                }
            }
    }
    return order;
}

}  // namespace drivetest
