#include "libDrive2/drives/QueuedReader.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <numeric>
#include <vector>

#include "Fixtures.h"
#include "libDrive2/AtaDrive.h"
#include "libDrive2/commands/AtaCommands.h"
#include "libDrive2/sim/SimProvider.h"

namespace libDrive2 {
namespace {

using testing::HasSubstr;

/// What an adapter makes of a queued command that should fail.
enum class Adapter {
    logged,    ///< asks the drive which one it was: that one gets its registers, the others are carried out
    blind,     ///< ends all that are queued when a bad sector is among them, with registers of nobody
    confused,  ///< the same, with the registers of whatever failed last
    nervous,   ///< ends all, though nothing is wrong
    refusing,  ///< sends none on
    silent,    ///< gets no answer
    noisy      ///< the cable's fault
};

/// A drive that takes queued commands, over a model that does not; commands of 8 sectors.
class QueueingAta : public AtaDevice {
public:
    explicit QueueingAta(Adapter adapter) : m_adapter(adapter) {}

    AtaResponse execute(const AtaRequest& request) override {
        const std::lock_guard one(m_mutex);
        const bool isQueued = request.protocol == AtaProtocol::queued;
        if (request.registers.command == 0x25 || isQueued)
            sent += isQueued ? 'q' : 'd';
        AtaResponse response = m_model->execute(isQueued ? unqueued(request) : request);
        if (request.registers.command == 0xEC)
            putQueueing(static_cast<std::uint8_t*>(request.data));
        return isQueued ? spoilt(response) : response;
    }
    [[nodiscard]] bool isInitialized() const override { return true; }
    [[nodiscard]] bool isEmulated() const override { return false; }
    [[nodiscard]] std::size_t maxTransferBytes() const override { return 4096; }
    [[nodiscard]] unsigned maxInFlight() const override { return 3; }
    [[nodiscard]] bool takesQueuedCommands() const override { return isQueueing; }
    DeviceStatus reopen() override { return {}; }

    std::string sent;  ///< a letter for each read: queued, or by DMA
    bool isQueueing = true;

private:
    static AtaRequest unqueued(const AtaRequest& request) {
        return ata::withData(ata::readDma(request.registers.lba, request.registers.feature, true),
                             request.data, request.dataBytes);
    }
    static void putQueueing(std::uint8_t* identity) {
        identity[2 * 75] = 31;
        identity[2 * 76 + 1] |= 1;
        identity[511] = 0;
        identity[511] = static_cast<std::uint8_t>(0 - std::accumulate(identity, identity + 511, 0U));
    }
    [[nodiscard]] AtaResponse spoilt(AtaResponse response) const {
        constexpr std::uint64_t kElsewhere = 37;
        const AtaResponse aborted{{LIBDRIVE2_DRIVE_ERROR, "nobody's registers"}, 0x50, 0, 0, 0};
        switch (m_adapter) {
            case Adapter::logged:
                return response;
            case Adapter::blind:
            case Adapter::nervous:
                return aborted;
            case Adapter::confused:
                return {{}, 0x51, 0x40, 0, kElsewhere};
            case Adapter::refusing:
                return {{LIBDRIVE2_NOT_SUPPORTED, "invalid field"}, 0, 0, 0, 0};
            case Adapter::silent:
                return {{LIBDRIVE2_TIMEOUT, "no answer"}, 0, 0, 0, 0};
            case Adapter::noisy:
                return {{}, 0x51, 0x84, 0, 0};
        }
        return response;
    }

