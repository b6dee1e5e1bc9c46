#include "drivetest/health/HealthCounters.h"

#include "drivetest/findings/Figures.h"
#include "zel/Words.h"

namespace drivetest {

using libDrive2::DriveHealth;
using zel::marked;

namespace {

using enum HealthCounter::Meaning;
using Unit = HealthCounter::Unit;

constexpr HealthCounter kCounters[] = {
    {"reallocatedSectors", &DriveHealth::reallocatedSectors, marked("Reallocated sectors"), damage,
     "reallocated_sectors"},
    {"pendingSectors", &DriveHealth::pendingSectors, marked("Sectors that wait to be reallocated"), damage,
     "pending_sectors"},
    {"uncorrectableSectors", &DriveHealth::uncorrectableSectors, marked("Uncorrectable sectors"), damage,
     "uncorrectable_sectors"},
    {"crcErrors", &DriveHealth::crcErrors, marked("Errors on the cable (CRC)"), damage, "crc_errors"},
    {"mediaErrors", &DriveHealth::mediaErrors, marked("Errors that could not be corrected"), damage,
     "media_errors"},
    {"spareLeft", &DriveHealth::spareLeftPercent, marked("Spare that is left"), reserve, "spare_left_ratio",
     Unit::percent},
    {"spareThreshold", &DriveHealth::spareThresholdPercent, marked("Spare that must be left"), limit,
     "spare_threshold_ratio", Unit::percent},
    {"wear", &DriveHealth::wearPercent, marked("Endurance that is used"), course, "wear_ratio",
     Unit::percent},
    {"temperature", &DriveHealth::temperatureC, marked("Temperature"), course, "temperature_celsius",
     Unit::celsius},
    {"powerOnHours", &DriveHealth::powerOnHours, marked("Time under power"), course, "power_on_seconds",
     Unit::hours},
    {"powerCycles", &DriveHealth::powerCycles, marked("Times switched on"), course, "power_cycles"},
    {"bytesWritten", &DriveHealth::bytesWritten, marked("Written in its life"), course, "written_bytes",
     Unit::bytes},
};

}  // namespace

std::span<const HealthCounter> healthCounters() {
    return kCounters;
}

double inBaseUnit(const HealthCounter& counter, std::int64_t value) {
    constexpr double kSecondsPerHour = 3600;
    const auto number = static_cast<double>(value);
    if (counter.unit == Unit::percent)
        return number / 100;
    return counter.unit == Unit::hours ? number * kSecondsPerHour : number;
}

std::string counterText(const HealthCounter& counter, std::int64_t value) {
    switch (counter.unit) {
        case Unit::percent:
            return zel::words("{n} %", {{"n", value}});
        case Unit::celsius:
            return zel::words("{n} °C", {{"n", value}});
        case Unit::hours:
            return zel::words("{n} h", {{"n", countFigure(static_cast<std::uint64_t>(value))}});
        case Unit::bytes:
            return sizeFigure(static_cast<double>(value));
        case Unit::count:
            break;
    }
    return countFigure(static_cast<std::uint64_t>(value));
}

}  // namespace drivetest
