#include "drivetest/run/NearestName.h"

#include <algorithm>
#include <cctype>
#include <numeric>

namespace drivetest {

namespace {

char lower(char letter) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
}

/// The distance of Levenshtein.
std::size_t distance(const std::string& one, const std::string& other) {
    std::vector<std::size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 0; i < one.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < other.size(); ++j) {
            const std::size_t changed = diagonal + (lower(one[i]) == lower(other[j]) ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

}  // namespace

std::string nearestName(const std::string& typed, const std::vector<std::string>& names) {
    std::string nearest;
    std::size_t least = std::max<std::size_t>(typed.size() * 2 / 5, 1) + 1;
    for (const std::string& name : names)
        if (const std::size_t letters = distance(typed, name); letters < least) {
            least = letters;
            nearest = name;
        }
    return nearest;
}

}  // namespace drivetest
