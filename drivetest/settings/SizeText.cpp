#include "drivetest/settings/SizeText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <string_view>
#include <utility>

namespace drivetest {

namespace {

constexpr std::pair<std::string_view, double> kUnits[] = {
    {"", 1},         {"B", 1},        {"KB", 1e3},
    {"MB", 1e6},     {"GB", 1e9},     {"TB", 1e12},
    {"PB", 1e15},    {"KiB", 1024},   {"MiB", 1024.0 * 1024},
    {"GiB", 0x1p30}, {"TiB", 0x1p40}, {"PiB", 0x1p50}};

/// Above, neighbours cannot be told apart by the arithmetic here.
constexpr double kMost = 0x1p53;

}  // namespace

std::optional<std::uint64_t> bytesOf(std::string_view text) {
    double number = 0;
    const auto [rest, fault] =
        std::from_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
    if (fault != std::errc())
        return {};
    std::string_view unit = text.substr(static_cast<std::size_t>(rest - text.data()));
    unit.remove_prefix(std::min(unit.find_first_not_of(' '), unit.size()));
    const auto* const known =
        std::ranges::find_if(kUnits, [unit](const auto& each) { return unit == each.first; });
    if (known == std::end(kUnits))
        return {};
    const double bytes = std::floor(number * known->second);
    if (!(bytes >= 0 && bytes <= kMost))
        return {};
    return static_cast<std::uint64_t>(bytes);
}

}  // namespace drivetest
