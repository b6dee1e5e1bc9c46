#include "drivetest/terminal/Language.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "drivetest/terminal/Terminal.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Format.h"
#include "zel/Path.h"
#include "zel/Resource.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

constexpr const char* kPackage = "drivetest.qpk";  ///< beside the program
constexpr const char* kKnown[] = {"en", "de", "fr", "es", "ja", "zh"};

bool isKnown(const zel::ZELLocale& locale) {
    const std::string tag = locale.tag().utf8();
    return std::any_of(
        std::begin(kKnown), std::end(kKnown),
        [language = tag.substr(0, tag.find('-'))](const char* known) { return language == known; });
}

std::string valueOf(const char* variable) {
    const char* const value = std::getenv(variable);
    return value != nullptr ? value : "";
}

/// Of whoever set nothing for this program.
std::string languageOfSystem() {
    for (const char* variable : {"LC_MESSAGES", "LANG"})
        if (std::string value = valueOf(variable); !value.empty())
            return value;
    return systemLanguage();
}

}  // namespace

bool chooseLanguage(const std::vector<std::string>& arguments, const std::string& set, std::string& error) {
    zel::setWordsPackage(zel::textOf(zel::pathOf(programFolder()) / kPackage));
    const std::string all = valueOf(kLanguageVariable);
    const std::string otherwise = !all.empty() ? all : !set.empty() ? set : languageOfSystem();
    zel::ZELLocale::setGlobalLocale(zel::ZELLocale(otherwise));
    const std::string chosen = languageAmong(arguments);
    if (chosen.empty())
        return true;
    if (!isLanguage(chosen)) {
        error = zel::words("there are no texts in the language {language}; there are: {known}",
                           {{"language", quoted(chosen)}, {"known", knownLanguages()}});
        return false;
    }
    zel::ZELLocale::setGlobalLocale(zel::ZELLocale(chosen));
    return true;
}

std::string languageAmong(const std::vector<std::string>& arguments) {
    const std::string assigned = std::string(kLanguageOption) + "=";
    for (std::size_t i = 1; i < arguments.size() && arguments[i] != "--"; ++i) {
        if (arguments[i].starts_with(assigned))
            return arguments[i].substr(assigned.size());
        if (arguments[i] == kLanguageOption && i + 1 < arguments.size())
            return arguments[i + 1];
    }
    return {};
}

bool isLanguage(const std::string& language) {
    return isKnown(zel::ZELLocale(language));
}

std::string knownLanguages() {
    std::string list;
    for (const char* known : kKnown)
        list += (list.empty() ? "" : ", ") + std::string(known);
    return list;
}

std::string languageOfTexts() {
    const zel::ZELLocale locale = zel::ZELLocale::getGlobalLocale();
    const std::string tag = locale.tag().utf8();
    return isKnown(locale) ? tag.substr(0, tag.find('-')) : "en";
}

LanguageChange::LanguageChange(const std::string& language) : m_before(zel::ZELLocale::getGlobalLocale()) {
    if (const auto* const known = std::ranges::find(kKnown, language); known != std::end(kKnown))
        zel::ZELLocale::setGlobalLocale(zel::ZELLocale(*known));
}

LanguageChange::~LanguageChange() {
    zel::ZELLocale::setGlobalLocale(m_before);
}

std::string decimalText(double value, int digits) {
    std::string text = zel::format(("%." + std::to_string(digits) + "f").c_str(), value).utf8();
    if (const auto point = text.find('.'); point != std::string::npos)
        text.replace(point, 1, zel::words("."));
    return text;
}

}  // namespace drivetest
