#include <gmock/gmock.h>

#include <algorithm>
#include <numeric>
#include <random>

#include "drivetest/shelf/links/Admission.h"
#include "drivetest/shelf/links/LinkSharing.h"
#include "drivetest/shelf/links/StartOrder.h"
#include "zel/Clock.h"

namespace drivetest {
namespace {

using std::chrono::seconds;

struct Drive {
    double own;  ///< MB/s
    double gigabytes;
    std::vector<std::size_t> links;
};

/// Drives behind links that carry so much, second by second: a link that is exceeded slows all on it alike.
class Machine : public zel::SimulatedClock {
public:
    /// `told`: whether the system tells what its links carry.
    Machine(std::vector<Drive> drives, std::vector<double> capacities, bool told = true, std::size_t jobs = 0)
        : m_drives(std::move(drives)),
          m_capacities(std::move(capacities)),
          m_left(m_drives.size()),
          m_phase(m_drives.size()) {
        zel::Clock::install(this);
        std::vector<Admission::Drive> admitted;
        for (std::size_t i = 0; i < m_drives.size(); ++i) {
            m_left[i] = m_drives[i].gigabytes * 1024;
            // What is known of a kind is too much, but tells kinds apart.
            Admission::Drive each{{}, static_cast<std::uint64_t>(m_left[i]) << 20U, m_drives[i].own * 1.04};
            for (const std::size_t link : m_drives[i].links)
                each.links.push_back({std::to_string(link), "link", told ? m_capacities[link] : 0});
            admitted.push_back(std::move(each));
        }
        admission.emplace(std::move(admitted), jobs);
    }
    ~Machine() override { zel::Clock::install(nullptr); }

    double run() {
        while (std::ranges::find(m_phase, kWaiting) != m_phase.end() || isBusy()) {
            startAll();
            EXPECT_TRUE(isBusy()) << "nothing may start, and nothing runs";
            if (!isBusy())
                break;
            passSecond();
        }
        return std::chrono::duration<double>(now()).count();
    }

    /// In seconds; of all orders in which drives can be started as their links have room.
    [[nodiscard]] double best() const {
        std::vector<OrderedDrive> drives;
        for (const Drive& each : m_drives)
            drives.push_back({each.gigabytes * 1024 / each.own, each.own, each.links});
        const StartOrder all(drives, m_capacities, 0);
        std::vector<std::size_t> order(drives.size());
        std::iota(order.begin(), order.end(), 0);
        double soonest = all.secondsOf(order);
        while (std::next_permutation(order.begin(), order.end()))
            soonest = std::min(soonest, all.secondsOf(order));
        return soonest;
    }

    /// In seconds, if the links were full from the beginning to the end.
    [[nodiscard]] double leastThatLinksAllow() const {
        std::vector<double> work(m_capacities.size());
        for (const Drive& each : m_drives)
            for (const std::size_t link : each.links)
                work[link] += each.gigabytes * 1024 / m_capacities[link];
        return *std::ranges::max_element(work);
    }

    std::optional<Admission> admission;
    double slowest = 1;        ///< what a drive had of its own rate at worst
    double slowedSeconds = 0;  ///< in which a drive had less than nine tenths of it, summed up
    std::size_t mostAtOnce = 0;

private:
    static constexpr int kWaiting = 0;
    static constexpr int kRunning = 1;
    static constexpr int kEnded = 2;

    [[nodiscard]] bool isBusy() const { return std::ranges::find(m_phase, kRunning) != m_phase.end(); }

    void startAll() {
        for (bool isChanged = true; isChanged;) {
            isChanged = false;
            for (std::size_t i = 0; i < m_drives.size(); ++i)
                if (admission->mayStart(i)) {
                    EXPECT_EQ(m_phase[i], kWaiting);
                    m_phase[i] = kRunning;
                    admission->started(i);
                    isChanged = true;
                }
        }
        mostAtOnce = std::max<std::size_t>(mostAtOnce, std::ranges::count(m_phase, kRunning));
    }

    void passSecond() {
        std::vector<double> loads(m_capacities.size());
        for (std::size_t i = 0; i < m_drives.size(); ++i)
            for (const std::size_t link : m_drives[i].links)
                loads[link] += m_phase[i] == kRunning ? m_drives[i].own : 0;
        advance(seconds(1));
        std::vector<double> rates(m_drives.size());
        for (std::size_t i = 0; i < m_drives.size(); ++i) {
            double part = 1;
            for (const std::size_t link : m_drives[i].links)
                part = std::min(part, m_capacities[link] / loads[link]);
            if (m_phase[i] != kRunning)
                continue;
            slowest = std::min(slowest, part);
            slowedSeconds += part < 0.9 ? 1 : 0;
            rates[i] = m_drives[i].own * part;
            m_left[i] -= rates[i];
        }
        for (std::size_t i = 0; i < m_drives.size(); ++i)
            if (m_phase[i] == kRunning)
                admission->measured(i, rates[i]);
        for (std::size_t i = 0; i < m_drives.size(); ++i)
            if (m_phase[i] == kRunning && m_left[i] <= 0) {
                m_phase[i] = kEnded;
                admission->ended(i);
            }
    }

