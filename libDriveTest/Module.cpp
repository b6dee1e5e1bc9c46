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
#include "RandomSeekTest.h"
#include "ReadSpeedTest.h"
#include "ReadWriteSpeedTest.h"
#include "quix5/ModuleDescriptor.h"

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

quix5::CreatedDrive createFixedDisk(const DiagDevice& device, quix5::OpenMode mode) {
    return DriveFactory(device, mode.desiredAccess, mode.shareMode).create(nullptr);
}

template <class TestClass>
constexpr quix5::TestEntry fixedDiskTest(const char* name) {
    return {name, TestClass::init, createFixedDisk, createTest<TestClass>};
}

constexpr quix5::TestEntry kTests[] = {
    fixedDiskTest<LinearReadTest>("LinearReadTest"),
    fixedDiskTest<LinearReadCompareTest>("LinearReadCompareTest"),
    fixedDiskTest<LinearSeekTest>("LinearSeekTest"),
    fixedDiskTest<RandomSeekTest>("RandomSeekTest"),
    fixedDiskTest<FunnelSeekTest>("FunnelSeekTest"),
    fixedDiskTest<LinearPatternTest>("LinearPatternTest"),
    fixedDiskTest<CacheTest>("CacheTest"),
    fixedDiskTest<ReadSpeedTest>("ReadSpeedTest"),
    fixedDiskTest<ReadWriteSpeedTest>("ReadWriteSpeedTest"),
};

constexpr quix5::ModuleDescriptor kDescriptor = {
    quix5::kModuleInterfaceVersion, "libDriveTest", DRIVETEST_VERSION, kTests, std::size(kTests),
};

}  // namespace

}  // namespace libDriveTest

extern "C" const quix5::ModuleDescriptor* quix5ModuleDescriptor() {
    return &libDriveTest::kDescriptor;
}
