#include "zel/Resource.h"

#include <algorithm>
#include <fstream>
#include <istream>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>

#include "zel/Path.h"

namespace zel {

namespace {

using nlohmann::json;

struct Package {
    json document;
    String error;
    std::vector<String> languages;  ///< those of its texts that are kept
};

/// What was read so far. Never destroyed: texts are looked up until the very end.
struct Packages {
    std::mutex mutex;
    std::vector<String> directories;
    std::map<String, Package> loaded;
    ZELLocale locale;
};

Packages& packages() {
    static auto* const instance = new Packages;
    return *instance;
}

String findFile(const String& package) {
    if (package.utf8().ends_with(".qpk"))
        return package;
    for (const String& directory : packages().directories) {
        const std::string path = textOf(pathOf(directory.utf8()) / pathOf(package.utf8() + ".qpk"));
        if (isRegularFile(path))
            return path;
    }
    return {};
}

/// The texts of other languages would only take memory.
json parse(std::istream& file, const std::vector<String>& languages) {
    bool isOfTexts = false;
    return json::parse(
        file,
        [&](int depth, json::parse_event_t event, json& parsed) {
            if (event != json::parse_event_t::key || depth > 2)
                return true;
            const auto& key = parsed.get_ref<const std::string&>();
            if (depth == 1)
                isOfTexts = key == "locales";
            return depth == 1 || !isOfTexts || std::ranges::find(languages, String(key)) != languages.end();
        },
        false);
}

Package readPackage(const String& package, std::vector<String> languages) {
    const String path = findFile(package);
    if (path.isEmpty())
        return {json::object(), package + ".qpk was not found", {}};
    std::ifstream file(pathOf(path.utf8()), std::ios::binary);
    if (!file)
        return {json::object(), path + " cannot be read", {}};
    json document = parse(file, languages);
    if (!document.is_object())
        return {json::object(), path + " is damaged: it is not a JSON object", {}};
    return {std::move(document), {}, std::move(languages)};
}

/// With the texts of these languages at least. The caller holds the mutex.
const Package& load(const String& name, const std::vector<String>& languages) {
    auto& loaded = packages().loaded;
    const auto known = loaded.find(name);
    std::vector<String> all = known != loaded.end() ? known->second.languages : packages().locale.fallbacks();
    for (const String& language : languages)
        if (std::ranges::find(all, language) == all.end())
            all.push_back(language);
    if (known == loaded.end())
        return loaded.emplace(name, readPackage(name, std::move(all))).first->second;
    if (known->second.error.isEmpty() && all.size() != known->second.languages.size())
        known->second = readPackage(name, std::move(all));
    return known->second;
}

bool findText(const json& section, const std::string& key, String& text) {
    if (!section.is_object())
        return false;
    const auto entry = section.find(key);
    if (entry == section.end() || !entry->is_string())
        return false;
    text = entry->get<std::string>();
    return true;
}

const json& member(const json& object, const std::string& key) {
    static const json none;
    return object.is_object() && object.contains(key) ? object[key] : none;
}

}  // namespace

ZELLocale::ZELLocale(const String& name) {
    const std::string text = name.utf8();
    const std::string bare = text.substr(0, text.find_first_of(".@"));
    if (!bare.empty() && bare != "C" && bare != "POSIX")
        m_tag = String(bare).replace("_", "-");
}

std::vector<String> ZELLocale::fallbacks() const {
    std::vector<String> tags;
    for (std::string tag = m_tag.utf8(); !tag.empty();) {
        tags.emplace_back(tag);
        const auto dash = tag.rfind('-');
        tag.resize(dash == std::string::npos ? 0 : dash);
    }
    if (tags.empty() || tags.back() != "en")
        tags.emplace_back("en");
    return tags;
}

const ZELLocale& ZELLocale::getGlobalLocale() {
    return packages().locale;
}

void ZELLocale::setGlobalLocale(const ZELLocale& locale) {
    packages().locale = locale;
}

bool Resource::getString(const String& package, const char* key, const ZELLocale& locale, String& text) {
    const std::lock_guard lock(packages().mutex);
    const std::vector<String> languages = locale.fallbacks();
    const json& locales = member(load(package, languages).document, "locales");
    for (const String& tag : languages)
        if (findText(member(locales, tag.utf8()), key, text))
            return true;
    return false;
}

bool Resource::getSetting(const String& package, const char* name, const ZELLocale& /*locale*/,
                          String& text) {
    const std::lock_guard lock(packages().mutex);
    return findText(member(load(package, {}).document, "settings"), name, text);
}

void Resource::addPackageDirectory(const String& directory) {
    const std::lock_guard lock(packages().mutex);
    packages().directories.push_back(directory);
    std::erase_if(packages().loaded, [](const auto& entry) { return !entry.second.error.isEmpty(); });
}

String Resource::loadError(const String& package) {
    const std::lock_guard lock(packages().mutex);
    return load(package, {}).error;
}

void Resource::reset() {
    const std::lock_guard lock(packages().mutex);
    packages().directories.clear();
    packages().loaded.clear();
}

String fillPlaceholders(const String& text, const std::map<String, String>& values) {
    std::string filled;
    const std::string pattern = text.utf8();
    std::size_t start = 0;
    for (std::size_t open = 0; (open = pattern.find('{', start)) != std::string::npos;) {
        const std::size_t close = pattern.find_first_of("{}", open + 1);
        if (close == std::string::npos)
            break;
        if (pattern[close] == '{') {  // the first one opened no placeholder
            filled.append(pattern, start, close - start);
            start = close;
            continue;
        }
        const auto value = values.find(pattern.substr(open + 1, close - open - 1));
        filled.append(pattern, start, open - start);
        filled += value != values.end() ? value->second.utf8() : pattern.substr(open, close - open + 1);
        start = close + 1;
    }
    return filled + pattern.substr(start);
}

}  // namespace zel
