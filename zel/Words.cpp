#include "zel/Words.h"

#include <map>

#include "zel/Resource.h"

namespace zel {

namespace {

String& package() {
    static auto* const name = new String;  // texts are looked up until the very end
    return *name;
}

String translated(const char* english) {
    String text;
    if (package().isEmpty() || !Resource::getString(package(), english, ZELLocale::getGlobalLocale(), text))
        return english;
    return text;
}

std::string filled(const char* english, std::initializer_list<Placeholder> values,
                   std::map<String, String> all) {
    for (const Placeholder& value : values)
        all.emplace(value.name, value.value);
    return fillPlaceholders(translated(english), all).utf8();
}

/// Unicode's plural rules for whole numbers. Where a language has one form for all, both texts are the same.
bool isOne(std::uint64_t n) {
    const bool isFrench = ZELLocale::getGlobalLocale().tag().utf8().starts_with("fr");
    return n == 1 || (n == 0 && isFrench);
}

}  // namespace

std::string words(const char* english, std::initializer_list<Placeholder> values) {
    return filled(english, values, {});
}

Wording worded(const char* english, std::initializer_list<Placeholder> values) {
    std::map<String, String> all;
    for (const Placeholder& value : values)
        all.emplace(value.name, value.english.value_or(value.value));
    return {fillPlaceholders(english, all), words(english, values)};
}

std::string counted(std::uint64_t n, const char* one, const char* other,
                    std::initializer_list<Placeholder> values) {
    return filled(isOne(n) ? one : other, values, {{"n", String::number(n)}});
}

void setWordsPackage(const String& name) {
    package() = name;
}

}  // namespace zel
