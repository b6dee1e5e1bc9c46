#include "drivetest/settings/TimeText.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <iterator>
#include <limits>
#include <string>
#include <utility>

namespace drivetest {

namespace {

constexpr std::pair<const char*, std::uint32_t> kUnits[] = {{"", 1},     {"s", 1},    {"sec", 1},  {"m", 60},
                                                            {"min", 60}, {"h", 3600}, {"d", 86400}};

}  // namespace

std::optional<std::uint32_t> secondsOf(std::string_view text) {
    std::uint32_t number = 0;
    const auto [rest, fault] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (fault != std::errc())
        return {};
    std::string unit(text.substr(static_cast<std::size_t>(rest - text.data())));
    unit.erase(0, unit.find_first_not_of(' '));
    std::ranges::transform(unit, unit.begin(),
                           [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    const auto* const known =
        std::ranges::find_if(kUnits, [&unit](const auto& each) { return unit == each.first; });
    if (known == std::end(kUnits) || number > std::numeric_limits<std::uint32_t>::max() / known->second)
        return {};
    return number * known->second;
}

}  // namespace drivetest
