#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>

#include "Fixtures.h"
#include "commands/Hex.h"
#include "libDrive2/AtaDrive.h"
#include "libDrive2/NVMeDrive.h"
#include "libDrive2/OSScsiSBCDrive.h"
#include "libDrive2/ScsiSBCDrive.h"
#include "libDrive2/bridges/SatAtaDevice.h"
#include "libDrive2/sim/SimProvider.h"

namespace libDrive2 {
namespace {

using testing::HasSubstr;

/// A model whose answers a test case changes.
template <class Device, class Request, class Response>
struct Tampered : Device {
    using Tamper = std::function<void(const Request&, Response&)>;
    Tampered(std::unique_ptr<Device> model, Tamper change)
        : inner(std::move(model)), tamper(std::move(change)) {}
    Response execute(const Request& request) override {
        Response response = inner->execute(request);
        tamper(request, response);
        return response;
    }
    [[nodiscard]] std::size_t maxTransferBytes() const override { return inner->maxTransferBytes(); }
    DeviceStatus reopen() override { return inner->reopen(); }

    std::unique_ptr<Device> inner;
    Tamper tamper;
};
using TamperedScsi = Tampered<ScsiPassThrough, ScsiRequest, ScsiResponse>;
struct TamperedNVMe : Tampered<NVMeDevice, NVMeCommand, NVMeResponse> {
    using Tampered::Tampered;
    [[nodiscard]] std::uint32_t namespaceId() const override { return inner->namespaceId(); }
};

/// In fixed format: the sense key, "00" and the information field; the additional codes.
ScsiResponse sense(const std::string& key, const std::string& codes) {
    return answered("F000" + key + "0A 00000000" + codes);
}

/// A SCSI disk of 1000 sectors with a liar in front.
class ScsiTransport : public testing::Test {
protected:
    void open(const std::string& keys, TamperedScsi::Tamper tamper, bool bySystem = false) {
        const std::string locator = "sim:scsi,sectors=1000" + keys;
        SharedScsiPassThrough path(std::make_unique<TamperedScsi>(
            SimProvider::get().openScsi(locator, kReadWrite),
            [this, tamper](const auto& request, auto& response) {
                asked += shown(request).substr(request.direction == DataDirection::toDevice ? 4 : 3, 5) + ' ';
                tamper(request, response);
            }));
        if (bySystem)
            drive = std::make_unique<OSScsiSBCDrive>(openBlock(locator), path, "X");
        else
            drive = std::make_unique<ScsiSBCDrive>(path);
        asked.clear();
    }
    bool read(std::uint64_t lba, std::uint32_t count = 1) {
        return drive->readSector(lba, count, buffer, count * 512);
    }
    bool write(std::uint64_t lba) { return drive->writeSector(lba, 1, buffer, 512); }

