#include "drivetest/record/EventJoiner.h"

namespace drivetest {

namespace {

constexpr std::uint64_t kSingle = 1000;
constexpr std::uint64_t kMostWaiting = 10000;
constexpr std::size_t kMostGroups = 16;

Json jsonOf(const RecordedEvent& event) {
    Json content{
        {"key", event.key}, {"type", event.type}, {"message", event.message}, {"variables", event.variables}};
    if (!event.cause.empty())
        content["cause"] = event.cause;
    return content;
}

}  // namespace

bool EventJoiner::add(RecordedEvent event) {
    if (++m_seen <= kSingle) {
        m_sink("event", jsonOf(event));
        return true;
    }
    const std::string kind = event.key + '\0' + event.type + '\0' + event.cause;
    if (m_groups.size() == kMostGroups && !m_groups.contains(kind))
        flush();
    Group& group = m_groups[kind];
    if (group.count++ == 0)
        group.first = event;
    group.last = std::move(event);
    if (++m_waiting >= kMostWaiting)
        flush();
    return false;
}

void EventJoiner::flush() {
    for (const auto& [kind, group] : m_groups) {
        if (group.count == 1) {
            m_sink("event", jsonOf(group.first));
            continue;
        }
        Json content = jsonOf(group.first);
        content["count"] = group.count;
        content["lastMessage"] = group.last.message;
        content["lastVariables"] = group.last.variables;
        m_sink("events", std::move(content));
    }
    m_groups.clear();
    m_waiting = 0;
}

}  // namespace drivetest
