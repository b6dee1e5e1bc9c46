#include "drivetest/shelf/Confirmations.h"

#include <algorithm>

namespace drivetest {

Confirmations::Confirmations(const RunOptions& options) : m_left(options.shelf.moreConfirmed) {
    if (!options.confirm.empty())
        m_left.insert(m_left.begin(), options.confirm);
}

std::string Confirmations::take(const std::string& wanted) {
    const auto found = std::ranges::find(m_left, wanted);
    if (found == m_left.end())
        return {};
    m_left.erase(found);
    return wanted;
}

}  // namespace drivetest
