#include <iterator>
#include <memory>

#include "CacheTest.h"
#include "DriveFactory.h"
#include "DriveTest.h"
#include "FunnelSeekTest.h"
#include "LinearPatternTest.h"
#include "LinearReadCompareTest.h"
#include "LinearReadTest.h"
#include "LinearSeekTest.h"
#include "Outlook.h"
#include "Parameters.h"
#include "RandomSeekTest.h"
#include "ReadSpeedTest.h"
#include "ReadWriteSpeedTest.h"
#include "capacity/CapacityTest.h"
#include "optional/libScsi2/DefaultReadPerformanceTest.h"
#include "optional/libScsi2/PatternTestMMC.h"
#include "optional/libScsi2/RandomWriteTestMMC.h"
#include "optional/libScsi2/ReadPerformanceTest.h"
#include "quix5/ModuleDescriptor.h"
#include "survey/SurveyReadTest.h"

namespace libDriveTest {

namespace {

/// A test class as the framework runs it.
template <class TestClass>
class ModuleTest : public quix5::RunnableTest {
public:
    explicit ModuleTest(libDrive2::SharedDrive drive) : m_test(std::move(drive)) {}

    TestResult run() override { return m_test.run(); }
    TestResult runWriteTest(const DiagDevice& device) override { return m_test.runWriteTest(device); }

private:
    TestClass m_test;
};

template <class TestClass>
std::unique_ptr<quix5::RunnableTest> createTest(libDrive2::SharedDrive drive) {
    return std::make_unique<ModuleTest<TestClass>>(std::move(drive));
}

/// The same for a class of optical drives, which is what the test's own createDrive() gives.
template <class TestClass, class DriveClass>
class OpticalModuleTest : public quix5::RunnableTest {
public:
    explicit OpticalModuleTest(libDrive2::SharedDrive drive)
        : m_drive(std::move(drive)), m_test(static_cast<DriveClass&>(*m_drive)) {}

