#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>

#include "support/RecordingHost.h"
#include "zel/Buffer.h"
#include "zel/Clock.h"
#include "zel/Resource.h"
#include "zel/SharedResource.h"

namespace zel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing_support::RecordingHost;

struct Base {
    explicit Base(int& counter) : ends(counter) {}
    virtual ~Base() { ++ends; }
    int& ends;
};
struct Derived : Base {
    using Base::Base;
};

TEST(SharedResource, LastHolderReleasesWhateverItsType) {
    int ends = 0;
    SharedPointer<Derived> derived(std::make_unique<Derived>(ends));
    SharedPointer<Base> base = derived, copy = base;
    EXPECT_EQ(base.references(), 3);
    EXPECT_EQ(CopiedResource<PointerStorage<Base>>(base).get(), derived.get());
    derived.release();
    copy = SharedPointer<Base>();
    EXPECT_EQ(base.references(), 1);
    EXPECT_EQ(ends, 0);
    base.release();
    EXPECT_EQ(ends, 1);
}

TEST(Array, BoundsAreAsserted) {
    const RecordingHost host;
    const Array<int> array{1, 2};
    EXPECT_EQ(array[1], 2);
    EXPECT_THROW((void)array[2], std::logic_error);
    EXPECT_THAT(host.linesOf("zel", 4), ElementsAre("broken precondition: index < size()"));
}

TEST(Buffer, IsPageAlignedAndWritableToItsLastByte) {
    for (const std::size_t bytes : {1U, 4097U, 2097152U, 2097153U}) {
        Buffer buffer(bytes);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer.data()) % 4096, 0U) << bytes;
        buffer.data()[0] = buffer.data()[bytes - 1] = 1;
    }
}

TEST(Logger, TheLargerOfBothThresholdsHolds) {
    EXPECT_EQ(LogFactory::priority(), 3);
    const RecordingHost restoresTheThreshold;
    Logger& logger = LogFactory::createLogger("test.threshold");
    const struct {
        int factory, own, resolved;
    } cases[] = {{3, 0, 3}, {3, 5, 5}, {0, 5, 5}, {0, 2, 2}, {4, 2, 4}, {4, 0, 4}, {0, 0, 0}};
    for (const auto& c : cases) {
        LogFactory::setPriority(c.factory);
        logger.setPriority(c.own);
        EXPECT_EQ(logger.resolvePriority(), c.resolved);
        EXPECT_TRUE(logger.allows(c.resolved) && !logger.allows(c.resolved - 1));
        const std::string later = "test.later" + std::to_string(c.factory);
        EXPECT_EQ(LogFactory::createLogger(later.c_str()).resolvePriority(), c.factory);
    }
}

/// A piece that counts how often it is turned into text.
struct Piece {
    int& composed;
};
LoggerStream& operator<<(LoggerStream& stream, const Piece& piece) {
    ++piece.composed;
    return stream << "piece";
}

TEST(Logger, ALineThatIsNotLetThroughComposesNothing) {
    RecordingHost host;
    LogFactory::setPriority(3);
    int composed = 0;
    Logger& logger = LogFactory::createLogger("test");
    logger.line(2, Piece{composed});
    EXPECT_EQ(composed, 0);
    logger.line(3, Piece{composed}, " ", formatted("%02Xh", 7U), " ", -1, " ", String("é"));
    EXPECT_EQ(composed, 1);
    EXPECT_THAT(host.linesOf("test", 3), ElementsAre("piece 07h -1 é"));
    EXPECT_EQ(host.log.size(), 1U);
}

class ResourceTest : public testing::Test {
protected:
    ResourceTest() { std::filesystem::create_directories(folder); }
    ~ResourceTest() override {
        Resource::reset();
        std::filesystem::remove_all(folder);
    }
    std::string file(const std::string& name, const std::string& content) {
        std::ofstream(folder / name, std::ios::binary) << content;
        return (folder / name).string();
    }
    static std::string text(const String& package, const char* key, const char* locale = "en") {
        String found;
        return Resource::getString(package, key, ZELLocale(locale), found) ? found.utf8() : "(none)";
    }
    std::filesystem::path folder = testing::TempDir() + "resources-" + std::to_string(std::random_device()());
};

