#pragma once

#include "FaultyHandle.h"
#include "ModuleFixture.h"
#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/OSDrive.h"

namespace libDriveTest {

/// Keeps what a test makes of the sectors: "1+1 unreadable; skipped 0+4; ".
class AccountKeeper : public libDrive2::DriveObserver {
public:
    std::string account{};

    void onOperation(const libDrive2::DriveOperationReport& /*report*/) override {}
    void onCondemned(const libDrive2::CondemnedSectors& condemned) override {
        static constexpr const char* kFaults[] = {"unreadable", "unwritable", "unreachable", "wrongData"};
        add("", condemned.sectors.lba, condemned.sectors.count);
        account += std::string(" ") + kFaults[static_cast<int>(condemned.fault)] + "; ";
    }
    void onSkipped(std::uint64_t lba, std::uint32_t count) override {
        add("skipped ", lba, count);
        account += "; ";
    }

private:
    void add(const char* what, std::uint64_t lba, std::uint64_t count) {
        account += what + std::to_string(lba) + "+" + std::to_string(count);
    }
};

/// A test over a simulated drive whose transfers fail where the test case says.
class FaultyDriveFixture : public ModuleFixture {
protected:
    using Strings = std::vector<std::string>;

    void open(const std::string& locator) {
        const auto device = [&locator] {
            return libDrive2::OsDevice::openOsDevice(locator,
                                                     libDrive2::kAccessRead | libDrive2::kAccessWrite,
                                                     libDrive2::kShareRead, libDrive2::kOpenExisting, 0);
        };
        tested.release();
        model.release();
        model = device();
        auto owned = std::make_unique<FaultyHandle>(device());
        faulty = owned.get();
        tested = libDrive2::SharedDrive(
            std::make_unique<libDrive2::OSDrive>(libDrive2::SharedBlockHandle(std::move(owned)), locator));
        tested->setObserver(&keeper);
        before = contents();
    }
    /// Gives every sector other contents.
    void fill() {
        std::vector<char> bytes(before.size());
        for (std::size_t at = 0; at < bytes.size(); ++at)
            bytes[at] = static_cast<char>(at / 512 * 7 + at % 512 + 1);
        EXPECT_TRUE(model->write(0, bytes.data(), bytes.size()).ok());
        before = contents();
    }

    /// What the drive holds, by a way without faults.
    std::vector<char> contents() {
        std::vector<char> bytes(model->info().bytes);
        EXPECT_TRUE(model->read(0, bytes.data(), bytes.size()).ok());
        return bytes;
    }

    template <class TestClass>
    TestResult run(const std::string& given) {
        give(given);
        return runAgain<TestClass>();
    }
    /// With the parameters as they are.
    template <class TestClass>
    TestResult runAgain() {
        host.events.clear();
        host.log.clear();
        host.percents.clear();
        host.stopChecks = 0;
        keeper.account.clear();
        faulty->restart();
        return TestClass(tested).run();
    }

    void stopAfter(int checks) {
        host.stop = [checks](int n) { return n > checks; };
    }

    /// "TYPE key(variables); " of all events.
    [[nodiscard]] std::string events() const {
        std::string all;
        for (const auto& event : host.events)
            all += event.type + " " + event.key + "(" + event.variables + "); ";
        return all;
    }
    /// The first lines of a test's logger at priority 1.
    [[nodiscard]] Strings linesOf(const char* name, std::size_t count) const {
        Strings lines = host.linesOf(std::string("libDriveTest.") + name, 1);
        lines.resize(count);
        return lines;
    }
    /// The beginning of the trace, to compare with one that is wanted; "|" is the end of the run.
    [[nodiscard]] std::string traceLike(const std::string& wanted) const {
        return (faulty->trace + "|").substr(0, wanted.size());
    }

    AccountKeeper keeper;
    libDrive2::SharedBlockHandle model;
    FaultyHandle* faulty = nullptr;
    libDrive2::SharedDrive tested;
    std::vector<char> before;
};

}  // namespace libDriveTest