    Adapter m_adapter;
    std::unique_ptr<AtaDevice> m_model = SimProvider::get().openAta("sim:ata,sectors=1000,bad=37+50");
    std::mutex m_mutex;
};

struct Watched : DriveObserver {
    void onOperation(const DriveOperationReport& report) override {
        recovered += report.correctedByDrive ? 1 : 0;
    }
    int recovered = 0;
};

class QueuedReads : public testing::Test {
protected:
    void open(Adapter adapter) {
        auto owned = std::make_unique<QueueingAta>(adapter);
        device = owned.get();
        drive = std::make_unique<AtaDrive>(SharedAtaDevice(std::move(owned)));
        watched = {};
        drive->setObserver(&watched);
    }
    bool read(std::uint64_t lba, std::uint32_t count) {
        device->sent.clear();
        return drive->readSector(lba, count, buffer.data(), count * 512);
    }
    std::string text() { return drive->getLastErrorStr().utf8(); }

    QueueingAta* device = nullptr;
    std::unique_ptr<AtaDrive> drive;
    Watched watched;
    std::vector<std::uint8_t> buffer = std::vector<std::uint8_t>(64 * 512);
};

TEST_F(QueuedReads, MoveWhatOtherReadsMoveAndAreAloneInNone) {
    open(Adapter::logged);
    const SharedBlockHandle model = openBlock("sim:ata,sectors=1000");
    std::vector<std::uint8_t> expected(30 * 512);
    ASSERT_TRUE(model->read(0, expected.data(), expected.size()).ok());
    EXPECT_TRUE(read(0, 30));
    EXPECT_EQ(device->sent, "qqqq");
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), buffer.begin()));
    EXPECT_TRUE(read(0, 8));
    EXPECT_EQ(device->sent, "d");
    device->isQueueing = false;
    EXPECT_TRUE(read(0, 30));
    EXPECT_EQ(device->sent, "dddd");
}

// Sector 37 is bad, in the command of the sectors 32 through 39.
TEST_F(QueuedReads, TellTheFirstSectorsThatFailWhateverTheAdapterSays) {
    for (const auto& [adapter, goesOn] :
         {std::pair{Adapter::logged, 'q'}, std::pair{Adapter::blind, 'd'}, std::pair{Adapter::confused, 'd'},
          std::pair{Adapter::refusing, 'd'}}) {
        open(adapter);
        for (int pass = 0; pass < 2; ++pass) {
            EXPECT_FALSE(read(0, 64));
            EXPECT_EQ(drive->lastError, LIBDRIVE2_MEDIA_ERROR);
            EXPECT_THAT(text(),
                        HasSubstr("reading sectors 32 through 39 failed: uncorrectable data at sector 37"));
        }
        for (std::uint64_t lba = 32; lba < 40; ++lba)
            EXPECT_EQ(read(lba, 1), lba != 37);
        EXPECT_TRUE(read(0, 32));
        EXPECT_EQ(device->sent, std::string(4, goesOn));
    }
}

TEST_F(QueuedReads, AreGivenUpWhereTheyHarmAndThatIsTold) {
    open(Adapter::nervous);
    EXPECT_TRUE(read(0, 30));
    EXPECT_EQ(watched.recovered, 1);
    EXPECT_THAT(text(), HasSubstr("needed recovery by the drive: nobody's registers"));
    EXPECT_TRUE(read(0, 30));
    EXPECT_EQ(device->sent, "dddd");
    EXPECT_EQ(watched.recovered, 1);
    EXPECT_TRUE(drive->reOpenHandle());
    EXPECT_TRUE(read(0, 30));
    EXPECT_EQ(watched.recovered, 2);
    open(Adapter::refusing);
    EXPECT_TRUE(read(0, 30));
    EXPECT_EQ(watched.recovered, 0) << "nothing has happened to the drive";
}

TEST_F(QueuedReads, HideNeitherSilenceNorTheCable) {
    for (const auto& [adapter, error] :
         {std::pair{Adapter::silent, LIBDRIVE2_TIMEOUT}, std::pair{Adapter::noisy, LIBDRIVE2_LINK_ERROR}}) {
        open(adapter);
        EXPECT_FALSE(read(0, 30));
        EXPECT_EQ(drive->lastError, error);
        EXPECT_EQ(std::ranges::count(device->sent, 'd'), 0)
            << "a drive that hangs is not asked for the same again";
    }
}

}  // namespace
}  // namespace libDrive2
