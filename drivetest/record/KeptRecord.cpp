#include "drivetest/record/KeptRecord.h"

#include <ctime>
#include <string>

#include "drivetest/terminal/Texts.h"

namespace drivetest {

std::string recordName(const std::string& drive, const std::string& test) {
    const std::time_t now = std::time(nullptr);
    std::string time(32, '\0');
    time.resize(std::strftime(time.data(), time.size(), "%Y%m%dT%H%M%SZ", std::gmtime(&now)));
    return time + "-" + fileNameText(drive) + "-" + test;
}

NumberedName numberedName(const std::string& name) {
    constexpr std::size_t kMostDigits = 3;
    const auto dash = name.rfind('-');
    const std::string digits = dash == std::string::npos ? "" : name.substr(dash + 1);
    if (digits.empty() || digits.size() > kMostDigits ||
        digits.find_first_not_of("0123456789") != std::string::npos)
        return {name, 1};
    return {name.substr(0, dash), std::stoi(digits)};
}

}  // namespace drivetest
