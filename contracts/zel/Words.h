#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <string>

#include "zel/Export.h"
#include "zel/String.h"

namespace zel {

/// What takes the place of "{name}" in a text. Numbers are given with decimal digits.
struct Placeholder {
    const char* name;
    std::string value;

    Placeholder(const char* placeholder, std::string text) : name(placeholder), value(std::move(text)) {}
    Placeholder(const char* placeholder, const char* text) : name(placeholder), value(text) {}
    Placeholder(const char* placeholder, const String& text) : name(placeholder), value(text.utf8()) {}
    template <std::integral T>
    Placeholder(const char* placeholder, T number) : name(placeholder), value(std::to_string(number)) {}
};

/// A text of the program, UTF-8, in the language of ZELLocale::getGlobalLocale(). The text in English, as it
/// stands in the source, is its key in the package of setWordsPackage(), and what is used where that has no
/// such text. Call it with a literal: scripts/check_words.py finds those, and asks for them in every
/// language.
DRIVETEST_API std::string words(const char* english, std::initializer_list<Placeholder> values = {});

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
