#include "quix5/Event.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <fstream>
#include <random>

#include "support/RecordingHost.h"
#include "zel/Resource.h"

namespace quix5 {
namespace {

constexpr const char* kTexts = R"({"locales": {
    "en": {"LocalizedString.readError": "Sector {LBA} of {Drive} cannot be read ({LBA}).",
           "LocalizedString.title": "Test {Name}"},
    "de": {"LocalizedString.readError": "Sektor {LBA} von {Drive} ist nicht lesbar."}}})";

class EventTest : public testing::Test {
protected:
    EventTest() { zel::Resource::reset(); }
    ~EventTest() override {
        zel::ZELLocale::setGlobalLocale(zel::ZELLocale());
        DiagModule::registerLibrary("");
        zel::Resource::reset();
        std::remove(m_package.c_str());
    }
    void usePackage() {
        std::ofstream(m_package) << kTexts;
        DiagModule::registerLibrary(m_package.c_str());
    }

private:
    std::string m_package = testing::TempDir() + "events-" + std::to_string(std::random_device()()) + ".qpk";
};

TEST_F(EventTest, FillsTheTextOfThePackageInTheGlobalLocale) {
    usePackage();
    Event event("readError");
    event.setVariable("Drive", "/dev/{LBA}")->setVariable("LBA", std::uint64_t{1} << 40);
    EXPECT_EQ(event.localizedMessage(), "Sector 1099511627776 of /dev/{LBA} cannot be read (1099511627776).");
    zel::ZELLocale::setGlobalLocale(zel::ZELLocale("de_AT"));
    EXPECT_EQ(event.localizedMessage(), "Sektor 1099511627776 von /dev/{LBA} ist nicht lesbar.");
}

TEST_F(EventTest, WithoutATextTheKeyAndTheVariablesAreTheMessage) {
    Event event("readError");
    EXPECT_EQ(event.localizedMessage(), "readError");
    event.setVariable("LBA", 5U)->setVariable("Share", Value::percent(12.5))->setVariable("Ok", "");
    event.setVariable("Ok", Value::boolean(true))->setVariable("LBA", "none");
    EXPECT_EQ(event.localizedMessage(), "readError: LBA=none, Share=12.5, Ok=true");
    usePackage();
    EXPECT_EQ(Event("other").setVariable("A", "b")->localizedMessage(), "other: A=b");
}

TEST_F(EventTest, LocalizedStringWithoutATextIsEmpty) {
    EXPECT_EQ(LocalizedString("title").setVariable("Name", "x")->localizedString(), QuixString(""));
    usePackage();
    EXPECT_EQ(LocalizedString("title").setVariable("Name", "x")->localizedString(), QuixString("Test x"));
    EXPECT_EQ(LocalizedString("other").localizedString(), QuixString(""));
}

}  // namespace
}  // namespace quix5
