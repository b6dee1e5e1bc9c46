#include "drivetest/statistics/LiveCounts.h"

namespace drivetest {

std::vector<LiveOutcome> LiveCounts::surface() const {
    std::vector<LiveOutcome> surface(m_stretches);
    for (std::size_t i = 0; i < surface.size(); ++i)
        surface[i] = m_outcomes[i].load(kRelaxed);
    return surface;
}

}  // namespace drivetest