    std::string asked;  ///< the first two bytes of every command since the opening
    std::unique_ptr<Drive> drive;
    char buffer[8 * 512] = {};
};

TEST_F(ScsiTransport, JudgesWhatBecameOfATransfer) {
    ScsiResponse cut, gone, silent;
    cut.transferredBytes = 7 * 512;
    gone.delivery = {LIBDRIVE2_NO_ACCESS, "gone"};
    silent.delivery = {LIBDRIVE2_TIMEOUT, "silent"};
    const ScsiResponse reset = sense("06 00000000", "2900"), becomingReady = sense("02 00000000", "0401");
    const struct {
        std::string keys;  ///< a bad sector fails at the system's block interface
        int times;
        ScsiResponse answer;
        _LIBDRIVE2_ERROR_TYPES error;
        std::string asked;
    } rows[] = {{"", 9, cut, LIBDRIVE2_LINK_ERROR, "28 00 "},
                {"", 4, reset, LIBDRIVE2_NO_ERROR, "28 00 28 00 28 00 28 00 28 00 "},
                {"", 5, reset, LIBDRIVE2_BUSY, "28 00 28 00 28 00 28 00 28 00 "},
                // A sector may take its time; who answers nothing any more is gone.
                {"", 1, silent, LIBDRIVE2_TIMEOUT, "28 00 00 00 "},
                {"", 2, silent, LIBDRIVE2_NO_ACCESS, "28 00 00 00 "},
                // The medium may be another one: no bad sectors, and no data of it either.
                {"", 1, sense("06 00000000", "2800"), LIBDRIVE2_NO_ACCESS, "28 00 "},
                {",bad=5", 9, {}, LIBDRIVE2_MEDIA_ERROR, "00 00 "},
                {",bad=5", 9, sense("03 00000005", "1100"), LIBDRIVE2_MEDIA_ERROR, "00 00 "},
                {",bad=5", 9, sense("02 00000000", "3A00"), LIBDRIVE2_NO_ACCESS, "00 00 "},
                {",bad=5", 9, becomingReady, LIBDRIVE2_BUSY, "00 00 "},
                {",bad=5", 9, gone, LIBDRIVE2_NO_ACCESS, "00 00 "}};
    for (const auto& row : rows) {
        int left = 0;
        open(
            row.keys,
            [&](const ScsiRequest&, ScsiResponse& response) {
                response = left-- > 0 ? row.answer : response;
            },
            !row.keys.empty());
        left = row.times;
        read(0, 8);
        const std::string text = drive->getLastErrorStr().utf8();
        EXPECT_EQ(drive->lastError, row.error) << text;
        EXPECT_EQ(text.find("reading sectors 0 through 7") == 0, row.error != LIBDRIVE2_NO_ERROR) << text;
        EXPECT_EQ(asked, row.asked);
    }
}

/// Takes three commands at a time, and knows how many it had; the model behind it takes one. Those that read
/// wait for each other once, as long as a busy computer may take to send them, and then a little for one
/// more.
struct WideScsi : TamperedScsi {
    using TamperedScsi::TamperedScsi;
    ScsiResponse execute(const ScsiRequest& request) override {
        std::unique_lock one(mutex);
        most = std::max(most, ++running);
        together.notify_all();
        const auto isEnough = [this] { return most >= 3 || isAlone; };
        if (request.cdb[0] == 0x28 && !together.wait_for(one, std::chrono::seconds(10), isEnough))
            isAlone = true;
        one.unlock();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        one.lock();
        --running;
        return TamperedScsi::execute(request);
    }
    [[nodiscard]] std::size_t maxTransferBytes() const override { return 1024; }
    [[nodiscard]] unsigned maxInFlight() const override { return 3; }

