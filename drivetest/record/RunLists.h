#pragma once

#include <limits>
#include <map>
#include <string>
#include <vector>

#include "drivetest/record/Json.h"

namespace drivetest {

/// A list of [value, number of cells] as it stands in a record; a value that is null is kNoValue.
struct RunList {
    static constexpr float kNoValue = -1;

    struct Run {
        float value;
        std::uint32_t cells;
    };
    std::vector<Run> runs{};
    bool isFaulty = false;  ///< it holds something else
};

/// Takes the lists of a surface out of a line while it is parsed: a million cells as a tree of values would
/// take a hundred times the room.
class RunLists {
public:
    /// For Json::parse().
    Json::parser_callback_t callback();
    /// Null when the line has no such list.
    [[nodiscard]] const RunList* find(const std::string& name) const;
    void clear();

private:
    bool keeps(int depth, Json::parse_event_t event, const Json& parsed);

    std::map<std::string, RunList> m_lists;
    RunList* m_open = nullptr;
};

}  // namespace drivetest
