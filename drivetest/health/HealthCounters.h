#pragma once

#include <span>
#include <string>

#include "libDrive2/DriveHealth.h"

namespace drivetest {

/// A number that drives tell of their health.
struct HealthCounter {
    enum class Meaning : unsigned char {
        damage,   ///< more of it within a run is a reason to worry
        reserve,  ///< less of it is
        course,   ///< it goes up in the course of a drive's life
        limit,    ///< it does not change
    };
    enum class Unit : unsigned char { count, percent, celsius, hours, bytes };
    const char* key;  ///< in records
    libDrive2::DriveHealth::Number libDrive2::DriveHealth::*number;
    const char* label;  ///< a text to translate
    Meaning meaning;
    const char* metric;  ///< for Prometheus, in its base units
    Unit unit = Unit::count;
};

/// All of them, in the order in which they are shown.
std::span<const HealthCounter> healthCounters();

/// In the base unit of its kind: a ratio, seconds, bytes.
double inBaseUnit(const HealthCounter& counter, std::int64_t value);

/// "12", "38 °C", "3.1 TB"
std::string counterText(const HealthCounter& counter, std::int64_t value);

}  // namespace drivetest
