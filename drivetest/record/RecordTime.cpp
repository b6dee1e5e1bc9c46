#include "drivetest/record/RecordTime.h"

#include <chrono>
#include <cstdio>

namespace drivetest {

std::optional<double> instantOf(const std::string& recorded) {
    using namespace std::chrono;
    int year = 0;
    unsigned month = 0;
    unsigned day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    int milliseconds = 0;
    if (std::sscanf(recorded.c_str(), "%4d-%2u-%2uT%2d:%2d:%2d.%3d", &year, &month, &day, &hour, &minute,
                    &second, &milliseconds) < 6)
        return {};
    const year_month_day date{std::chrono::year(year), std::chrono::month(month), std::chrono::day(day)};
    if (!date.ok())
        return {};
    return static_cast<double>(sys_days(date).time_since_epoch().count()) * 86400 + hour * 3600 +
           minute * 60 + second + milliseconds / 1e3;
}

}  // namespace drivetest
