#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace drivetest {

/// The values of many cells, those in a row that are equal as one: [value, number of cells].
template <class Value>
struct RunLengths {
    std::vector<std::pair<Value, std::uint64_t>> runs;
    std::size_t cellsPerValue = 1;

    void add(Value value, std::size_t cells) {
        if (!runs.empty() && runs.back().first == value)
            runs.back().second += cells;
        else
            runs.emplace_back(value, cells);
    }
};

/// At most `mostRuns` of them: where there would be more, blocks of cells get the greatest value in them, in
/// the smallest blocks that do.
template <class Value>
RunLengths<Value> runLengths(const std::vector<Value>& cells, std::size_t mostRuns) {
    for (std::size_t block = 1;; block *= 2) {
        RunLengths<Value> list{{}, block};
        for (std::size_t first = 0; first < cells.size() && list.runs.size() <= mostRuns; first += block) {
            const std::size_t end = std::min(first + block, cells.size());
            const Value greatest = *std::max_element(&cells[first], &cells[first] + (end - first));
            list.add(greatest, end - first);
        }
        if (list.runs.size() <= mostRuns)
            return list;
    }
}

}  // namespace drivetest
