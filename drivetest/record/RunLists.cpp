#include "drivetest/record/RunLists.h"

#include <algorithm>
#include <iterator>

namespace drivetest {

namespace {

/// testStepArtifact, extension, content, the list.
constexpr int kListDepth = 4;
constexpr const char* kNames[] = {"outcomes", "slowestUs", "megabytesPerSecond"};

bool isListName(const Json& name) {
    return std::any_of(std::begin(kNames), std::end(kNames),
                       [&name](const char* each) { return name == each; });
}

void append(RunList& list, const Json& pair) {
    if (pair.size() != 2 || !(pair[0].is_number() || pair[0].is_null()) || !pair[1].is_number_unsigned() ||
        pair[1] > std::numeric_limits<std::uint32_t>::max()) {
        list.isFaulty = true;
        return;
    }
    const float value = pair[0].is_null() ? RunList::kNoValue : pair[0].get<float>();
    list.runs.push_back({value, pair[1].get<std::uint32_t>()});
}

}  // namespace

Json::parser_callback_t RunLists::callback() {
    return [this](int depth, Json::parse_event_t event, const Json& parsed) {
        return keeps(depth, event, parsed);
    };
}

bool RunLists::keeps(int depth, Json::parse_event_t event, const Json& parsed) {
    if (event == Json::parse_event_t::key && depth <= kListDepth)
        m_open = depth == kListDepth && isListName(parsed) ? &m_lists[parsed.get<std::string>()] : nullptr;
    if (m_open == nullptr || event != Json::parse_event_t::array_end || depth != kListDepth + 1)
        return true;
    append(*m_open, parsed);
    return false;
}

const RunList* RunLists::find(const std::string& name) const {
    const auto found = m_lists.find(name);
    return found != m_lists.end() ? &found->second : nullptr;
}

void RunLists::clear() {
    m_lists.clear();
    m_open = nullptr;
}

}  // namespace drivetest
