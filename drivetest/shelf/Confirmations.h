#pragma once

#include <string>
#include <vector>

#include "drivetest/commands/RunOptions.h"

namespace drivetest {

/// What the user gave to confirm that drives may be written to, once for each.
class Confirmations {
public:
    explicit Confirmations(const RunOptions& options);

    /// What confirms a drive, which is then used up; empty where it was not confirmed.
    std::string take(const std::string& wanted);
    /// What is of none of the drives so far.
    [[nodiscard]] const std::vector<std::string>& left() const { return m_left; }

private:
    std::vector<std::string> m_left;
};

}  // namespace drivetest
