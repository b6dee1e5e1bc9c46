#pragma once

#include <cstdio>

#include "libDrive2/Fixtures.h"
#include "libDrive2/sim/SimBytes.h"
#include "libDrive2/sim/SimProvider.h"

namespace libDrive2 {

using Bytes = std::vector<std::uint8_t>;

inline constexpr std::uint32_t kSector = 2048;
inline constexpr DataDirection kIn = DataDirection::fromDevice, kOut = DataDirection::toDevice;

/// An optical drive at its commands, in virtual time. Commands return their sense as KEY/ASC/ASCQ in
/// hexadecimal, "" for GOOD, "timeout" when the drive does not answer.
class OpticalModel : public testing::Test {
protected:
    void open(const std::string& keys) {
        drive = SimProvider::get().openScsi("sim:optical," + keys, kReadWrite);
        ASSERT_TRUE(drive) << keys;
        EXPECT_EQ(run({0}), "6/29/00");
    }
    std::string run(const Bytes& cdb, DataDirection direction = DataDirection::none) {
        const std::uint8_t cdbBytes = cdb[0] < 0x20 ? 6 : cdb[0] < 0xA0 ? 10 : 12;
        ScsiRequest request{{}, cdbBytes, direction, data.data(), data.size(), timeoutMs};
        std::ranges::copy(cdb, request.cdb.begin());
        response = drive->execute(request);
        if (response.delivery.type == LIBDRIVE2_TIMEOUT)
            return "timeout";
        char text[16] = "";
        if (const auto& sense = response.sense; response.status != 0)
            std::snprintf(text, 16, "%X/%02X/%02X", sense[2], sense[12], sense[13]);
        return text;
    }
    std::string ask(const Bytes& cdb) {
        data.assign(4096, 0);
        const std::string sense = run(cdb, kIn);
        data.resize(response.transferredBytes);
        return sense;
    }
    std::string send(const Bytes& cdb, const Bytes& list) { return data = list, run(cdb, kOut); }
    std::string transfer(std::uint8_t opcode, std::uint32_t lba, std::uint8_t count, DataDirection way) {
        Bytes cdb{opcode, 0, 0, 0, 0, 0, 0, 0, count};
        putBigEndian(&cdb[2], 4, lba);
        data.assign(std::size_t{count} * kSector, 'w');
        return run(cdb, way);
    }
    std::string write(std::uint32_t lba, std::uint8_t count = 16) { return transfer(0x2A, lba, count, kOut); }
    std::string read(std::uint32_t lba, std::uint8_t count = 1) { return transfer(0x28, lba, count, kIn); }
    /// A field of the answer to a command.
    std::string field(const Bytes& cdb, std::size_t at, std::size_t bytes = 4) {
        const std::string sense = ask(cdb);
        return sense.empty() ? std::to_string(getBigEndian(&data[at], bytes)) : sense;
    }
    std::string profile() { return field({0x46, 1, 0, 0, 0, 0, 0, 1, 0}, 6, 2); }
    std::string capacity() { return field({0x25}, 0); }
    std::string nextWritable() { return field({0x52, 1, 0, 0, 0, 0xFF, 0, 0, 48}, 12); }
    /// Start, free sectors and size.
    std::string track(std::uint8_t of) {
        const Bytes cdb{0x52, 1, 0, 0, 0, of, 0, 0, 48};
        return field(cdb, 8) + " " + field(cdb, 16) + " " + field(cdb, 24);
    }
    /// Status of the disc and state of its last session, number of tracks and of sessions.
    std::string disc() {
        const Bytes cdb{0x51, 0, 0, 0, 0, 0, 0, 0, 34};
        const std::string counts = " t" + field(cdb, 6, 1) + " s" + field(cdb, 4, 1);
        return std::to_string(data[2] & 3) + std::to_string(data[2] >> 2 & 3) + counts;
    }
    std::string writeType(std::uint8_t type, std::uint8_t session = 0) {
        Bytes list{0, 0, 0, 0, 0, 0, 0, 0, 5, 50, type, session, 8};
        list.resize(60);
        return send({0x55, 0x10, 0, 0, 0, 0, 0, 0, 60}, list);
    }
    std::string format(std::uint8_t type, std::uint8_t immediate, std::uint8_t blocks256 = 0) {
        const Bytes list{0, immediate, 0, 8, 0, 0, blocks256, 0, std::uint8_t(type << 2), 0, 0, 0};
        return send({0x04, 0x11}, list);
    }
    std::string closeTrack(std::uint8_t of) { return run({0x5B, 0, 1, 0, 0, of}); }
    std::string closeSession(std::uint8_t function = 2) { return run({0x5B, 0, function}); }
    /// What happened and what should have, in turns.
    static void check(const std::vector<std::string>& steps) {
        for (std::size_t i = 0; i + 1 < steps.size(); i += 2)
            EXPECT_EQ(steps[i], steps[i + 1]) << "step " << i / 2 + 1;
    }

    VirtualTime time;
    std::uint32_t timeoutMs = 30000;
    std::unique_ptr<ScsiPassThrough> drive;
    Bytes data;
    ScsiResponse response;
};

}  // namespace libDrive2
