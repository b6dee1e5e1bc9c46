#include "zel/Regex.h"

#include <regex>

namespace zel {

namespace {

/// Takes time by the length of the text, and no stack: the usual way recurses once a character.
constexpr auto kFlags = std::regex::ECMAScript | std::regex_constants::__polynomial;

}  // namespace

struct Regex::Compiled {
    std::regex expression;
};

Regex::Regex(const char* pattern) {
    try {
        m_compiled = std::make_unique<Compiled>(Compiled{std::regex(pattern, kFlags)});
    } catch (const std::regex_error&) {
        m_compiled.reset();
    }
}

Regex::~Regex() = default;

Matcher::Matcher(const Regex& regex, const String& text) {
    if (regex.m_compiled == nullptr)
        return;
    try {
        const std::string bytes = text.utf8();
        std::smatch groups;
        m_matches = std::regex_match(bytes, groups, regex.m_compiled->expression);
        for (const auto& group : groups)
            m_groups.emplace_back(group.str());
    } catch (const std::regex_error&) {
        m_matches = false;
    }
}

String Matcher::group(std::size_t index) const {
    return index < m_groups.size() ? m_groups[index] : String();
}

}  // namespace zel
