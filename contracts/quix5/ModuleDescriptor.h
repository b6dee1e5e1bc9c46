#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "quix5/DiagDevice.h"
#include "quix5/Test.h"
#include "quix5/TestResult.h"
#include "zel/Export.h"
#include "zel/SharedResource.h"

namespace libDrive2 {
class Drive;
}

namespace quix5 {

/// How a device is opened: the access and sharing modes that the drive layer's openers take.
struct OpenMode {
    std::uint32_t desiredAccess;
    std::uint32_t shareMode;
};

/// A drive for a test, or why there is none.
struct CreatedDrive {
    zel::SharedPointer<libDrive2::Drive> drive;
    TestResult reason;  ///< meaningful when the drive is empty
};

/// A test bound to a drive, run once or more on one thread.
class DRIVETEST_API RunnableTest {
public:
    virtual ~RunnableTest() = default;
    virtual TestResult run() = 0;
    /// The run under the write guard: volumes locked, encrypted ones refused.
    virtual TestResult runWriteTest(const DiagDevice& device) = 0;
};

/// What a run would come to.
struct TestOutlook {
    zel::String
        refused{};       ///< parameters that the test would refuse, "NAME:VALUE, NAME:VALUE"; empty for none
    double bytes = 0;    ///< to be transferred; 0 where that cannot be told
    double seconds = 0;  ///< beside the transfers
};

/// What a program must know of a test before it lets it run. Names are null for none; those of parameters of
/// yes or no come first. Whether it writes at all the descriptor says (Test::isDestructive()).
struct TestTraits {
    DeviceCapability needs{};            ///< what a device must be capable of to be tested; nothing for any
    const char* writesUnless = nullptr;  ///< when this is yes, the test writes nothing
    const char* preservesIf = nullptr;   ///< when this is yes, it puts back what it overwrites
    const char* mediaText = nullptr;     ///< key of the text that tells which media it takes
    const char* shortName = nullptr;     ///< what people may type for its name
    /// The parameter that takes the seconds after which it ends, having visited what is spread evenly over
    /// all.
    const char* timeLimit = nullptr;
    const char* onlyRanges =
        nullptr;  ///< the parameter that takes the only sectors to visit, "FIRST-LAST,..."
    /// How the same is done without stress for the drive: the name of a test and "NAME=VALUE".
    const char* gentleTest = nullptr;
    const char* gentleParameter = nullptr;
    /// The parameters that take how many sectors are done, and the errors among them, when it goes on where a
    /// run broke off: such a test tells its drive what is settled (Drive::settleSectors).
    const char* sectorsDone = nullptr;
    const char* errorsBefore = nullptr;
    /// It judges the drive by what the drive holds.
    bool comparesData = false;
    /// Read only, it answers within its time limit whether a drive is good, and says what that rests on.
    bool isSurvey = false;
    /// What a run with the parameters that are set costs the user of the medium that is in the drive now,
    /// beyond its data, in the language of the texts; empty for nothing. Asks the drive and blocks as long.
    /// Null for tests of which there is nothing to say.
    zel::String (*warning)(const DiagDevice& device, OpenMode mode) = nullptr;
    /// What a run with the parameters that are set would come to on a drive of that size. Opens nothing. Null
    /// for tests of which that cannot be told.
    TestOutlook (*foresee)(std::uint64_t sectors, std::uint32_t sectorBytes) = nullptr;
};

/// One row of the module's table of tests.
struct TestEntry {
    const char* name;
    void (*init)(Test& test);
    CreatedDrive (*createDrive)(const DiagDevice& device, OpenMode mode);
    std::unique_ptr<RunnableTest> (*createTest)(zel::SharedPointer<libDrive2::Drive> drive);
    TestTraits traits;
};

/// What a module exports: static data, valid while the module is loaded.
struct ModuleDescriptor {
    std::uint32_t interfaceVersion;  ///< kModuleInterfaceVersion of the headers it was built with
    const char* name;
    const char* version;
    const TestEntry* tests;
    std::size_t testCount;
};

inline constexpr std::uint32_t kModuleInterfaceVersion = 7;

/// How the framework finds the function that a module must define.
using ModuleDescriptorFunction = const ModuleDescriptor* (*)();
inline constexpr const char* kModuleDescriptorSymbol = "quix5ModuleDescriptor";

}  // namespace quix5

/// For the module to define.
extern "C" DRIVETEST_API const quix5::ModuleDescriptor* quix5ModuleDescriptor();
