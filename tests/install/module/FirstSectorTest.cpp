// A module of one test, as somebody else would write it: it sees what is installed and nothing else.

#include <iterator>
#include <memory>
#include <vector>

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/OSDrive.h"
#include "quix5/DiagModule.h"
#include "quix5/ModuleDescriptor.h"

namespace {

quix5::Event* firstSectorErr = nullptr;

/// Reads the first sector.
class FirstSectorTest : public quix5::RunnableTest {
public:
    explicit FirstSectorTest(libDrive2::SharedDrive drive) : m_drive(std::move(drive)) {}

    static void init(quix5::Test& /*test*/) {
        quix5::DiagModule::registerLibrary("FirstSector");
        firstSectorErr = quix5::DiagModule::createEvent("firstSectorErr");
    }

    quix5::TestResult run() override {
        std::vector<std::uint8_t> sector(m_drive->getSectorSize());
        m_drive->planSectors(1);
        if (m_drive->readSector(0, 1, sector.data(), m_drive->getSectorSize()))
            return quix5::TestResult::PASS;
        m_drive->condemnSectors(0, 1, libDrive2::SectorFault::unreadable);
        firstSectorErr->setVariable("ReadSector", std::uint64_t{0});
        quix5::DiagModule::sendEvent(*firstSectorErr, quix5::EventType::ERR, __FILE__, __LINE__, 0);
        return quix5::TestResult::FAIL;
    }
    quix5::TestResult runWriteTest(const quix5::DiagDevice& /*device*/) override { return run(); }

private:
    libDrive2::SharedDrive m_drive;
};

quix5::CreatedDrive createDrive(const quix5::DiagDevice& device, quix5::OpenMode mode) {
    auto handle = libDrive2::OsDevice::openOsDevice(device.osLocator(), mode.desiredAccess, mode.shareMode,
                                                    libDrive2::kOpenExisting, 0);
    if (!handle)
        return {{}, quix5::TestResult::CANNOTRUN};
    auto drive = std::make_unique<libDrive2::OSDrive>(std::move(handle), device.osLocator());
    return {libDrive2::SharedDrive(std::move(drive)), quix5::TestResult::PASS};
}

std::unique_ptr<quix5::RunnableTest> createTest(libDrive2::SharedDrive drive) {
    return std::make_unique<FirstSectorTest>(std::move(drive));
}

const quix5::TestEntry kTests[] = {{"FirstSectorTest", FirstSectorTest::init, createDrive, createTest, {}}};
const quix5::ModuleDescriptor kDescriptor = {quix5::kModuleInterfaceVersion, "FirstSector", "1.0", kTests,
                                             std::size(kTests)};

}  // namespace

const quix5::ModuleDescriptor* quix5ModuleDescriptor() {
    return &kDescriptor;
}