    std::mutex mutex;
    std::condition_variable together;
    int running = 0;
    int most = 0;
    bool isAlone = false;  ///< others have not come, and are not waited for any more
};

TEST_F(ScsiTransport, KeepsCommandsInFlightAndTellsTheFirstFailure) {
    auto owned = std::make_unique<WideScsi>(
        SimProvider::get().openScsi("sim:scsi,sectors=1000,bad=24+25+37", kReadWrite),
        [](const auto&, auto&) {});
    const WideScsi& device = *owned;
    ScsiSBCDrive wide{SharedScsiPassThrough(std::move(owned))};
    const SharedBlockHandle model = openBlock("sim:scsi,sectors=1000,bad=24+25+37");
    std::vector<char> read(40 * 512), expected(40 * 512), written(21 * 512, 'w');
    EXPECT_EQ(wide.getOptimalRd(0xFFFF), 6);
    ASSERT_TRUE(wide.readSector(0, 21, read.data(), 21 * 512));
    ASSERT_TRUE(model->read(0, expected.data(), 21 * 512).ok());
    EXPECT_EQ(read, expected);
    EXPECT_EQ(device.most, 3);
    ASSERT_TRUE(wide.writeSector(3, 21, written.data(), 21 * 512));
    ASSERT_TRUE(model->read(3 * 512, expected.data(), 21 * 512).ok());
    EXPECT_EQ(std::memcmp(written.data(), expected.data(), 21 * 512), 0);
    for (int i = 0; i < 20; ++i) {
        EXPECT_FALSE(wide.readSector(4, 36, read.data(), 36 * 512));
        EXPECT_THAT(wide.getLastErrorStr().utf8(), HasSubstr("reading sectors 24 through 25 failed"));
    }
}

TEST_F(ScsiTransport, NoSectorIsBadBecauseSenseDataNamesIt) {
    for (const std::string named : {"00000007", "FFFFFFFF", "00000004"}) {
        open(",bad=5", [&](const ScsiRequest&, ScsiResponse& response) {
            if (response.status == 2 && (response.sense[2] & 0xF) == 3)
                response = sense("03" + named, "1100");
        });
        EXPECT_FALSE(read(0, 8));
        EXPECT_EQ(drive->lastError, LIBDRIVE2_MEDIA_ERROR);
        for (std::uint64_t lba = 0; lba < 8; ++lba)
            EXPECT_EQ(read(lba), lba != 5) << named;
    }
}

TEST_F(ScsiTransport, SeeksAsTheDriveCan) {
    std::string unknown;
    const auto refuse = [&](const ScsiRequest& request, ScsiResponse& response) {
        response = unknown.find(static_cast<char>(request.cdb[0])) != std::string::npos
                       ? sense("05 00000000", "2000")
                       : response;
    };
    open(",bad=9", refuse);
    EXPECT_TRUE(drive->seekSector(9));
    unknown = "\x2B";
    EXPECT_TRUE(!drive->seekSector(9) && drive->seekSector(8));
    unknown = "\x2B\x2F";
    EXPECT_TRUE(!drive->seekSector(9) && drive->seekSector(8));
    EXPECT_EQ(asked, "2B 00 2B 00 2F 00 2F 00 2F 00 28 00 28 00 ");
    open("", refuse, true);
    EXPECT_TRUE(drive->seekSector(8) && drive->seekSector(8) && asked == "2B 00 2F 00 ") << asked;
}

TEST_F(ScsiTransport, TrustsNoCapacityThatContradictsItself) {
    const struct {
        const char *by10, *by16;
        std::uint64_t sectors;
    } rows[] = {{"00000063", "0000000000000063", 100},
                {"00000063", "00000000000000C7", 100},
                {"00000063", "", 100},
                {"FFFFFFFF", "00000001FFFFFFFF", 8589934592},
                {"FFFFFFFF", "", 0}};
    for (const auto& row : rows) {
        open("", [&row](const ScsiRequest& request, ScsiResponse& response) {
            const bool is16 = request.cdb[0] == 0x9E;
            const auto lastLba = fromHex(is16 ? row.by16 : request.cdb[0] == 0x25 ? row.by10 : "");
            std::copy(lastLba.begin(), lastLba.end(), static_cast<std::uint8_t*>(request.data));
            response = is16 && lastLba.empty() ? sense("05 00000000", "2000") : response;
        });
        EXPECT_EQ(drive->queryMediumInfo(), row.sectors != 0);
        EXPECT_EQ(drive->getSectorCount(), row.sectors);
    }
    EXPECT_THAT(drive->getLastErrorStr().utf8(), HasSubstr("asking for the drive's capacity failed"));
}

TEST_F(ScsiTransport, BypassesTheCacheOnRepeatsOnly) {
    open(",transient=5:2,bad-write=6", [](const ScsiRequest&, ScsiResponse&) {});
    drive->setRetryCount(2);
    EXPECT_TRUE(read(5) && read(5) && write(5) && !write(6));
    EXPECT_EQ(asked, "28 00 28 08 28 08 28 00 2A 00 2A 00 2A 08 2A 08 ");
}

TEST(AtaTransport, ABridgeMustShowTheSameSizeBothWays) {
    for (const auto& [bytes, ends] : {std::pair{"000003E7 00000200", "yes no"},
                                      {"000003E8 00000200", "yes yes"},
                                      {"000003E7 00001000", "yes yes"},
                                      {"", "no no"}}) {
        const auto ata = SimProvider::get().openAta("sim:ata,emulated,sectors=1000");
        const auto capacity = fromHex(bytes);
        std::vector<int> writes;
        auto bridge = std::make_unique<SatAtaDevice>(std::make_unique<TamperedScsi>(
            SimProvider::get().openScsi("sim:ata,emulated,sectors=1000", kReadWrite),
            [&](const ScsiRequest& request, ScsiResponse& response) {
                if (request.cdb[0] == 0x25)
                    std::copy(capacity.begin(), capacity.end(), static_cast<std::uint8_t*>(request.data));
                if (request.cdb[0] != 0x85 || capacity.empty())  // ATA PASS-THROUGH(16)
                    return;
                response = {};
                response.transferredBytes = 512;
                if (request.direction == DataDirection::toDevice)
                    writes.push_back(request.cdb[14]), response.delivery.type = LIBDRIVE2_LINK_ERROR;
                else
                    ata->execute({{0, 0, 0, 0, 0xEC},
                                  AtaProtocol::pioIn,
                                  false,
                                  request.direction,
                                  request.data,
                                  512});
            }));
        EXPECT_EQ(
            std::string(bridge->isInitialized() ? "yes " : "no ") + (bridge->isEmulated() ? "yes" : "no"),
            ends);
        AtaDrive drive{SharedAtaDevice(std::move(bridge))};
        drive.setRetryCount(2);
        char buffer[512] = {};
        EXPECT_FALSE(drive.writeSector(6, 1, buffer, 512));
        const std::vector<int> once{0x35, 0x3D, 0x3D};
        EXPECT_EQ(writes, capacity.empty() ? std::vector<int>() : once);
    }
}

TEST(AtaTransport, ALockedDriveSaysSoUntilItIsUnlocked) {
    char buffer[512] = {};
    AtaDrive drive{SharedAtaDevice(SimProvider::get().openAta("sim:ata,locked"))};
    for (int i = 0; i < 3; ++i) {
        EXPECT_FALSE(i == 0   ? drive.readSector(0, 1, buffer, 512)
                     : i == 1 ? drive.writeSector(0, 1, buffer, 512)
                              : drive.seekSector(0));
        EXPECT_EQ(drive.lastError, LIBDRIVE2_NO_ACCESS);
        EXPECT_THAT(drive.getLastErrorStr().utf8(),
                    HasSubstr("the drive is locked by its security password"));
    }
    EXPECT_FALSE(drive.unlockDrive("Secret") || drive.readSector(0, 1, buffer, 512));
    EXPECT_TRUE(drive.unlockDrive("secret") && drive.writeSector(0, 1, buffer, 512));
}

TEST(NVMeTransport, RefusesMetadataWithinSectorsAndBypassesTheCacheOnRepeats) {
    for (const bool interleaved : {true, false}) {
        std::string forced;
        auto device = std::make_unique<TamperedNVMe>(
            SimProvider::get().openNVMe("sim:nvme,transient=5:1"),
            [&](const NVMeCommand& command, NVMeResponse&) {
                auto* const bytes = static_cast<std::uint8_t*>(command.data);
                if (!command.admin)
                    forced += (command.cdw12 & 0x40000000) != 0 ? 'F' : '-';
                else if (command.cdw10 == 1)
                    bytes[77] = 1;  // the controller's maximum transfer: 8 KiB
                else if (interleaved)
                    bytes[26] |= 0x10, bytes[128] = 8;  // 8 bytes of metadata behind each sector
            });
        NVMeDrive drive{SharedNVMeDevice(std::move(device))};
        drive.setRetryCount(1);
        std::string buffer(20 * 512, '\0');
        EXPECT_EQ(drive.getOptimalRd(65535), 16);
        EXPECT_EQ(drive.readSector(0, 20, buffer.data(), 20 * 512), !interleaved);
        EXPECT_EQ(drive.writeSector(0, 1, buffer.data(), 512), !interleaved);
        EXPECT_EQ(drive.lastError, interleaved ? LIBDRIVE2_NOT_SUPPORTED : LIBDRIVE2_NO_ERROR);
        EXPECT_EQ(forced, interleaved ? "" : "-FF-");
    }
}

/// Takes three commands at a time from one thread, until it does not want to any more.
struct RoundedNVMe : TamperedNVMe {
    using TamperedNVMe::TamperedNVMe;
    [[nodiscard]] std::size_t maxTransferBytes() const override { return 1024; }
    [[nodiscard]] unsigned maxInFlight() const override { return 3; }
    NVMeResponse execute(const NVMeCommand& command) override {
        const std::lock_guard one(mutex);
        return TamperedNVMe::execute(command);
    }
    bool executeTogether(std::span<const NVMeCommand> commands, std::span<NVMeResponse> answers) override {
        if (rounds == 0)
            return false;
        --rounds;
        // Not in their order, as drives do not keep it either.
        for (std::size_t i = commands.size(); i-- > 0;)
            answers[i] = execute(commands[i]);
        return true;
    }

