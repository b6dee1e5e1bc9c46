// What the statistics cost for each transfer, of a drive of 20 TB and of a small one, in nanoseconds: the
// least of several rounds, for the machine may have other things to do. Positions and durations are made
// before the clock starts.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <random>
#include <vector>

#include "drivetest/statistics/DriveStatistics.h"

namespace {

using drivetest::DriveStatistics;
using libDrive2::DriveOperation;
using libDrive2::DriveOperationReport;

constexpr std::uint64_t kLarge = 20'000'000'000'000 / 512;
constexpr std::uint64_t kSmall = 1U << 20;   // a cell for each sector: the most that a transfer can touch
constexpr std::size_t kTransfers = 100'000;  // short enough for a round without interruption
constexpr int kRounds = 60;

enum class Order { sequential, random };
enum class Plan { sectors, positions };

std::vector<DriveOperationReport> transfers(std::uint64_t sectors, Order order, std::uint32_t count,
                                            DriveOperation operation) {
    std::mt19937_64 random(1);  // NOLINT(bugprone-random-generator-seed): the same course each time
    std::vector<DriveOperationReport> reports;
    reports.reserve(kTransfers);
    std::chrono::nanoseconds now{1};
    for (std::size_t i = 0; i < kTransfers; ++i) {
        const std::uint64_t lba = (order == Order::sequential ? i * count : random()) % (sectors - count);
        const std::chrono::nanoseconds duration(4'000'000 + static_cast<std::int64_t>(random() % 8'000'000));
        now += duration;
        reports.push_back({operation, lba, count, duration, now, 1, libDrive2::LIBDRIVE2_NO_ERROR});
    }
    return reports;
}

double nanosecondsPerTransfer(std::uint64_t sectors, const std::vector<DriveOperationReport>& reports,
                              Plan plan) {
    double least = 1e9;
    for (int round = 0; round < kRounds; ++round) {
        DriveStatistics statistics(sectors, 512);
        if (plan == Plan::positions)
            statistics.onPlanPositions(reports.size());
        const std::clock_t start = std::clock();
        for (const DriveOperationReport& report : reports) {
            if (plan == Plan::positions)
                statistics.onVisit(report.lba, report.count);
            statistics.onOperation(report);
        }
        statistics.finish();
        const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
        least = std::min(least, seconds * 1e9 / static_cast<double>(reports.size()));
    }
    return least;
}

struct Case {
    const char* what;
    std::uint64_t sectors;
    Order order;
    std::uint32_t count;
    Plan plan;
    DriveOperation operation;
};

constexpr Case kCases[] = {
    {"sequential, 1 sector", kLarge, Order::sequential, 1, Plan::sectors, DriveOperation::read},
    {"sequential, 2048 sectors", kLarge, Order::sequential, 2048, Plan::sectors, DriveOperation::read},
    {"sequential, 2048 sectors, writing", kLarge, Order::sequential, 2048, Plan::sectors,
     DriveOperation::write},
    {"random positions, 1 sector", kLarge, Order::random, 1, Plan::positions, DriveOperation::seek},
    {"random, 1 sector, each counted once", kLarge, Order::random, 1, Plan::sectors, DriveOperation::read},
    {"random, 2048 sectors, each counted once", kLarge, Order::random, 2048, Plan::sectors,
     DriveOperation::read},
    {"small drive, 2048 sectors", kSmall, Order::sequential, 2048, Plan::sectors, DriveOperation::read},
};

}  // namespace

int main() {
    for (const Case& each : kCases) {
        const auto reports = transfers(each.sectors, each.order, each.count, each.operation);
        std::printf("%-42s %6.1f ns\n", each.what, nanosecondsPerTransfer(each.sectors, reports, each.plan));
    }
}
