#include "drivetest/record/SurfaceReading.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "drivetest/record/RecordedExtensions.h"

namespace drivetest {

namespace {

/// Twice of what a run keeps: no record makes the reader take any amount of memory.
constexpr std::uint64_t kMostCells = std::uint64_t{1} << 21;

/// The list's values for each cell, made by `valueOf`.
template <class Value, class ValueOf>
std::vector<Value> expand(const RunLists& lists, const std::string& name, std::size_t cells,
                          ValueOf valueOf) {
    const RunList* const list = lists.find(name);
    if (list == nullptr || list->isFaulty)
        throw faultOf(name);
    std::vector<Value> values;
    values.reserve(cells);
    for (const RunList::Run& run : list->runs) {
        if (run.cells > cells - values.size())
            throw faultOf(name);
        values.insert(values.end(), run.cells, valueOf(run.value));
    }
    if (values.size() != cells)
        throw faultOf(name);
    return values;
}

CellOutcome outcomeOf(float value) {
    if (value == 0)
        return CellOutcome::untested;
    if (value == 1)
        return CellOutcome::good;
    if (value == 2)
        return CellOutcome::failed;
    if (value == 3)
        return CellOutcome::recovered;
    throw faultOf("outcomes");
}

float measured(float value) {
    return value > 0 && std::isfinite(value) ? value : 0;
}

}  // namespace

RecordedSurface readSurface(const Json& content, const RunLists& lists) {
    const std::uint64_t cells = recordedCount(content, "cells");
    if (cells > kMostCells)
        throw faultOf("cells");
    RecordedSurface surface{recordedCount(content, "sectorsPerCell")};
    surface.outcomes = expand<CellOutcome>(lists, "outcomes", cells, outcomeOf);
    surface.slowestUs = expand<float>(lists, "slowestUs", cells, measured);
    // Later records have regions for it.
    if (lists.find("megabytesPerSecond") != nullptr)
        surface.megabytesPerSecond = expand<float>(lists, "megabytesPerSecond", cells, measured);
    return surface;
}

}  // namespace drivetest
