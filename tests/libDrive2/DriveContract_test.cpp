#include <algorithm>
#include <cstring>
#include <ostream>

#include "Fixtures.h"
#include "libDrive2/AtaDrive.h"
#include "libDrive2/NVMeDrive.h"
#include "libDrive2/OSFloppyDrive.h"
#include "libDrive2/OSScsiSBCDrive.h"
#include "libDrive2/UFIFloppyDrive.h"
#include "libDrive2/sim/SimProvider.h"
#include "zel/Buffer.h"
#include "zel/Format.h"

namespace libDrive2 {
namespace {

constexpr std::uint64_t k2To32 = std::uint64_t{1} << 32;

/// A drive class over a model.
struct Kind {
    Kind(const char* drive, const char* model, const char* keys = "")
        : name(drive), locator(std::string("sim:") + model + keys) {}
    [[nodiscard]] bool is(const char* what) const { return (name + locator).find(what) != std::string::npos; }

    std::string name, locator;
    std::uint64_t sectors = is("Huge") ? k2To32 * 2 : is("Floppy") ? 2880 : 2097152;
    std::uint32_t sectorBytes = is("4096") ? 4096 : 512;
    std::uint32_t maxTransfer = (is("Floppy") || is("System") ? 65536 : 1048576) / sectorBytes;
};

void PrintTo(const Kind& kind, std::ostream* out) {
    *out << kind.locator;
}

constexpr const char *kHuge = ",sectors=8589934592", *k4096 = ",sector-size=4096";
const Kind kKinds[] = {{"ScsiSBC", "scsi"},
                       {"ScsiSBCOf4096", "scsi,sense=descriptor", k4096},
                       {"ScsiSBCHuge", "scsi", kHuge},
                       {"ObjectScsiSBC", "scsi"},
                       {"SystemScsiSBC", "scsi"},
                       {"SystemScsiSBCHuge", "scsi", kHuge},
                       {"System", "disk"},
                       {"SystemHuge", "disk", kHuge},
                       {"Floppy", "floppy"},
                       {"UFIFloppy", "ufi"},
                       {"Ata", "ata"},
                       {"AtaOf4096", "ata", k4096},
                       {"AtaHuge", "ata", kHuge},
                       {"NVMe", "nvme"},
                       {"NVMeOf4096", "nvme", k4096},
                       {"NVMeHuge", "nvme", kHuge}};

struct ScsiObject : ScsiSBCDevice {
    ScsiPassThrough& passThrough() override { return *path; }
    SharedScsiPassThrough path;
};

std::unique_ptr<Drive> openAs(const Kind& kind, const std::string& at) {
    const SharedScsiPassThrough scsi(SimProvider::get().openScsi(at, kReadWrite));
    if (kind.is("Ata"))
        return std::make_unique<AtaDrive>(SharedAtaDevice(SimProvider::get().openAta(at)));
    if (kind.is("NVMe"))
        return std::make_unique<NVMeDrive>(SharedNVMeDevice(SimProvider::get().openNVMe(at)));
    if (kind.is("UFI"))
        return std::make_unique<UFIFloppyDrive>(scsi);
    if (kind.is("Floppy"))
        return std::make_unique<OSFloppyDrive>(openBlock(at));
    if (kind.is("SystemScsi"))
        return std::make_unique<OSScsiSBCDrive>(openBlock(at), scsi, at);
    if (kind.is("System"))
        return std::make_unique<OSDrive>(openBlock(at), at);
    auto object = std::make_unique<ScsiObject>();
    object->path = scsi;
    return kind.is("Object")
               ? std::make_unique<ScsiSBCDrive>(zel::SharedPointer<ScsiSBCDevice>(std::move(object)))
               : std::make_unique<ScsiSBCDrive>(scsi);
}

struct Notes : DriveCallback {
    explicit Notes(std::string& list) : codes(list) {}
    void onDriveNotify(std::uint32_t code) override { codes += std::to_string(code); }
    std::string& codes;
};

/// What every drive class does, whatever it reaches its drive by.
class DriveContract : public testing::TestWithParam<Kind> {
protected:
    void open(const std::string& keys = "") {
        drive.reset();
        locator = kind.locator + keys;
        drive = openAs(kind, locator);
        notes.clear();
        drive->setCallback(std::make_unique<Notes>(notes));
    }
    /// Buffers are page-aligned but for a shift by so many bytes.
    bool write(std::uint64_t lba, const std::string& data, std::size_t shift = 0) {
        zel::Buffer buffer(data.size() + shift);
        std::memcpy(buffer.data() + shift, data.data(), data.size());
        const auto bytes = static_cast<std::uint32_t>(data.size());
        return drive->writeSector(lba, bytes / kind.sectorBytes, buffer.data() + shift, bytes);
    }
    /// The data, or why it cannot be read.
    std::string read(std::uint64_t lba, std::uint32_t count, std::size_t shift = 0) {
        const std::uint32_t bytes = count * kind.sectorBytes;
        zel::Buffer buffer(bytes + shift);
        const bool done = drive->readSector(lba, count, buffer.data() + shift, bytes);
        return done ? std::string(reinterpret_cast<char*>(buffer.data()) + shift, bytes) : text();
    }
    /// Reads, writes, seeks or flushes; the digit of the error.
    char act(char what, std::uint64_t lba, std::uint32_t count) {
        what == 'r'   ? (void)read(lba, count)
        : what == 'w' ? (void)write(lba, pattern(count, 1))
        : what == 's' ? (void)drive->seekSector(lba)
                      : (void)drive->flushCache();
        return static_cast<char>('0' + drive->lastError);
    }
    std::string text() { return drive->getLastErrorStr().utf8(); }
    /// Data in which all words differ.
    [[nodiscard]] std::string pattern(std::uint32_t sectors, std::uint64_t seed) const {
        std::string data;
        for (std::uint64_t word = seed; data.size() < std::size_t{sectors} * kind.sectorBytes;)
            data.append(reinterpret_cast<const char*>(&(word += 0x9E3779B97F4A7C15U)), sizeof word);
        return data;
    }
    /// What the model really holds.
    [[nodiscard]] std::string truth(std::uint64_t lba, std::uint32_t count) const {
        std::string data(std::size_t{count} * kind.sectorBytes, '\0');
        (void)openBlock(locator)->read(lba * kind.sectorBytes, data.data(), data.size());
        return data;
    }

