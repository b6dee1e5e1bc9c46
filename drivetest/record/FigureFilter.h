#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include "drivetest/record/Json.h"

namespace drivetest {

/// Leaves out of a line, while it is parsed, what tells of single events, cells and transfers: most of a
/// record, and nothing that is shown of thousands of them. What is left out must still be JSON.
class FigureFilter {
public:
    /// For Json::parse() of a line of so many bytes. A line that is longer than any that is kept loses all
    /// that it says. An object with more members than any has throws RecordFault: each costs the more time,
    /// the more there are.
    Json::parser_callback_t callback(std::size_t lineBytes);
    /// Whether extensions of this name are left out.
    static bool leavesOut(const std::string& extension);
    /// Whether something of that line was left out.
    [[nodiscard]] bool hasDropped() const { return m_hasDropped; }

private:
    static constexpr int kNowhere = std::numeric_limits<int>::max();

    bool keeps(int depth, Json::parse_event_t event, const Json& parsed);
    [[nodiscard]] bool isUnwanted(int depth, const std::string& key) const;
    void countKey(int depth);

    bool m_isTooLong = false;
    bool m_hasDropped = false;
    bool m_isInStep = false;
    bool m_isNameNext = false;
    std::vector<std::size_t> m_keys;  ///< of the objects that are open, by depth
    int m_droppedAt = kNowhere;       ///< depth of the key whose value is left out
    std::string m_extension;          ///< its name, once it was read
};

}  // namespace drivetest
