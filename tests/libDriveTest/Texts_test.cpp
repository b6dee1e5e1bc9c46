#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "ModuleFixture.h"
#include "quix5/ModuleDescriptor.h"

namespace libDriveTest {
namespace {

using Words = std::set<std::string>;

/// What stands between `open` and `close` after every `before`, with at most a name in between.
Words findAll(const std::string& text, const std::string& before, const std::string& open, char close) {
    Words found;
    for (auto at = text.find(before); at != std::string::npos; at = text.find(before, at)) {
        at += before.size();
        const auto start = text.find(open, at);
        if (start != std::string::npos && text.find_first_of("(,);", at) >= start)
            found.insert(text.substr(start + open.size(),
                                     text.find(close, start + open.size()) - start - open.size()));
    }
    return found;
}

Words placeholders(const std::string& text) {
    return findAll(text, "{", "", '}');
}

std::string moduleSources() {
    std::ostringstream sources;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(MODULE_SOURCES))
        if (entry.path().extension() == ".cpp" || entry.path().extension() == ".h")
            sources << std::ifstream(entry.path()).rdbuf();
    return sources.str();
}

/// The keys of the events and strings that the module's sources create or look up.
Words textKeys() {
    const std::string sources = moduleSources();
    Words keys = findAll(sources, "SharedEvent ", "{\"", '"');
    keys.merge(findAll(sources, "SharedString ", "{\"", '"'));
    keys.merge(findAll(sources, "localize(", "\"", '"'));
    return keys;
}

using Texts = ModuleFixture;

TEST_F(Texts, ExistInEveryLanguageWithTheSamePlaceholders) {
    const auto package = nlohmann::json::parse(std::ifstream(MODULE_PACKAGE));
    const nlohmann::json& english = package["locales"]["en"];
    const Words variables = findAll(moduleSources(), "setVariable(", "\"", '"');
    Words keys;
    for (const std::string& key : textKeys())
        keys.insert("LocalizedString." + key);
    EXPECT_GE(keys.size(), 35U);
    const quix5::ModuleDescriptor& module = *quix5ModuleDescriptor();
    for (const quix5::TestEntry& entry : std::vector(module.tests, module.tests + module.testCount)) {
        quix5::Test offered(entry.name);
        entry.init(offered);
        keys.insert("Test." + offered.name().utf8());
        if (entry.traits.mediaText != nullptr)
            keys.insert(entry.traits.mediaText);
        for (const quix5::Parameter* parameter : offered.parameters())
            keys.insert("Parameter." + parameter->name().utf8());
    }
    for (const char* language : {"en", "de", "fr", "es", "ja", "zh"})
        for (const std::string& key : keys) {
            const std::string text = package["locales"][language].value(key, "");
            EXPECT_FALSE(text.empty()) << language << " " << key;
            EXPECT_EQ(placeholders(text), placeholders(english.value(key, ""))) << language << " " << key;
            EXPECT_THAT(variables, testing::IsSupersetOf(placeholders(text))) << language << " " << key;
        }
}

TEST_F(Texts, NameNoVariableThatTheReportsDoNotSet) {
    std::filesystem::copy_file(MODULE_PACKAGE, package("libDriveTest", {}),
                               std::filesystem::copy_options::overwrite_existing);
    test.reportRdErr(1);
    test.reportRdErr(1, 2);
    test.reportWrErr(1);
    test.reportWrErr(1, 2);
    test.reportSeekErr(1, kNoSector);
    test.reportIsolationRecover(1, 2, "why");
    EXPECT_EQ(host.log.size(), 6U);
    EXPECT_EQ(host.log.front().text, "Sector 1 cannot be read.");
    for (const auto& line : host.log)
        EXPECT_THAT(line.text, testing::Not(testing::HasSubstr("{")));
}

}  // namespace
}  // namespace libDriveTest
