#pragma once

#include <string>
#include <vector>

#include "zel/Resource.h"

namespace drivetest {

inline constexpr const char* kLanguageOption = "--lang";

/// The variable of the environment that names a language in place of all others.
inline constexpr const char* kLanguageVariable = "LC_ALL";

/// Chooses the language of all texts, before the first is shown: the one that --lang names among the
/// arguments, else that of LC_ALL, else the one that was `set`, else that of the environment or the system,
/// else English. False, with a sentence, when --lang names one that there is not.
bool chooseLanguage(const std::vector<std::string>& arguments, const std::string& set, std::string& error);
/// What --lang names; empty where it is not among the arguments.
std::string languageAmong(const std::vector<std::string>& arguments);

bool isLanguage(const std::string& language);
/// "en, de, ..."
std::string knownLanguages();

/// The language that the texts are in, such as "de": English where there are none in the chosen one.
std::string languageOfTexts();

/// Texts are in another language while this lives; in the same where there are none in that.
class LanguageChange {
public:
    explicit LanguageChange(const std::string& language);
    ~LanguageChange();
    LanguageChange(const LanguageChange&) = delete;
    LanguageChange& operator=(const LanguageChange&) = delete;

private:
    zel::ZELLocale m_before;
};

/// A number with so many digits behind the point, as the language writes it. For people; records have their
/// own.
std::string decimalText(double value, int digits);

}  // namespace drivetest
