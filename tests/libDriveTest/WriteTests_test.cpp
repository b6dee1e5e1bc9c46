#include "ModuleFixture.h"
#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/OSDrive.h"
#include "libDriveTest/CacheTest.h"
#include "libDriveTest/LinearPatternTest.h"
#include "libDriveTest/ReadWriteSpeedTest.h"

namespace libDriveTest {
namespace {

using libDrive2::_LIBDRIVE2_ERROR_TYPES;
using libDrive2::BlockHandle;
using libDrive2::DeviceStatus;
using libDrive2::SharedBlockHandle;
using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using enum TestResult::Code;

SharedBlockHandle openBlock(const std::string& locator) {
    return libDrive2::OsDevice::openOsDevice(locator, libDrive2::kAccessRead | libDrive2::kAccessWrite,
                                             libDrive2::kShareRead, libDrive2::kOpenExisting, 0);
}

/// Fails its Nth command, or all from the Nth on.
class FaultyHandle : public BlockHandle {
public:
    explicit FaultyHandle(SharedBlockHandle inner) : m_inner(std::move(inner)) {}

    int failAt = 0;
    bool forGood = false;
    _LIBDRIVE2_ERROR_TYPES error = libDrive2::LIBDRIVE2_MEDIA_ERROR;
    int commands = 0;
    int writes = 0;

    [[nodiscard]] const libDrive2::BlockDeviceInfo& info() const override { return m_inner->info(); }
    DeviceStatus query() override { return m_inner->query(); }
    DeviceStatus read(std::uint64_t offset, void* buffer, std::size_t bytes) override {
        return fails() ? DeviceStatus{error, "planned"} : m_inner->read(offset, buffer, bytes);
    }
    DeviceStatus write(std::uint64_t offset, const void* buffer, std::size_t bytes) override {
        ++writes;
        return fails() ? DeviceStatus{error, "planned"} : m_inner->write(offset, buffer, bytes);
    }
    DeviceStatus flush() override { return {}; }
    DeviceStatus dropCache() override { return {}; }
    DeviceStatus reopen() override { return {}; }

private:
    bool fails() {
        ++commands;
        return failAt != 0 && (commands == failAt || (forGood && commands > failAt));
    }

    SharedBlockHandle m_inner;
};

class WriteTests : public ModuleFixture {
protected:
    void open(const std::string& locator) {
        model = openBlock(locator);
        auto owned = std::make_unique<FaultyHandle>(openBlock(locator));
        faulty = owned.get();
        tested = std::make_unique<libDrive2::OSDrive>(SharedBlockHandle(std::move(owned)), locator);
        before = contents();
    }
    std::vector<char> contents() {
        std::vector<char> bytes(model->info().bytes);
        EXPECT_TRUE(model->read(0, bytes.data(), bytes.size()).ok());
        return bytes;
    }
    template <class TestClass>
    TestResult run(const std::string& given) {
        give(given);
        host.events.clear();
        host.log.clear();
        return TestClass(*tested).run();
    }

