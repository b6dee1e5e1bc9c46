#include "zel/Path.h"

namespace zel {

namespace fs = std::filesystem;

fs::path pathOf(std::string_view text) {
    return {text};
}

std::string textOf(const fs::path& path) {
    return path.string();
}

bool isAbsolute(std::string_view path) {
    return path.starts_with('/');
}

bool pathExists(std::string_view path) {
    std::error_code unknown;
    return fs::exists(pathOf(path), unknown);
}

bool isRegularFile(std::string_view path) {
    std::error_code unknown;
    return fs::is_regular_file(pathOf(path), unknown);
}

bool isSameFile(std::string_view a, std::string_view b) {
    std::error_code unknown;
    return fs::equivalent(pathOf(a), pathOf(b), unknown);
}

std::string canonicalPath(std::string_view path) {
    std::error_code failed;
    const fs::path found = fs::canonical(pathOf(path), failed);
    return failed ? std::string() : found.string();
}

std::string canonicalBeginning(std::string_view path) {
    std::error_code failed;
    const fs::path found = fs::weakly_canonical(pathOf(path), failed);
    return failed ? std::string(path) : found.string();
}

}  // namespace zel
