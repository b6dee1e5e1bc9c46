#include "libDrive2/EncryptedVolumes.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

namespace libDrive2 {
namespace {

constexpr std::uint64_t kSectors = 16384;

/// A device of 512-byte sectors that are zero but for what is put on them.
struct Device {
    void put(std::uint64_t lba, std::size_t at, const std::string& bytes) {
        std::string& sector = contents.try_emplace(lba, std::string(512, '\0')).first->second;
        sector.replace(at, bytes.size(), bytes);
    }
    [[nodiscard]] SectorSource source() const {
        return {512, kSectors, [this](std::uint64_t lba, std::uint8_t* data) {
                    const auto found = contents.find(lba);
                    const std::string sector =
                        found != contents.end() ? found->second : std::string(512, '\0');
                    std::copy(sector.begin(), sector.end(), data);
                    return !unreadable.contains(lba);
                }};
    }
    /// What is found, with what is told of it.
    std::string examine(const std::set<std::uint64_t>& lbas = {},
                        const std::vector<PartitionStart>& alsoKnown = {}) {
        unreadable = lbas;
        zel::Wording reason;
        const Encryption found = findEncryptedVolume(source(), "D", alsoKnown, reason);
        EXPECT_EQ(found == Encryption::none, reason.isEmpty());
        return reason.utf8();
    }

    std::map<std::uint64_t, std::string> contents;
    std::set<std::uint64_t> unreadable;
};

const std::string kLuks = "LUKS\xBA\xBE", kLuksTail = "SKUL\xBA\xBE";

template <class Number>
std::string littleEndian(Number value) {
    return {reinterpret_cast<const char*>(&value), sizeof(value)};
}

std::string mbrEntry(std::uint8_t type, std::uint32_t start) {
    return std::string(4, '\0') + static_cast<char>(type) + std::string(3, '\0') + littleEndian(start) +
           littleEndian(std::uint32_t{64});
}

void putMbr(Device& device, std::uint64_t lba, const std::string& entries) {
    device.put(lba, 446, entries);
    device.put(lba, 510, "\x55\xAA");
}

/// Partition 5 of a GPT, of which there are two copies.
Device withGpt(std::uint64_t partition) {
    Device device;
    putMbr(device, 0, mbrEntry(0xEE, 1));
    for (const auto& [header, entries] :
         {std::pair<std::uint64_t, std::uint64_t>{1, 2}, {kSectors - 1, kSectors - 33}}) {
        device.put(header, 0, "EFI PART");
        device.put(header, 72,
                   littleEndian(std::uint64_t{entries}) + littleEndian(128U) + littleEndian(128U));
        device.put(entries + 1, 0, std::string(16, 't') + std::string(16, 'u') + littleEndian(partition));
    }
    return device;
}

TEST(EncryptedVolumes, ASectorThatCannotBeReadMattersOnlyWhereASignatureCanBe) {
    const std::string unexamined = " cannot be examined for encrypted volumes: ";
    Device blank;
    Device mbr;
    putMbr(mbr, 0, mbrEntry(0x83, 2048) + mbrEntry(0x05, 4096));
    putMbr(mbr, 4096, mbrEntry(0x83, 63) + mbrEntry(0x05, 100));
    putMbr(mbr, 4196, mbrEntry(0x83, 63));
    for (Device device : {blank, mbr, withGpt(2048)}) {
        for (const std::uint64_t lba :
             std::set<std::uint64_t>{3, 8, 29, 32, 64, 128, 2047, 2049, kSectors - 2, kSectors - 1})
            EXPECT_EQ(device.examine({lba}), "") << lba;
        EXPECT_EQ(device.examine({0}), "D" + unexamined + "sector 0 cannot be read");
    }
    for (Device device : {mbr, withGpt(2048)}) {
        const std::string name = device.contents.contains(1) ? "partition 5 of D" : "partition 1 of D";
        EXPECT_EQ(device.examine({2048}), name + unexamined + "sector 2048 cannot be read");
    }
    EXPECT_EQ(mbr.examine({4196}), "D" + unexamined + "its partition table cannot be read");
    EXPECT_EQ(withGpt(2048).examine({1}), "");
    EXPECT_EQ(withGpt(2048).examine({1, kSectors - 32}),
              "D" + unexamined + "its partition table cannot be read");
}

TEST(EncryptedVolumes, AFoundOneGoesBeforeWhatCannotBeRead) {
    const std::string isLuks = " holds an encrypted volume (crypto_LUKS)";
    Device whole;
    whole.put(0, 0, kLuks);
    EXPECT_EQ(whole.examine({1, 32, kSectors - 1}), "D" + isLuks);
    Device logical;
    putMbr(logical, 0, mbrEntry(0x0F, 4096));
    putMbr(logical, 4096, mbrEntry(0x83, 63) + mbrEntry(0x05, 100));
    putMbr(logical, 4196, mbrEntry(0x83, 63));
    logical.put(4259, 0, kLuks);
    EXPECT_EQ(logical.examine({4159}), "partition 6 of D" + isLuks);
    Device gpt = withGpt(2048);
    gpt.put(2048, 3, "-FVE-FS-");
    for (const std::set<std::uint64_t>& unreadable :
         {std::set<std::uint64_t>{}, {0}, {1}, {3}, {kSectors - 1}})
        EXPECT_EQ(gpt.examine(unreadable), "partition 5 of D holds an encrypted volume (BitLocker)");
    Device second;
    second.put(0x8000 / 512, 0, kLuksTail);
    EXPECT_EQ(second.examine({0, 0x4000 / 512}), "D" + isLuks);
    Device removable;
    removable.put(0, 3, "MSWIN4.1");
    EXPECT_EQ(removable.examine(), "");
    removable.put(0, 424, "\x3B\xD6\x67\x49\x29\x2E\xD8\x4A\x83\x99\xF6\xA3\x39\xE3\xD0\x01");
    EXPECT_EQ(removable.examine(), "D holds an encrypted volume (BitLocker)");
    Device other;
    other.put(300, 0, kLuks);
    EXPECT_EQ(other.examine(), "");
    EXPECT_EQ(other.examine({}, {{2, 300 * 512}}), "partition 2 of D" + isLuks);
}

TEST(EncryptedVolumes, AChainOfPartitionsThatNeverEndsIsLeft) {
    Device device;
    putMbr(device, 0, mbrEntry(0x05, 4096));
    putMbr(device, 4096, mbrEntry(0x83, 63) + mbrEntry(0x05, 100));
    putMbr(device, 4196, mbrEntry(0x83, 63) + mbrEntry(0x05, 100));
    EXPECT_EQ(device.examine(), "");
}

}  // namespace
}  // namespace libDrive2
