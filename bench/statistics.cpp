// What the statistics cost for each transfer of a drive of 20 TB, in nanoseconds: the least of several
// rounds, for the machine may have other things to do. Positions and durations are made before the clock
// starts.
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

constexpr std::uint64_t kSectors = 20'000'000'000'000 / 512;
constexpr std::size_t kTransfers = 100'000;  // short enough for a round without interruption
constexpr int kRounds = 60;

enum class Order { sequential, random };
enum class Plan { sectors, positions };

std::vector<DriveOperationReport> transfers(Order order, std::uint32_t count, DriveOperation operation) {
    std::mt19937_64 random(1);  // NOLINT(bugprone-random-generator-seed): the same course each time
    std::vector<DriveOperationReport> reports;
    reports.reserve(kTransfers);
    std::chrono::nanoseconds now{1};
    for (std::size_t i = 0; i < kTransfers; ++i) {
        const std::uint64_t lba = order == Order::sequential ? i * count : random() % (kSectors - count);
        const std::chrono::nanoseconds duration(4'000'000 + static_cast<std::int64_t>(random() % 8'000'000));
        now += duration;
        reports.push_back({operation, lba, count, duration, now, 1, libDrive2::LIBDRIVE2_NO_ERROR});
    }
    return reports;
}

double nanosecondsPerTransfer(const std::vector<DriveOperationReport>& reports, Plan plan) {
    double least = 1e9;
    for (int round = 0; round < kRounds; ++round) {
        DriveStatistics statistics(kSectors, 512);
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

void measure(const char* what, Order order, std::uint32_t count, Plan plan, DriveOperation operation) {
    std::printf("%-42s %6.1f ns\n", what, nanosecondsPerTransfer(transfers(order, count, operation), plan));
}

}  // namespace

int main() {
    measure("sequential, 1 sector", Order::sequential, 1, Plan::sectors, DriveOperation::read);
    measure("sequential, 2048 sectors", Order::sequential, 2048, Plan::sectors, DriveOperation::read);
    measure("sequential, 2048 sectors, writing", Order::sequential, 2048, Plan::sectors,
            DriveOperation::write);
    measure("random positions, 1 sector", Order::random, 1, Plan::positions, DriveOperation::seek);
    measure("random, 1 sector, each counted once", Order::random, 1, Plan::sectors, DriveOperation::read);
    measure("random, 2048 sectors, each counted once", Order::random, 2048, Plan::sectors,
            DriveOperation::read);
}
