#pragma once

#include <sstream>

#include "libDrive2/DeviceOpeners.h"
#include "libDriveTest/ModuleFixture.h"
#include "libDriveTest/optional/libScsi2/DriveTestMMC.h"
#include "zel/Format.h"

namespace libDriveTest {

using Texts = std::vector<std::string>;

/// Rows are lines, fields end at "|"; a line that begins with two blanks goes on with the row before.
inline std::vector<Texts> rowsOf(const char* table) {
    std::vector<Texts> rows;
    std::istringstream lines(zel::String(table).replace("\n  ", "|").utf8());
    for (std::string line; std::getline(lines, line);) {
        std::istringstream parts(line + "|");
        rows.emplace_back();
        for (std::string part; std::getline(parts, part, '|');)
            rows.back().push_back(part);
    }
    return rows;
}

/// Passes commands on to another unit, keeps what it was asked, and answers chosen commands otherwise.
class FaultyUnit : public libDrive2::ScsiPassThrough {
public:
    using Change = std::function<void(std::uint8_t* data, libDrive2::ScsiResponse& response)>;

    explicit FaultyUnit(libDrive2::SharedScsiPassThrough inner) : m_inner(std::move(inner)) {}

    std::map<int, Change> changes;     ///< by opcode: what becomes of the answer
    std::map<int, std::string> asked;  ///< by opcode: the last CDB, a blank, the first byte that came with it
    std::uint64_t commands = 0;        ///< so far
    std::uint64_t goneAt = ~std::uint64_t{0};  ///< the first one that the drive does not answer any more
    int last = 0;                              ///< opcode of the last one after that
    std::string reads, writes;  ///< " 0-96/32": stretches without a gap, and what one command moved
    std::string patterns;       ///< " FF 00": first bytes of what was written

    void refuse(int opcode, std::uint8_t key = 5, std::uint8_t code = 0x20, std::uint8_t qualifier = 0) {
        changes[opcode] = [=](std::uint8_t*, libDrive2::ScsiResponse& response) {
            response.status = 2;
            response.senseBytes = 18;
            response.sense = {0x70, 0, key, 0, 0, 0, 0, 10, 0, 0, 0, 0, code, qualifier};
        };
    }

    libDrive2::ScsiResponse execute(const libDrive2::ScsiRequest& request) override {
        if (++commands >= goneAt) {
            libDrive2::ScsiResponse gone;
            gone.delivery = {libDrive2::LIBDRIVE2_NO_ACCESS, "gone"};
            last = request.cdb[0];
            return gone;
        }
        auto* const data = static_cast<std::uint8_t*>(request.data);
        const int opcode = request.cdb[0];
        asked[opcode].clear();
        for (std::size_t i = 0; i < request.cdbBytes; ++i)
            asked[opcode] += zel::format("%02X", request.cdb[i]).utf8();
        if (request.direction == libDrive2::DataDirection::toDevice)
            (opcode == 0x2A ? patterns : asked[opcode]) += zel::format(" %02X", data[0]).utf8();
        if (opcode == 0x28 || opcode == 0x2A)
            note(opcode == 0x28 ? reads : writes, request.cdb.data());
        libDrive2::ScsiResponse response = m_inner->execute(request);
        if (changes.contains(opcode))
            Change{changes[opcode]}(data, response);
        return response;
    }
    [[nodiscard]] std::size_t maxTransferBytes() const override { return m_inner->maxTransferBytes(); }
    libDrive2::DeviceStatus reopen() override { return m_inner->reopen(); }

private:
    static void note(std::string& stretches, const std::uint8_t* cdb) {
        const unsigned lba = 0x1000000U * cdb[2] + 0x10000U * cdb[3] + 0x100U * cdb[4] + cdb[5];
        const unsigned count = 0x100U * cdb[7] + cdb[8];
        const auto end = stretches.rfind("-" + std::to_string(lba) + "/");
        if (end != std::string::npos && end == stretches.rfind('-'))
            stretches.replace(end + 1, stretches.rfind('/') - end - 1, std::to_string(lba + count));
        else
            stretches += zel::format(" %u-%u/%u", lba, lba + count, count).utf8();
    }

    libDrive2::SharedScsiPassThrough m_inner;
};

/// Opens what the optical tests keep from others.
class Profiles : public DriveTestMMC {
public:
    using DriveTestMMC::parseProfileList, DriveTestMMC::s_profiles;
    static void forget() { s_profilesParsed = false; }
};

/// A test over a simulated optical drive with faults.
class OpticalFixture : public ModuleFixture {
protected:
    static constexpr std::uint32_t kReadWrite = libDrive2::kAccessRead | libDrive2::kAccessWrite;

    OpticalFixture() { Profiles::forget(); }

    template <class DriveClass>
    std::unique_ptr<DriveClass> open(const std::string& medium) {
        auto owned = std::make_unique<FaultyUnit>(
            libDrive2::ScsiDevice::openScsiDevice("sim:optical,strict,media=" + medium, kReadWrite, 0));
        unit = owned.get();
        return std::make_unique<DriveClass>(libDrive2::SharedScsiPassThrough(std::move(owned)));
    }
    /// Runs a test; gives its verdict and what was shown.
    template <class TestClass, class DriveClass>
    std::string run(DriveClass& tested, const std::string& given) {
        restart(given);
        unit->reads = unit->writes = unit->patterns = "";
        const TestResult verdict = TestClass(tested).run();
        return verdict.name() + story();
    }
    void restart(const std::string& given) {
        give(given);
        host.log.clear();
        host.story.clear();
        host.prompts.clear();
        host.stopChecks = host.abortRequests = 0;
    }
    /// "; part" for all that was shown.
    [[nodiscard]] std::string story() const {
        std::string all;
        for (const auto& part : host.story)
            all += "; " + part;
        return all;
    }
    /// "; PRIORITY text" for the lines of a logger of the module.
    [[nodiscard]] std::string lines(const std::string& name, int lowest = 1) const {
        std::string all;
        for (const auto& line : host.log)
            if (line.logger == "libDriveTest." + name && line.priority >= lowest)
                all += "; " + std::to_string(line.priority) + " " + line.text;
        return all;
    }

    FaultyUnit* unit = nullptr;
};

}  // namespace libDriveTest