    TestResult run() override { return m_test.run(); }
    TestResult runWriteTest(const DiagDevice& device) override { return m_test.runWriteTest(device); }

private:
    libDrive2::SharedDrive m_drive;
    TestClass m_test;
};

template <class TestClass, class DriveClass>
std::unique_ptr<quix5::RunnableTest> createOpticalTest(libDrive2::SharedDrive drive) {
    return std::make_unique<OpticalModuleTest<TestClass, DriveClass>>(std::move(drive));
}

TestResult reasonOf(LIBDRIVE2_MEDIA_STATE state) {
    if (DiagModule::checkForStop())
        return TestResult::USERABORTED;
    switch (state) {
        case libDrive2::LIBDRIVE2_MEDIA_BUSY:
            return TestResult::DEVICEBUSY;
        case libDrive2::LIBDRIVE2_MEDIA_NOT_OPENED:
            return TestResult::CANNOTRUN;
        case libDrive2::LIBDRIVE2_MEDIA_INCORRECT:
            return TestResult::INCORRECTMEDIA;
        default:
            return TestResult::NOMEDIA;
    }
}

quix5::CreatedDrive createReadableOptical(const DiagDevice& device, quix5::OpenMode mode) {
    LIBDRIVE2_MEDIA_STATE state = libDrive2::LIBDRIVE2_MEDIA_NONE;
    const auto drive =
        DriveTestMMCRO::createDrive(device, state, MMCRO_DATA_TRACKS, mode.desiredAccess, mode.shareMode);
    return {libDrive2::SharedDrive(drive), reasonOf(state)};
}

template <MMCRW_TEST test>
quix5::CreatedDrive createRecordableOptical(const DiagDevice& device, quix5::OpenMode mode) {
    LIBDRIVE2_MEDIA_STATE state = libDrive2::LIBDRIVE2_MEDIA_NONE;
    const auto drive = DriveTestMMCRW::createDrive(device, state, test, mode.desiredAccess, mode.shareMode);
    return {libDrive2::SharedDrive(drive), reasonOf(state)};
}

quix5::CreatedDrive createFixedDisk(const DiagDevice& device, quix5::OpenMode mode) {
    return DriveFactory(device, mode.desiredAccess, mode.shareMode).create(nullptr);
}

template <class TestClass>
constexpr quix5::TestEntry fixedDiskTest(const char* name, quix5::TestTraits traits = {}) {
    return {name, TestClass::init, createFixedDisk, createTest<TestClass>, traits};
}

template <class TestClass>
constexpr quix5::TestEntry opticalReadTest(const char* name) {
    return {name,
            TestClass::init,
            createReadableOptical,
            createOpticalTest<TestClass, ScsiMMCDrive>,
            {.needs = quix5::DeviceCapability::SCSIMMC, .mediaText = "Media.reading"}};
}

template <class TestClass, MMCRW_TEST media>
constexpr quix5::TestEntry opticalWriteTest(const char* name,
                                            decltype(quix5::TestTraits::warning) warning = nullptr) {
    return {name,
            TestClass::init,
            createRecordableOptical<media>,
            createOpticalTest<TestClass, RecordableDrive>,
            {.needs = quix5::DeviceCapability::SCSIMMC, .mediaText = "Media.recording", .warning = warning}};
}

String warnOfPatterns(const DiagDevice& device, quix5::OpenMode mode) {
    return PatternTestMMC::warnOf(device, mode.desiredAccess, mode.shareMode);
}

constexpr const char* kSurvey = "SurveyReadTest";
constexpr const char* kGently = "SurveyMethod=gentle";

const quix5::TestEntry kTests[] = {
    fixedDiskTest<LinearReadTest>("LinearReadTest", {.shortName = "read",
                                                     .timeLimit = parameters::maxTime.name(),
                                                     .gentleTest = kSurvey,
                                                     .gentleParameter = kGently,
                                                     .sectorsDone = parameters::sectorsDone.name(),
                                                     .errorsBefore = parameters::errorsBefore.name(),
                                                     .foresee = shareOutlook<1>}),
    fixedDiskTest<LinearReadCompareTest>("LinearReadCompareTest",
                                         {.shortName = "compare",
                                          .timeLimit = parameters::maxTime.name(),
                                          .sectorsDone = parameters::sectorsDone.name(),
                                          .errorsBefore = parameters::errorsBefore.name(),
                                          .comparesData = true,
                                          .foresee = shareOutlook<2>}),
    fixedDiskTest<LinearSeekTest>("LinearSeekTest",
                                  {.timeLimit = parameters::maxTime.name(), .foresee = movesOutlook<1>}),
    fixedDiskTest<RandomSeekTest>("RandomSeekTest", {.shortName = "seek", .foresee = movesOutlook<1>}),
    fixedDiskTest<FunnelSeekTest>("FunnelSeekTest", {.foresee = movesOutlook<2>}),
    fixedDiskTest<LinearPatternTest>("LinearPatternTest", {.writesUnless = parameters::verifyOnly.name(),
                                                           .preservesIf = parameters::preserveData.name(),
                                                           .shortName = "pattern",
                                                           .timeLimit = parameters::maxTime.name(),
                                                           .sectorsDone = parameters::sectorsDone.name(),
                                                           .errorsBefore = parameters::errorsBefore.name(),
                                                           .comparesData = true,
                                                           .foresee = LinearPatternTest::foresee}),
    fixedDiskTest<CacheTest>("CacheTest", {.preservesIf = parameters::preserveData.name(),
                                           .shortName = "cache",
                                           .foresee = CacheTest::foresee}),
    fixedDiskTest<CapacityTest>("CapacityTest", {.preservesIf = parameters::preserveData.name(),
                                                 .shortName = "capacity",
                                                 .foresee = CapacityTest::foresee}),
    fixedDiskTest<ReadSpeedTest>("ReadSpeedTest", {.shortName = "speed", .foresee = rangeOutlook<1>}),
    fixedDiskTest<ReadWriteSpeedTest>("ReadWriteSpeedTest", {.preservesIf = parameters::preserveData.name(),
                                                             .foresee = readsAndWritesOutlook}),
    fixedDiskTest<SurveyReadTest>(kSurvey, {.shortName = "survey",
                                            .timeLimit = parameters::maxTime.name(),
                                            .onlyRanges = parameters::onlyRanges.name(),
                                            .gentleTest = kSurvey,
                                            .gentleParameter = kGently,
                                            .isSurvey = true,
                                            .foresee = rangeOutlook<1>}),
    opticalReadTest<DefaultReadPerformanceTest>("DefaultReadPerformanceTest"),
    opticalReadTest<ReadPerformanceTest>("ReadPerformanceTest"),
    opticalWriteTest<PatternTestMMC, MMCRW_ANY_RECORDABLE>("PatternTestMMC", warnOfPatterns),
    opticalWriteTest<RandomWriteTestMMC, MMCRW_REWRITABLE>("RandomWriteTestMMC"),
};

const quix5::ModuleDescriptor kDescriptor = {
    quix5::kModuleInterfaceVersion, "libDriveTest", DRIVETEST_VERSION, kTests, std::size(kTests),
};

}  // namespace

}  // namespace libDriveTest

const quix5::ModuleDescriptor* quix5ModuleDescriptor() {
    return &libDriveTest::kDescriptor;
}