    std::vector<Drive> m_drives;
    std::vector<double> m_capacities;
    std::vector<double> m_left;
    std::vector<int> m_phase;
};

/// Two adapters of four and three drives, each with more than its link carries.
const std::vector<Drive> kTwoAdapters = {{260, 4000, {0}}, {260, 8000, {0}}, {260, 8000, {0}},
                                         {260, 4000, {0}}, {530, 2000, {1}}, {530, 1000, {1}},
                                         {530, 4000, {1}}};
const std::vector<double> kTheirLinks = {530, 550};

TEST(Admission, FillsTwoSaturatedAdaptersAsWellAsAnyOrderDoes) {
    Machine machine(kTwoAdapters, kTheirLinks);
    const double took = machine.run();
    EXPECT_LE(took, machine.best() * 1.05);
    EXPECT_LE(took, machine.leastThatLinksAllow() * 1.05);
    EXPECT_GE(machine.slowest, 0.95);
    const auto uses = machine.admission->uses();
    ASSERT_EQ(uses.size(), 2U);
    EXPECT_EQ(uses[0].mostAtOnce, 2U);
    EXPECT_EQ(uses[1].mostAtOnce, 1U);
    EXPECT_TRUE(uses[0].isFull && uses[1].isFull);
    const std::vector<LinkSharing> expected{{"link", 530, 4, 2, 520, true}};
    ASSERT_EQ(machine.admission->usesBy(3).size(), 1U);
    EXPECT_EQ(sharingOf(machine.admission->usesBy(3)[0]), expected[0]);
    EXPECT_EQ(describeSharing(expected[0]),
              "4 drives share link, which carries 530 MB/s: at most 2 of them at once, so that none is "
              "slowed by the others; 520 MB/s were measured on it at most");
    EXPECT_EQ(readSharingLine(sharingLine(expected)), expected);
}

TEST(LinkSharing, LinesThatAreNone) {
    for (const char* const line :
         {"", "7", "{", "[]", R"({"links":7})", R"({"links":[{"name":"x","drives":2,"atOnce":1}]})",
          R"({"links":[{"name":"x","drives":-2,"atOnce":1,"waited":false}]})"})
        EXPECT_FALSE(readSharingLine(line)) << line;
}

TEST(Admission, IsNearTheBestOfAllOrders) {
    const struct {
        const char* what;
        std::vector<Drive> drives;
        std::vector<double> links;
    } cases[] = {
        {"equal disks on an expander",
         {{250, 4000, {0}},
          {250, 4000, {0}},
          {250, 4000, {0}},
          {250, 4000, {0}},
          {250, 4000, {0}},
          {250, 4000, {0}}},
         {780}},
        {"where the longest first is not best",
         {{100, 300, {0}}, {100, 300, {0}}, {100, 200, {0}}, {100, 200, {0}}, {100, 200, {0}}},
         {200}},
        {"a hub in a hub",
         {{150, 1000, {0, 2}},
          {150, 2000, {0, 2}},
          {150, 1500, {1, 2}},
          {150, 500, {1, 2}},
          {200, 1500, {2}}},
         {300, 160, 420}},
        {"slow and fast ones",
         {{40, 500, {0}},
          {40, 500, {0}},
          {40, 500, {0}},
          {400, 3000, {0}},
          {400, 1500, {0}},
          {120, 900, {0}}},
         {500}},
    };
    for (const auto& each : cases) {
        Machine machine(each.drives, each.links);
        const double took = machine.run();
        EXPECT_LE(took, machine.best() * 1.05 + 3.0 * static_cast<double>(each.drives.size())) << each.what;
        EXPECT_GE(machine.slowest, 0.95) << each.what;
    }
}

TEST(StartOrder, IsAsGoodAsTheBestOfAllOrders) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> rate(50, 300);
    std::uniform_real_distribution<double> gigabytes(500, 6000);
    for (int machine = 0; machine < 20; ++machine) {
        std::vector<OrderedDrive> drives;
        for (std::size_t i = 0; i < 6; ++i) {
            const double own = rate(random);
            drives.push_back({gigabytes(random) * 1024 / own, own, {i % 2}});
        }
        const StartOrder all(drives, {400, 300}, 0);
        std::vector<std::size_t> order(drives.size());
        std::iota(order.begin(), order.end(), 0);
        double soonest = all.secondsOf(order);
        while (std::next_permutation(order.begin(), order.end()))
            soonest = std::min(soonest, all.secondsOf(order));
        EXPECT_LE(all.secondsOf(all.best()), soonest * 1.05) << machine;
    }
}

TEST(Admission, LearnsWhatNobodyTells) {
    Machine machine(kTwoAdapters, kTheirLinks, false);
    const double took = machine.run();
    EXPECT_LE(took, machine.best() * 1.05);
    // The one that was too many runs to its end; more do not come.
    const auto uses = machine.admission->uses();
    EXPECT_EQ(uses[0].mostAtOnce, 3U);
    EXPECT_EQ(uses[1].mostAtOnce, 2U);
    EXPECT_NEAR(uses[0].link.megabytesPerSecond, 530, 10);
}

TEST(Admission, LetsAllRunWhereNothingIsShared) {
    const std::vector<Drive> drives = {
        {200, 10, {0}}, {200, 10, {1}}, {200, 10, {}}, {200, 10, {2}}, {200, 10, {2}}};
    Machine free(drives, {250, 250, 450});
    free.run();
    EXPECT_EQ(free.mostAtOnce, 5U);
    EXPECT_EQ(free.slowest, 1);
    EXPECT_EQ(describeSharing(sharingOf(free.admission->uses().at(0))),
              "2 drives share link, which carries them all at once; 400 MB/s were measured on it at most");
    EXPECT_TRUE(free.admission->usesBy(2).empty());
    Machine jobs(drives, {250, 250, 450}, true, 2);
    jobs.run();
    EXPECT_EQ(jobs.mostAtOnce, 2U);
}

/// Gives what the link was learned to carry when a third drive has started.
double learnedWhen(double firstBecomes, double secondBecomes) {
    const SharedLink link{"a", "link", 0};
    Admission admission({{{link}}, {{link}}, {{link}}});
    for (const std::size_t drive : {0U, 1U, 2U}) {
        EXPECT_TRUE(admission.mayStart(drive));
        admission.started(drive);
        for (int second = 0; second < 2; ++second) {
            admission.measured(0, drive == 2 ? firstBecomes : 200);
            if (drive > 0)
                admission.measured(1, drive == 2 ? secondBecomes : 200);
            if (drive == 2)
                admission.measured(2, 150);
        }
    }
    return admission.uses().at(0).link.megabytesPerSecond;
}

TEST(Admission, TellsAFullLinkFromADriveWithBadSectors) {
    EXPECT_EQ(learnedWhen(150, 150), 450);
    EXPECT_EQ(learnedWhen(200, 3), 0);
    EXPECT_EQ(learnedWhen(0, 200), 0);
}

TEST(Admission, RemembersWhatADriveHadBeforeItWasSlowed) {
    const SharedLink link{"a", "link", 500};
    const Admission::Drive fast{{link}, 0, 310};
    Admission admission({fast, {{link}, 0, 150}, fast});
    admission.started(0);
    for (int second = 0; second < 2; ++second)
        admission.measured(0, 300);
    EXPECT_TRUE(admission.mayStart(1));
    admission.started(1);
    for (int second = 0; second < 2; ++second)
        for (const std::size_t drive : {0U, 1U})
            admission.measured(drive, 250);
    EXPECT_FALSE(admission.mayStart(2));
    admission.ended(0);
    EXPECT_FALSE(admission.mayStart(2));  // as fast as its like, it would slow the other one
    admission.ended(1);
    EXPECT_TRUE(admission.mayStart(2));
}

TEST(Admission, IsHeldUpByNobodyWhoSaysNothing) {
    zel::SimulatedClock clock;
    zel::Clock::install(&clock);
    const SharedLink link{"a", "link", 1000};
    Admission admission({{{link}}, {{link}}, {{link}}});
    EXPECT_TRUE(admission.mayStart(0));
    admission.started(0);
    EXPECT_FALSE(admission.mayStart(1));
    clock.advance(seconds(21));
    EXPECT_TRUE(admission.mayStart(1));
    admission.ended(1);  // never started
    EXPECT_TRUE(admission.mayStart(2));
    admission.started(2);
    admission.ended(2);
    admission.ended(0);
    admission.ended(0);
    EXPECT_FALSE(admission.mayStart(0));
    zel::Clock::install(nullptr);
}

}  // namespace
}  // namespace drivetest
