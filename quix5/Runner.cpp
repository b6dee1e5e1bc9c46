#include "quix5/Runner.h"

#include <exception>
#include <stdexcept>

#include "zel/Log.h"

namespace quix5 {

namespace {

/// Tells the host when the drive's life ends, on every path.
class HandedDrive {
public:
    HandedDrive(Host& host, libDrive2::Drive& drive, const DiagDevice& device)
        : m_host(host), m_verdict(host.driveObtained(drive, device)) {}
    ~HandedDrive() { m_host.driveReleased(); }
    HandedDrive(const HandedDrive&) = delete;
    HandedDrive& operator=(const HandedDrive&) = delete;

    /// Whether the host lets the test run on it.
    [[nodiscard]] const TestResult& verdict() const { return m_verdict; }

private:
    Host& m_host;
    TestResult m_verdict;
};

TestResult reportFailure(const char* what) {
    zel::LogFactory::createLogger("quix5.Runner").line(4, "the test ended with an internal error: ", what);
    return TestResult::INTERNALERROR;
}

TestResult runUnguarded(const OfferedTest& test, const DiagDevice& device, OpenMode mode, Host& host) {
    const CreatedDrive created = test.entry->createDrive(device, mode);
    if (!created.drive)
        return created.reason;
    const HandedDrive handed(host, *created.drive, device);
    if (handed.verdict() != TestResult::PASS)
        return handed.verdict();
    const auto runnable = test.entry->createTest(created.drive);
    if (runnable == nullptr)
        throw std::runtime_error("the module made no test");
    return test.descriptor.isDestructive() ? runnable->runWriteTest(device) : runnable->run();
}

}  // namespace

bool isOffered(const Test& test, const DiagDevice& device) {
    for (const auto& [name, value] : test.exclusions()) {
        const DeviceProperty* const property = device.property(name);
        const bool anyValue = value.valueString().zelString().isEmpty();
        if (property != nullptr && (anyValue || property->value().valueString() == value.valueString()))
            return false;
    }
    return true;
}

TestResult runTest(const OfferedTest& test, const DiagDevice& device, OpenMode mode, Host& host) {
    try {
        return runUnguarded(test, device, mode, host);
    } catch (const std::exception& failure) {
        return reportFailure(failure.what());
    } catch (...) {
        return reportFailure("an exception of unknown kind");
    }
}

}  // namespace quix5
