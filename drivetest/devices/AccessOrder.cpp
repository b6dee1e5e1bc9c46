#include "drivetest/devices/AccessOrder.h"

#include <regex>

namespace drivetest {

bool isAccessOrder(const std::string& text) {
    static const std::regex form("DriveTestSearchOrder(:[1-8]){1,100}");
    // Longer ones would only repeat themselves.
    return text.size() < 1000 && std::regex_match(text, form);
}

}  // namespace drivetest