    std::mutex mutex;
    int rounds = 2;
};

TEST(NVMeTransport, SendsCommandsTogetherAndTellsTheFirstFailure) {
    auto owned = std::make_unique<RoundedNVMe>(
        SimProvider::get().openNVMe("sim:nvme,sectors=1000,bad=24+25+37"), [](const auto&, auto&) {});
    RoundedNVMe& device = *owned;
    NVMeDrive drive{SharedNVMeDevice(std::move(owned))};
    const SharedBlockHandle model = openBlock("sim:nvme,sectors=1000,bad=24+25+37");
    std::vector<char> read(40 * 512), expected(21 * 512);
    ASSERT_TRUE(model->read(0, expected.data(), 21 * 512).ok());
    for (int pass = 0; pass < 2; ++pass) {  // two rounds, and two by threads; then all by threads
        ASSERT_TRUE(drive.readSector(0, 21, read.data(), 21 * 512));
        EXPECT_EQ(std::memcmp(read.data(), expected.data(), 21 * 512), 0);
        EXPECT_EQ(device.rounds, 0);
    }
    for (const int rounds : {9, 0}) {
        device.rounds = rounds;
        EXPECT_FALSE(drive.readSector(4, 36, read.data(), 36 * 512));
        EXPECT_THAT(drive.getLastErrorStr().utf8(), HasSubstr("reading sectors 24 through 25 failed"));
    }
}

/// Takes less in a command than it thought, which it notices by the kernel's refusal.
struct ScatteredNVMe : TamperedNVMe {
    using TamperedNVMe::TamperedNVMe;
    [[nodiscard]] std::size_t maxTransferBytes() const override { return m_isScattered ? 1024 : 4096; }
    NVMeResponse execute(const NVMeCommand& command) override {
        if (command.admin || command.dataBytes <= largest)
            return TamperedNVMe::execute(command);
        m_isScattered = true;
        return {{LIBDRIVE2_LINK_ERROR, "invalid argument"}};
    }

