#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>

#include "zel/Export.h"
#include "zel/String.h"

namespace zel {

/// A text in English, for records and logs, and the same in the language of the moment, for people. Where it
/// is taken for a String, it is the English one.
class Wording {
public:
    Wording() = default;
    Wording(const char* text) : Wording(String(text)) {}
    Wording(const std::string& text) : Wording(String(text)) {}
    Wording(const String& text) : m_english(text), m_shown(text) {}
    Wording(String english, String shown) : m_english(std::move(english)), m_shown(std::move(shown)) {}

    [[nodiscard]] const String& english() const { return m_english; }
    [[nodiscard]] const String& shown() const { return m_shown; }
    [[nodiscard]] std::string utf8() const { return m_english.utf8(); }
    [[nodiscard]] bool isEmpty() const { return m_english.isEmpty(); }
    operator const String&() const { return m_english; }
    friend bool operator==(const Wording& wording, const String& english) {
        return wording.m_english == english;
    }

private:
    String m_english;
    String m_shown;
};

/// What takes the place of "{name}" in a text. Numbers are given with decimal digits.
struct Placeholder {
    const char* name;
    std::string value;
    std::optional<std::string> english{};  ///< where that is another text

    Placeholder(const char* placeholder, std::string text) : name(placeholder), value(std::move(text)) {}
    Placeholder(const char* placeholder, const char* text) : name(placeholder), value(text) {}
    Placeholder(const char* placeholder, const String& text) : name(placeholder), value(text.utf8()) {}
    Placeholder(const char* placeholder, const Wording& text)
        : name(placeholder), value(text.shown().utf8()), english(text.utf8()) {}
    template <std::integral T>
    Placeholder(const char* placeholder, T number) : name(placeholder), value(std::to_string(number)) {}
};

/// A text of the program, UTF-8, in the language of ZELLocale::getGlobalLocale(). The text in English, as it
/// stands in the source, is its key in the package of setWordsPackage(), and what is used where that has no
/// such text. Call it with a literal: scripts/check_words.py finds those, and asks for them in every
/// language.
DRIVETEST_API std::string words(const char* english, std::initializer_list<Placeholder> values = {});

/// words() for what goes to records and logs as well: with the English text, in which each value that is a
/// Wording is in English, too.
DRIVETEST_API Wording worded(const char* english, std::initializer_list<Placeholder> values = {});

/// words() for a count, which also takes the place of "{n}": `one` or `other` by the rules of the language.
DRIVETEST_API std::string counted(std::uint64_t n, const char* one, const char* other,
                                  std::initializer_list<Placeholder> values = {});

/// Marks a literal that stands in a table, from which words() gets it later.
constexpr const char* marked(const char* english) {
    return english;
}

/// Names the package of all texts of the program; none before.
DRIVETEST_API void setWordsPackage(const String& package);

}  // namespace zel
