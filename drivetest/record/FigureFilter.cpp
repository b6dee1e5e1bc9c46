#include "drivetest/record/FigureFilter.h"

#include <algorithm>
#include <iterator>

#include "drivetest/record/RecordedExtensions.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

/// Of the kinds that are kept, the writer makes no line as long as this.
constexpr std::size_t kLongestKept = std::size_t{2} << 20;

// Depths of keys in a line: testStepArtifact, what of it, and the parts of an extension.
constexpr int kArtifactDepth = 1;
constexpr int kKindDepth = 2;
constexpr int kPartDepth = 3;

/// Far more than any object of a record has.
constexpr std::size_t kMostKeys = 1000;

/// What is kept of any line.
constexpr const char* kNumbering[] = {"sequenceNumber", "timestamp"};
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
    if (event == Event::object_start)
        m_keys.resize(static_cast<std::size_t>(depth));
    if (event == Event::array_start && depth == 0)
        return !m_isTooLong;
    if (event != Event::key)
        return true;
    countKey(depth);
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

/// The object at this depth has begun with that size of m_keys.
void FigureFilter::countKey(int depth) {
    const auto place = static_cast<std::size_t>(depth);
    m_keys.resize(place);
    if (++m_keys[place - 1] > kMostKeys)
        throw RecordFault(zel::words("this line of the record is damaged"));
}

bool FigureFilter::isUnwanted(int depth, const std::string& key) const {
    if (depth == kArtifactDepth && m_isTooLong)
        return !isAmong(key, kNumbering);
    if (!m_isInStep)
        return false;
    return (depth == kKindDepth && isAmong(key, kUnwantedKinds)) ||
           (depth == kPartDepth && key == "content" && leavesOut(m_extension));
}

}  // namespace drivetest
