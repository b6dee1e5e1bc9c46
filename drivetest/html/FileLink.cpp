#include "drivetest/html/FileLink.h"

#include <filesystem>
#include <string_view>
#include <system_error>

#include "zel/Format.h"
#include "zel/Path.h"

namespace drivetest {

namespace {

std::string encoded(const std::string& name) {
    constexpr std::string_view kUnreserved = "-._~";
    std::string text;
    for (const char letter : name) {
        const bool isPlain = (letter >= '0' && letter <= '9') || (letter >= 'A' && letter <= 'Z') ||
                             (letter >= 'a' && letter <= 'z') ||
                             kUnreserved.find(letter) != std::string_view::npos;
        text += isPlain ? std::string(1, letter)
                        : zel::format("%%%02X", static_cast<unsigned char>(letter)).utf8();
    }
    return text;
}

}  // namespace

std::string linkTo(const std::string& file, const std::string& folder) {
    std::error_code failed;
    const std::filesystem::path here =
        std::filesystem::weakly_canonical(zel::pathOf(folder.empty() ? std::string(".") : folder), failed);
    const std::filesystem::path there = std::filesystem::weakly_canonical(zel::pathOf(file), failed);
    std::string link;
    for (const std::filesystem::path& part : there.lexically_relative(here))
        link += (link.empty() ? "" : "/") + encoded(zel::textOf(part));
    return link;
}

}  // namespace drivetest