    std::size_t largest = 1024;

private:
    bool m_isScattered = false;
};

TEST(NVMeTransport, CutsATransferAnewWhoseCommandsWereTooLarge) {
    const struct {
        const char* what;
        std::size_t largest;
        const char* bad;
        const char* told;  ///< how the transfer ends
        const char* sent;  ///< sectors of the commands that the drive saw
    } rows[] = {{"as large as thought", 4096, "", "", "882"},
                {"the first is refused", 1024, "", "", "222222222"},
                {"the first goes well", 4096, ",bad=9", "reading sectors 8 through 15 failed", "88"},
                {"a bad sector in small ones", 1024, ",bad=9", "reading sectors 8 through 9 failed", "22222"},
                {"refused in any case", 512, "", "reading sectors 0 through 1 failed: invalid argument", ""}};
    for (const auto& row : rows) {
        std::string sent;
        auto device = std::make_unique<ScatteredNVMe>(
            SimProvider::get().openNVMe("sim:nvme,sectors=1000" + std::string(row.bad)),
            [&](const NVMeCommand& command, NVMeResponse&) {
                sent += command.admin ? "" : std::to_string(command.cdw12 + 1);
            });
        device->largest = row.largest;
        NVMeDrive drive{SharedNVMeDevice(std::move(device))};
        drive.setRetryCount(0);
        std::string buffer(18 * 512, '\0');
        EXPECT_EQ(drive.readSector(0, 18, buffer.data(), 18 * 512), *row.told == '\0') << row.what;
        EXPECT_THAT(drive.getLastErrorStr().utf8(), HasSubstr(row.told)) << row.what;
        EXPECT_EQ(sent, row.sent) << row.what;
    }
}

}  // namespace
}  // namespace libDrive2
