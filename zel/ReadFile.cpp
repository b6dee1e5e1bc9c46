#include "zel/ReadFile.h"

#include <array>
#include <cstddef>
#include <fstream>
#include <utility>

namespace zel {

std::optional<std::string> readFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file.is_open())
        return std::nullopt;
    std::string text;
    std::array<char, 8192> block{};
    while (file) {
        file.read(block.data(), block.size());
        text.append(block.data(), static_cast<std::size_t>(file.gcount()));
    }
    return file.bad() ? std::nullopt : std::optional(std::move(text));
}

}  // namespace zel
