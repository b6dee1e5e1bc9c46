#include "drivetest/plan/PlanFault.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace drivetest {

std::vector<std::string> linesOf(const TomlFile& file, std::vector<PlanFault> faults) {
    std::ranges::stable_sort(
        faults, {}, [](const PlanFault& fault) { return std::tuple(fault.place.line, fault.place.column); });
    std::vector<std::string> lines;
    for (const PlanFault& fault : faults)
        if (std::string line = file.fault(fault.place, fault.reason);
            std::ranges::find(lines, line) == lines.end())
            lines.push_back(std::move(line));
    return lines;
}

}  // namespace drivetest
