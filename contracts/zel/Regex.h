#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "zel/Export.h"
#include "zel/String.h"

namespace zel {

/// A compiled ECMAScript regular expression over the UTF-8 bytes of a text. An ill-formed pattern matches
/// nothing.
class DRIVETEST_API Regex {
public:
    explicit Regex(const char* pattern);
    ~Regex();
    Regex(const Regex&) = delete;
    Regex& operator=(const Regex&) = delete;

private:
    friend class Matcher;
    struct Compiled;
    std::unique_ptr<Compiled> m_compiled;
};

/// One text matched against one expression. Of any length.
class DRIVETEST_API Matcher {
public:
    Matcher(const Regex& regex, const String& text);

    /// Whether the whole text matches.
    [[nodiscard]] bool matches() const { return m_matches; }
    /// The text of a group; group 0 is the whole match. Empty for a group that took no part.
    [[nodiscard]] String group(std::size_t index) const;

private:
    bool m_matches = false;
    std::vector<String> m_groups;
};

}  // namespace zel
