#include "zel/Words.h"

#include <algorithm>
#include <string_view>

#include "zel/Resource.h"

namespace zel {

namespace {

String& package() {
    static auto* const name = new String;  // texts are looked up until the very end
    return *name;
}

/// English stands in the source: its package need not even be read.
bool isEnglish(const ZELLocale& locale) {
    const std::string tag = locale.tag().utf8();
    return tag.empty() || tag == "en" || tag.starts_with("en-");
}

std::string translated(const char* english) {
    String text;
    if (package().isEmpty() || isEnglish(ZELLocale::getGlobalLocale()) ||
        !Resource::getString(package(), english, ZELLocale::getGlobalLocale(), text))
        return english;
    return text.utf8();
}

/// Every "{name}" in the text that `valueOf` has a value for is replaced by it.
template <class ValueOf>
std::string filled(const std::string& text, ValueOf valueOf) {
    std::string result;
    std::size_t from = 0;
    for (std::size_t open = 0; (open = text.find('{', from)) != std::string::npos;) {
        const std::size_t close = text.find('}', open);
        const std::string* const value =
            close == std::string::npos ? nullptr
                                       : valueOf(std::string_view(text).substr(open + 1, close - open - 1));
        result.append(text, from, open - from);
        from = value != nullptr ? close + 1 : open + 1;
        result += value != nullptr ? *value : "{";
    }
    return result.append(text, from, std::string::npos);
}

const Placeholder* find(std::initializer_list<Placeholder> values, std::string_view name) {
    const auto* const found = std::find_if(values.begin(), values.end(),
                                           [name](const Placeholder& value) { return value.name == name; });
    return found != values.end() ? found : nullptr;
}

/// Unicode's plural rules for whole numbers. Where a language has one form for all, both texts are the same.
bool isOne(std::uint64_t n) {
    const bool isFrench = ZELLocale::getGlobalLocale().tag().utf8().starts_with("fr");
    return n == 1 || (n == 0 && isFrench);
}

}  // namespace

std::string words(const char* english, std::initializer_list<Placeholder> values) {
    return filled(translated(english), [&](std::string_view name) {
        const Placeholder* const value = find(values, name);
        return value != nullptr ? &value->value : nullptr;
    });
}

Wording worded(const char* english, std::initializer_list<Placeholder> values) {
    const std::string inEnglish = filled(english, [&](std::string_view name) -> const std::string* {
        const Placeholder* const value = find(values, name);
        if (value == nullptr)
            return nullptr;
        return value->english ? &*value->english : &value->value;
    });
    return {String(inEnglish), String(words(english, values))};
}

std::string counted(std::uint64_t n, const char* one, const char* other,
                    std::initializer_list<Placeholder> values) {
    const std::string number = std::to_string(n);
    return filled(translated(isOne(n) ? one : other), [&](std::string_view name) {
        const Placeholder* const value = find(values, name);
        return name == "n" ? &number : value != nullptr ? &value->value : nullptr;
    });
}

void setWordsPackage(const String& name) {
    package() = name;
}

}  // namespace zel