constexpr const char* kPackage = R"({"settings": {"Site": "s"}, "locales": {
    "en": {"a": "en a", "b": "en b", "c": "en c"},
    "de": {"a": "de a", "b": "de b", "only": "nur"}, "de-AT": {"a": "at a"}}})";

TEST_F(ResourceTest, FallsBackFromTheCountryToTheLanguageToEnglish) {
    const String package = file("p.qpk", kPackage);
    EXPECT_EQ(text(package, "a", "de-AT") + text(package, "b", "de_AT.UTF-8") + text(package, "c", "de-AT"),
              "at ade ben c");
    EXPECT_EQ(text(package, "a", "de-CH") + text(package, "a", "fr-FR"), "de aen a");
    EXPECT_EQ(text(package, "only", "de") + text(package, "only", "en-GB"), "nur(none)");
    String setting;
    EXPECT_FALSE(Resource::getSetting(package, "a", ZELLocale("en"), setting));
    EXPECT_TRUE(Resource::getSetting(package, "Site", ZELLocale("ja"), setting));
    EXPECT_EQ(setting + Resource::loadError(package), "s");
}

TEST_F(ResourceTest, SaysWhyAPackageHasNoEntries) {
    EXPECT_EQ(text("named", "a"), "(none)");
    EXPECT_EQ(Resource::loadError("named"), "named.qpk was not found");
    file("named.qpk", kPackage);
    Resource::addPackageDirectory((folder / "elsewhere").string());
    Resource::addPackageDirectory(folder.string());
    EXPECT_EQ(text("named", "a"), "en a");
    const std::string missing = (folder / "missing.qpk").string();
    EXPECT_EQ(Resource::loadError(missing), missing + " cannot be read");
    int number = 0;
    for (const char* content : {"", "{\"locales\": {", "[1]", "{\"a\": \"\xC3\"}"}) {
        const std::string path = file(std::to_string(number++) + ".qpk", content);
        EXPECT_EQ(text(path, "a"), "(none)");
        EXPECT_EQ(Resource::loadError(path), path + " is damaged: it is not a JSON object");
    }
    EXPECT_EQ(text(file("odd.qpk", R"({"locales": {"en": ["a"], "de": {"a": 1}}})"), "a", "de"), "(none)");
}

TEST(ZELLocale, ReadsTagsAndPosixNames) {
    for (const char* name : {"C", "POSIX", "C.UTF-8", "", "en.UTF-8"})
        EXPECT_EQ(ZELLocale(name).tag(), "en") << name;
    EXPECT_EQ(ZELLocale("de_DE@euro").tag(), "de-DE");
    EXPECT_THAT(ZELLocale("zh_Hans_CN.UTF-8").fallbacks(), ElementsAre("zh-Hans-CN", "zh-Hans", "zh", "en"));
    EXPECT_THAT(ZELLocale("en_GB").fallbacks(), ElementsAre("en-GB", "en"));
}

TEST(Clock, SimulatedOneMovesOnlyWhenToldAndMillisecondsWrapAt32Bits) {
    SimulatedClock clock;
    zel::Clock* const before = Clock::install(&clock);
    const Stopwatch watch;
    System::mssleep(1500);
    clock.advance(999999ns);
    EXPECT_EQ(watch.elapsed(), 1500999999ns);
    EXPECT_EQ(watch.elapsedMilliseconds(), 1500U);
    clock.advance(4294967295ms - 1500ms);
    EXPECT_EQ(watch.elapsedMilliseconds(), 4294967295U);
    clock.advance(6ms);
    EXPECT_EQ(watch.elapsedMilliseconds(), 5U);
    EXPECT_EQ(Clock::install(before), &clock);
}

}  // namespace
}  // namespace zel
