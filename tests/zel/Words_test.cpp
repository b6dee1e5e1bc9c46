#include "zel/Words.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "zel/Path.h"
#include "zel/Resource.h"

namespace zel {
namespace {

class Words : public testing::Test {
protected:
    Words() {
        std::ofstream(m_package)
            << R"({"locales": {"fr": {"{n} error": "{n} erreur", "{n} errors": "{n} erreurs",
            "the drive {drive} is gone": "le disque {drive} n'est plus là",
            "{what} failed: {reason}": "échec de {what} : {reason}", "it is busy": "il est occupé"}}})";
        setWordsPackage(textOf(m_package));
    }
    ~Words() override {
        setWordsPackage("");
        ZELLocale::setGlobalLocale(ZELLocale("en"));
        Resource::reset();
        std::filesystem::remove(m_package);
    }

    static std::string gone() { return words("the drive {drive} is gone", {{"drive", "/dev/{n}"}}); }

    std::filesystem::path m_package = std::filesystem::path(testing::TempDir()) / "words_test.qpk";
};

TEST_F(Words, AreThoseOfTheLanguageElseEnglish) {
    EXPECT_EQ(gone(), "the drive /dev/{n} is gone");
    ZELLocale::setGlobalLocale(ZELLocale("fr_CA.UTF-8"));
    EXPECT_EQ(gone(), "le disque /dev/{n} n'est plus là");
    EXPECT_EQ(words("{n} bytes", {{"n", 7U}}), "7 bytes");  // no language has it
    setWordsPackage("missing.qpk");
    EXPECT_EQ(gone(), "the drive /dev/{n} is gone");
}

TEST_F(Words, ForRecordsStayEnglishInAllTheirParts) {
    ZELLocale::setGlobalLocale(ZELLocale("fr"));
    const Wording reason = worded("it is busy");
    const Wording text = worded("{what} failed: {reason}", {{"what", "A"}, {"reason", reason}});
    EXPECT_EQ(text.shown().utf8(), "échec de A : il est occupé");
    EXPECT_EQ(text.utf8(), "A failed: it is busy");
    EXPECT_EQ(words("{what} failed: {reason}", {{"what", "B"}, {"reason", text}}),
              "échec de B : échec de A : il est occupé");
}

TEST_F(Words, OfCountsFollowTheRulesOfTheLanguage) {
    const auto errors = [](std::uint64_t n) { return counted(n, "{n} error", "{n} errors"); };
    EXPECT_EQ(errors(0) + errors(1) + errors(2), "0 errors1 error2 errors");
    ZELLocale::setGlobalLocale(ZELLocale("fr"));
    EXPECT_EQ(errors(0) + errors(1) + errors(2), "0 erreur1 erreur2 erreurs");
}

}  // namespace
}  // namespace zel
