#include "drivetest/settings/TimeText.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <iterator>
#include <limits>
#include <string>
#include <utility>

namespace drivetest {

namespace {

constexpr std::pair<const char*, double> kUnits[] = {{"", 1},     {"s", 1},    {"sec", 1},  {"m", 60},
                                                     {"min", 60}, {"h", 3600}, {"d", 86400}};

}  // namespace

std::optional<std::uint32_t> secondsOf(std::string_view text) {
    double number = 0;
    const auto [rest, fault] =
        std::from_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
    if (fault != std::errc())
        return {};
    std::string unit(text.substr(static_cast<std::size_t>(rest - text.data())));
    unit.erase(0, unit.find_first_not_of(' '));
    std::ranges::transform(unit, unit.begin(),
                           [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    const auto* const known =
        std::ranges::find_if(kUnits, [&unit](const auto& each) { return unit == each.first; });
    if (known == std::end(kUnits))
        return {};
    const double seconds = std::ceil(number * known->second);
    if (!(seconds >= 0 && seconds <= std::numeric_limits<std::uint32_t>::max()))
        return {};
    return static_cast<std::uint32_t>(seconds);
}

}  // namespace drivetest