    const Kind& kind = GetParam();
    std::string locator, notes;
    std::unique_ptr<Drive> drive;
    VirtualTime time;
};

TEST_P(DriveContract, TellsWhatItIsAndEndsThere) {
    const bool isHot = kind.is("scsi") || kind.is("ata") || kind.is("nvme");
    const std::uint64_t last = kind.sectors - 1;
    open(isHot ? ",temperature=61" : "");
    double celsius = 0;
    const auto accessor = drive->getTemperatureAccessor();
    EXPECT_EQ(accessor != nullptr && accessor->read(celsius) && celsius == 61, isHot);
    EXPECT_EQ(drive->getSectorSize() + drive->getPhysicalSectorSize(), 2 * kind.sectorBytes);
    EXPECT_EQ(drive->getSectorCount() + drive->getPhysicalSectorCount(), 2 * kind.sectors);
    EXPECT_EQ(drive->getOptimalRd(65535) + drive->getOptimalRd(3), kind.maxTransfer + 3);
    EXPECT_EQ(drive->getOptimalWr(65535) + drive->getOptimalWr(3), kind.maxTransfer + 3);
    EXPECT_EQ(drive->isMediaRemovable(), kind.is("Floppy"));
    EXPECT_EQ(drive->mediaState(), LIBDRIVE2_MEDIA_CORRECT);
    EXPECT_EQ(std::string({act('r', last, 2), act('w', last, 2), act('s', last + 1, 1)}), "555");
    EXPECT_EQ(std::string({act('r', last, 1), act('w', last, 1), act('s', last, 1)}), "000");
    if (isHot && !kind.is("scsi"))
        return;
    open(kind.is("Floppy") ? "" : ",removable");
    EXPECT_TRUE(drive->isMediaRemovable() && drive->ejectDrive() && act('r', 0, 1) == '9');
    EXPECT_TRUE(drive->mediaState() == LIBDRIVE2_MEDIA_NONE && drive->loadDrive() &&
                drive->waitForMedia(999));
    open(kind.is("Floppy") ? ",media=none" : ",removable,media=none");
    EXPECT_TRUE(drive->getSectorCount() == 0 && !drive->isMediaPresent() && act('r', 0, 1) == '9');
}

struct MediumWatch : DriveObserver {
    void onOperation(const DriveOperationReport& /*report*/) override {}
    void onMedium(std::uint64_t sectors, std::uint32_t /*sectorBytes*/) override { seen.push_back(sectors); }
    std::vector<std::uint64_t> seen;
};

TEST_P(DriveContract, TakesTheMediumThatComesAndLocksItIn) {
    if (kind.is("ata") || kind.is("nvme"))
        GTEST_SKIP() << "its medium is a part of it";
    open(std::string(kind.is("Floppy") ? "" : ",removable") + ",media=none>disk:1000>disk:77");
    MediumWatch watch;
    drive->setObserver(&watch);
    const auto isLocked = [this] { return openBlock(locator)->eject().type == LIBDRIVE2_BUSY; };
    EXPECT_TRUE(drive->preventMediumRemoval(true));
    for (const std::uint32_t sectors : {1000U, 77U}) {
        EXPECT_TRUE(drive->ejectDrive()) << text();
        EXPECT_FALSE(isLocked() || drive->waitForMedia(200) || isLocked());
        EXPECT_TRUE(drive->loadDrive() && drive->waitForMedia(200)) << text();
        EXPECT_TRUE(isLocked());
        EXPECT_EQ(drive->getSectorCount(), sectors);
        EXPECT_EQ(std::string({act('r', sectors - 1, 1), act('r', sectors, 1)}), "05");
    }
    EXPECT_TRUE(drive->preventMediumRemoval(false) && !isLocked());
    EXPECT_EQ(watch.seen, (std::vector<std::uint64_t>{1000, 77}));
}

TEST_P(DriveContract, ReadsBackWhatWasWrittenAndNothingElse) {
    open();
    std::vector<std::pair<std::uint64_t, std::uint32_t>> ranges = {
        {0, 3}, {101, kind.maxTransfer * 2 + 3}, {kind.sectors - 7, 7}};  // the second takes three commands
    if (kind.sectors > k2To32)
        ranges.insert(ranges.end(), {{k2To32 / 16 - 2, 5}, {k2To32 - 2, 5}, {k2To32 + 200, 9}});
    for (const auto& [lba, count] : ranges) {
        const std::uint64_t below = lba > 0 ? lba - 1 : count;
        const std::uint64_t above = std::min(lba + count, kind.sectors - 8);
        const std::string around = truth(below, 1) + truth(above, 1);
        ASSERT_TRUE(write(lba, pattern(count, lba), count % 3)) << text();
        EXPECT_TRUE(truth(below, 1) + truth(above, 1) == around) << lba;
    }
    EXPECT_EQ(act('f', 0, 0), kind.is("UFI") ? '1' : '0') << "the UFI set has no command for it";
    EXPECT_TRUE(drive->reOpenHandle());
    for (const auto& [lba, count] : ranges)
        for (const std::size_t shift : {0U, 1U, 512U}) {
            EXPECT_TRUE(truth(lba, count) == pattern(count, lba)) << lba;
            EXPECT_TRUE(read(lba, count, shift) == pattern(count, lba)) << lba << " shift " << shift;
            EXPECT_TRUE(read(lba + count - 1, 1) == truth(lba + count - 1, 1)) << lba;
        }
    open(",wp");
    EXPECT_EQ(act('w', 5, 1), kind.is("ata") ? '3' : '6') << "an ATA drive says that it aborted the command";
    EXPECT_TRUE(truth(5, 1) != pattern(1, 1) && act('r', 5, 1) == '0');
}

TEST_P(DriveContract, SingleSectorsTellExactlyWhichFail) {
    const bool seeksByCommand = (kind.is("scsi") || kind.is("ufi")) && kind.sectors <= k2To32;
    const std::uint64_t first = kind.sectors > k2To32 ? k2To32 - 4 : 1000;
    const std::tuple<char, const char*, std::string, const char*> rows[] = {
        {'r', ",bad=%u+%u-%u", "reading sector", "0002022000"},
        {'w', ",bad-write=%u+%u-%u", "writing sector", kind.is("ata") ? "0003033000" : "0002022000"},
        {'s', ",bad-seek=%u+%u-%u", "seeking to sector", seeksByCommand ? "0003033000" : "0002022000"}};
    for (const auto& [what, keys, verb, expected] : rows) {
        open(zel::format(keys, first + 3, first + 5, first + 6).utf8());
        EXPECT_EQ(act(what, first, 10), what == 's' ? '0' : expected[3]);
        EXPECT_EQ(text().starts_with(verb + "s " + std::to_string(first) + " through"), what != 's');
        std::string outcomes;
        for (std::uint64_t lba = first; lba < first + 10; ++lba) {
            outcomes += act(what, lba, 1);
            EXPECT_TRUE(outcomes.back() == '0' || text().starts_with(verb + " " + std::to_string(lba)))
                << text();
        }
        EXPECT_EQ(outcomes, expected) << verb;
    }
}

TEST_P(DriveContract, ADriveThatGoesAwayOrGetsBusyShowsNoOtherError) {
    for (const std::string key : {",gone-at=", ",busy-at="}) {
        std::string outcomes;
        for (int n = 1; outcomes != "0000" && n < 100; ++n) {
            open(key + std::to_string(n));
            outcomes.clear();
            for (const char what : std::string(kind.is("ufi") ? "rwsr" : "rwsf"))
                outcomes += act(what, 10, kind.maxTransfer + 1);
            EXPECT_THAT(outcomes, testing::MatchesRegex(key[1] == 'g' ? "0*9*" : "0*8*")) << key << n;
            drive->mediaState();
            drive->getTemperatureAccessor();
            drive->reOpenHandle();
        }
        EXPECT_EQ(outcomes, "0000");
    }
}

TEST_P(DriveContract, RepeatsWhatMayPassAndReportsRecovery) {
    const bool tells = dynamic_cast<ScsiDrive*>(openAs(kind, kind.locator).get()) != nullptr;
    const std::tuple<const char*, unsigned, char, const char*> rows[] = {
        {",transient=%u:3", 7, '2', ""},
        {",transient=%u:2", 7, '0', "4"},
        {",recovered=%u", 1, '0', ""},
        {",recovered=%u", 3, '0', tells ? "4" : ""}};
    for (const auto& [keys, behavior, outcome, reported] : rows) {
        open(zel::format(keys, kind.maxTransfer + 2).utf8());
        drive->setRetryCallbackBehavior(static_cast<_LIBDRIVE2_RETRY_CALLBACK_BEHAVIOR>(behavior));
        drive->setRetryCount(2);
        EXPECT_EQ(act('r', 0, kind.maxTransfer + 4), outcome);
        EXPECT_EQ(notes, reported);
    }
    EXPECT_EQ(text().find("needed recovery by the drive") != std::string::npos, tells);
}

INSTANTIATE_TEST_SUITE_P(On, DriveContract, testing::ValuesIn(kKinds),
                         [](const auto& on) { return on.param.name; });

}  // namespace
}  // namespace libDrive2
