#include "quix5/Runner.h"

#include <exception>

#include "zel/Log.h"

namespace quix5 {

namespace {

/// Tells the host when the drive's life ends, on every path.
class DriveLease {
public:
    DriveLease(Host& host, libDrive2::Drive& drive, const DiagDevice& device) : m_host(host) {
        m_host.driveObtained(drive, device);
    }
    ~DriveLease() { m_host.driveReleased(); }
    DriveLease(const DriveLease&) = delete;
    DriveLease& operator=(const DriveLease&) = delete;

private:
    Host& m_host;
};

TestResult runUnguarded(const OfferedTest& test, const DiagDevice& device, OpenMode mode, Host& host) {
    const CreatedDrive created = test.entry->createDrive(device, mode);
    if (!created.drive)
        return created.reason;
    const DriveLease lease(host, *created.drive, device);
    const auto runnable = test.entry->createTest(created.drive);
    return test.descriptor.isDestructive() ? runnable->runWriteTest(device) : runnable->run();
}

}  // namespace

bool isOffered(const Test& test, const DiagDevice& device) {
    for (const auto& [name, value] : test.exclusions()) {
        const DeviceProperty* const property = device.property(name);
        const bool anyValue = value.valueString().zelString().isEmpty();
        if (property != nullptr && (anyValue || property->value() == value))
            return false;
    }
    return true;
}

TestResult runTest(const OfferedTest& test, const DiagDevice& device, OpenMode mode, Host& host) {
    try {
        return runUnguarded(test, device, mode, host);
    } catch (const std::exception& failure) {
        zel::LogFactory::createLogger("quix5.Runner")
            .line(4, "the test ended with an internal error: ", failure.what());
        return TestResult::INTERNALERROR;
    }
}

}  // namespace quix5
