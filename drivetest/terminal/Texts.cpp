#include "drivetest/terminal/Texts.h"

#include "zel/Format.h"

namespace drivetest {

std::string durationText(std::chrono::nanoseconds duration) {
    if (duration < std::chrono::seconds(10))
        return zel::format("%.2f s", std::chrono::duration<double>(duration).count()).utf8();
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration).count();
    return zel::format("%i:%02i:%02i", seconds / 3600, seconds / 60 % 60, seconds % 60).utf8();
}

std::string sizeText(std::uint64_t bytes) {
    if (bytes < 1024)
        return std::to_string(bytes) + " B";
    double value = static_cast<double>(bytes);
    const char* const units[] = {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    std::size_t unit = 0;
    for (value /= 1024; value >= 1024 && unit + 1 < std::size(units); value /= 1024)
        ++unit;
    return zel::format("%.1f %s", value, units[unit]).utf8();
}

std::string sectorsText(std::uint64_t lba, std::uint64_t count) {
    if (count == 1)
        return "sector " + std::to_string(lba);
    return "sectors " + std::to_string(lba) + " through " + std::to_string(lba + count - 1);
}

std::string countText(std::uint64_t count, const char* singular) {
    return std::to_string(count) + " " + singular + (count == 1 ? "" : "s");
}

}  // namespace drivetest