    SharedBlockHandle model;
    FaultyHandle* faulty = nullptr;
    std::unique_ptr<libDrive2::Drive> tested;
    std::vector<char> before;
};

TEST_F(WriteTests, LeaveEveryByteAsItWas) {
    open("sim:disk,sectors=40000");
    for (const char* given :
         {"", "NumberOfPatterns=18 StartRange=5 EndRange=108", "XferSizeHinting=no EndRange=30",
          "SectorPercentToTest=10", "OverridePattern=a5"}) {
        EXPECT_EQ(run<LinearPatternTest>(given), PASS) << given;
        EXPECT_EQ(contents(), before) << given;
    }
    EXPECT_GT(faulty->writes, 0);
    EXPECT_EQ(run<CacheTest>(""), PASS);
    EXPECT_EQ(contents(), before);
    EXPECT_EQ(run<ReadWriteSpeedTest>(""), PASS);
    EXPECT_EQ(contents(), before);
    EXPECT_EQ(run<LinearPatternTest>("PreserveData=no"), PASS);
    EXPECT_EQ(contents(), std::vector<char>(before.size(), 0x0F));
}

TEST_F(WriteTests, RefuseWhatTheyCannotDo) {
    open("sim:disk,sectors=32767");
    for (const auto& [given, event] : std::vector<std::pair<const char*, const char*>>{
             {"NumberOfPatterns=0", "invalidPatternCnt(patternCntMax=18)"},
             {"NumberOfPatterns=19", "invalidPatternCnt(patternCntMax=18)"},
             {"OverridePattern=1FF", "invalidParameters(params=OverridePattern:1FF)"},
             {"OverridePattern=0xA5", "invalidParameters(params=OverridePattern:0xA5)"},
             {"VerifyOnly=yes", "invalidParameters(params=OverridePattern:, VerifyOnly:true)"}}) {
        EXPECT_EQ(run<LinearPatternTest>(given), BADPARAMS) << given;
        ASSERT_EQ(host.events.size(), 1U) << given;
        EXPECT_EQ(host.events[0].key + "(" + host.events[0].variables + ")", event);
    }
    EXPECT_EQ(run<CacheTest>(""), BADPARAMS);
    EXPECT_EQ(run<ReadWriteSpeedTest>("WriteRateThreshold=0"), BADPARAMS);
    EXPECT_EQ(run<ReadWriteSpeedTest>("WriteStartRange=9 WriteEndRange=9"), BADPARAMS);
    EXPECT_EQ(faulty->writes, 0);
}

TEST_F(WriteTests, OnlyVerifyWhenToldTo) {
    open("sim:disk,sectors=100");
    EXPECT_EQ(run<LinearPatternTest>("VerifyOnly=yes OverridePattern=0f EndRange=20"), FAIL);
    EXPECT_EQ(host.eventsOf("ERR").size(), 20U);
    EXPECT_EQ(host.eventsOf("ERR")[3], "patternMismatchRange(sector=3, end_sector=4)");
    EXPECT_EQ(faulty->writes, 0);
}

TEST_F(WriteTests, ReportMismatchesAndWriteErrors) {
    open("sim:disk,sectors=100,corrupt=42");
    EXPECT_EQ(run<LinearPatternTest>("NumberOfPatterns=1"), FAIL);
    EXPECT_THAT(host.eventsOf("ERR"), ElementsAre("patternMismatchRange(sector=40, end_sector=45)"));
    open("sim:disk,sectors=100");
    faulty->failAt = 33;  // four commands a chunk: the backup of the ninth
    EXPECT_EQ(run<LinearPatternTest>("NumberOfPatterns=1"), FAIL);
    EXPECT_THAT(host.eventsOf("ERR"), ElementsAre("cannotRdOrigRange(sector=40, endsector=44)"));
    EXPECT_EQ(contents(), before);
    open("sim:disk,sectors=100,bad-write=42");
    EXPECT_EQ(run<LinearPatternTest>("NumberOfPatterns=1"), FAIL);
    EXPECT_THAT(host.eventsOf("ERR"),
                ElementsAre("writeSectorErr(WriteSector=42)",
                            "cannotRestoreData(TestName=PatternTest, TestSector=42, EndSector=44)"));
    EXPECT_EQ(contents(), before);
    open("sim:disk,sectors=100,wp");
    EXPECT_EQ(run<LinearPatternTest>(""), CANNOTRUN);
    EXPECT_THAT(host.keys(), ElementsAre("writeProtectedMedia"));
}

TEST_F(WriteTests, AnyCommandMayFail) {
    const std::string given = "NumberOfPatterns=2 EndRange=60 RetryCount=0";
    for (int type = 1; type <= 9; ++type)
        for (const bool forGood : {false, true})
            for (int n = 1;; ++n) {
                open("sim:disk,sectors=60");
                faulty->failAt = n;
                faulty->forGood = forGood;
                faulty->error = static_cast<_LIBDRIVE2_ERROR_TYPES>(type);
                const TestResult verdict = run<LinearPatternTest>(given);
                if (faulty->commands < n) {
                    EXPECT_EQ(verdict, PASS);
                    break;
                }
                const bool endsTest = type >= 6;
                if (!forGood && !endsTest) {
                    EXPECT_THAT(verdict, AnyOf(TestResult(FAIL), TestResult(WARN))) << type << " at " << n;
                    EXPECT_EQ(contents(), before) << type << " at " << n;
                } else {
                    EXPECT_NE(verdict, TestResult(PASS)) << type << " at " << n;
                }
            }
}

TEST_F(WriteTests, PutTheChunkBackBeforeTheyStop) {
    for (int check = 1; check < 40; ++check) {
        open("sim:disk,sectors=100");
        host.stop = [check](int n) { return n >= check; };
        host.stopChecks = 0;
        EXPECT_EQ(run<LinearPatternTest>(""), USERABORTED);
        EXPECT_EQ(contents(), before) << check;
    }
}

}  // namespace
}  // namespace libDriveTest
