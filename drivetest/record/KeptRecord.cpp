#include "drivetest/record/KeptRecord.h"

#include <ctime>

#include "drivetest/terminal/Texts.h"

namespace drivetest {

std::string recordName(const std::string& drive, const std::string& test) {
    const std::time_t now = std::time(nullptr);
    std::string time(32, '\0');
    time.resize(std::strftime(time.data(), time.size(), "%Y%m%dT%H%M%SZ", std::gmtime(&now)));
    return time + "-" + fileNameText(drive) + "-" + test;
}

}  // namespace drivetest
