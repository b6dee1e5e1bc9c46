#include "drivetest/record/FigureFilter.h"

#include <algorithm>
#include <iterator>

namespace drivetest {

namespace {

/// Of the kinds that are kept, the writer makes no line as long as this.
constexpr std::size_t kLongestKept = std::size_t{2} << 20;

// Depths of keys in a line: testStepArtifact, what of it, and the parts of an extension.
constexpr int kArtifactDepth = 1;
constexpr int kKindDepth = 2;
constexpr int kPartDepth = 3;

constexpr const char* kUnwantedKinds[] = {"diagnosis", "log"};
constexpr const char* kUnwantedExtensions[] = {"event", "events",      "surface", "latency",
                                               "links", "fingerprint", "progress"};

bool isAmong(const std::string& text, const auto& names) {
    return std::any_of(std::begin(names), std::end(names),
                       [&text](const char* name) { return text == name; });
}

}  // namespace

Json::parser_callback_t FigureFilter::callback(std::size_t lineBytes) {
    *this = {};
    m_isTooLong = lineBytes > kLongestKept;
    return [this](int depth, Json::parse_event_t event, const Json& parsed) {
        return keeps(depth, event, parsed);
    };
}

bool FigureFilter::leavesOut(const std::string& extension) {
    return isAmong(extension, kUnwantedExtensions);
}

bool FigureFilter::keeps(int depth, Json::parse_event_t event, const Json& parsed) {
    using Event = Json::parse_event_t;
    const bool hasLeft = event == Event::key ? depth <= m_droppedAt : depth < m_droppedAt;
    if (m_droppedAt != kNowhere && !hasLeft)
        return false;
    m_droppedAt = kNowhere;
    if (event == Event::value && m_isNameNext && parsed.is_string())
        m_extension = parsed.get<std::string>();
    m_isNameNext = false;
    if (event != Event::key)
        return true;
    const auto key = parsed.get<std::string>();
    if (depth == kArtifactDepth)
        m_isInStep = key == "testStepArtifact";
    m_isNameNext = m_isInStep && depth == kPartDepth && key == "name";
    if (!isUnwanted(depth, key))
        return true;
    m_droppedAt = depth;
    m_hasDropped = true;
    return false;
}

bool FigureFilter::isUnwanted(int depth, const std::string& key) const {
    if (depth == kKindDepth && m_isTooLong)
        return true;
    if (!m_isInStep)
        return false;
    return (depth == kKindDepth && isAmong(key, kUnwantedKinds)) ||
           (depth == kPartDepth && key == "content" && leavesOut(m_extension));
}

}  // namespace drivetest
