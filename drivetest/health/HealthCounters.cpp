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
    {"reallocatedSectors", &DriveHealth::reallocatedSectors, marked("Reallocated sectors"), damage},
    {"pendingSectors", &DriveHealth::pendingSectors, marked("Sectors that wait to be reallocated"), damage},
    {"uncorrectableSectors", &DriveHealth::uncorrectableSectors, marked("Uncorrectable sectors"), damage},
    {"crcErrors", &DriveHealth::crcErrors, marked("Errors on the cable (CRC)"), damage},
    {"mediaErrors", &DriveHealth::mediaErrors, marked("Errors that could not be corrected"), damage},
    {"spareLeft", &DriveHealth::spareLeftPercent, marked("Spare that is left"), reserve, Unit::percent},
    {"spareThreshold", &DriveHealth::spareThresholdPercent, marked("Spare that must be left"), limit,
     Unit::percent},
    {"wear", &DriveHealth::wearPercent, marked("Endurance that is used"), course, Unit::percent},
    {"temperature", &DriveHealth::temperatureC, marked("Temperature"), course, Unit::celsius},
    {"powerOnHours", &DriveHealth::powerOnHours, marked("Time under power"), course, Unit::hours},
    {"powerCycles", &DriveHealth::powerCycles, marked("Times switched on"), course},
    {"bytesWritten", &DriveHealth::bytesWritten, marked("Written in its life"), course, Unit::bytes},
};

}  // namespace

std::span<const HealthCounter> healthCounters() {
    return kCounters;
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
