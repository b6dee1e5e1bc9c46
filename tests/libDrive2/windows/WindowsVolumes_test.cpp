#include "libDrive2/windows/WindowsVolumes.h"

#include <algorithm>

#include "Fixtures.h"
#include "windows/PlayedMachine.h"

namespace libDrive2 {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::kBasicData;
using testing_support::PlayedDevice;

constexpr std::int64_t kMiB = PlayedMachine::kMiB;
constexpr const char* kDisk = "\\\\.\\PhysicalDrive1";
const std::wstring kMemory = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Memory Management\\";

/// Disk 0 with Windows, and disk 1 with three volumes: of a letter, of a folder, of neither.
class DiskWithVolumes : public testing::Test {
protected:
    DiskWithVolumes() {
        machine.addDisk(0, {0, false, zel::StorageBus::sata, "", "System", "", "S0"});
        disk = &machine.addDisk(1, {0, false, zel::StorageBus::sata, "", "Data", "", "S1"});
        disk->answer(IOCTL_DISK_GET_DRIVE_LAYOUT_EX,
                     testing_support::driveLayout(PARTITION_STYLE_GPT, {{1, 1 * kMiB, kMiB, 0, kBasicData},
                                                                        {2, 2 * kMiB, kMiB, 0, kBasicData},
                                                                        {3, 3 * kMiB, kMiB, 0, kBasicData}}));
        machine.addVolume(L"C", {L"C:\\"}, L"NTFS", L"System", {{0, kMiB, kMiB}});
        machine.addVolume(L"E", {L"E:\\"}, L"NTFS", L"Data", {{1, 1 * kMiB, kMiB}});
        machine.addVolume(L"F", {L"C:\\mnt\\"}, L"exFAT", L"", {{1, 2 * kMiB, kMiB}});
        machine.addVolume(L"G", {}, L"", L"", {{1, 3 * kMiB, kMiB}});
    }

    std::string refusal(const zel::String& path = kDisk) {
        WindowsVolumes volumes(path);
        zel::Wording reason;
        return volumes.lock(reason) ? "" : reason.utf8();
    }

    VirtualTime time;
    PlayedMachine machine;
    PlayedDevice* disk;
};

std::vector<std::string> textsOf(const zel::Array<zel::String>& from) {
    std::vector<std::string> texts;
    for (const zel::String& text : from)
        texts.push_back(text.utf8());
    return texts;
}

TEST_F(DiskWithVolumes, LocksAndDismountsAllAndGivesThemBack) {
    const std::set<std::wstring> all = {L"E", L"F", L"G"};
    {
        WindowsVolumes volumes(kDisk);
        EXPECT_THAT(textsOf(volumes.holders()),
                    ElementsAre("E: is mounted (NTFS \"Data\")", "C:\\mnt is mounted (exFAT)"));
        zel::Wording reason;
        EXPECT_TRUE(volumes.lock(reason) && volumes.lock(reason)) << reason.utf8();
        EXPECT_EQ(machine.locked, all);
        EXPECT_EQ(machine.dismounted, all);
        EXPECT_THAT(textsOf(volumes.holders()), IsEmpty());
        EXPECT_EQ(refusal(), std::string(kDisk) + " is in use: another program has locked it");
        EXPECT_TRUE(volumes.unlock(reason));
        EXPECT_TRUE(machine.locked.empty());
        EXPECT_TRUE(volumes.lock(reason)) << reason.utf8();
    }
    EXPECT_TRUE(machine.locked.empty());
    EXPECT_EQ(machine.openHandles(), 0U);
}

TEST_F(DiskWithVolumes, ASecondVolumeThatRefusesLeavesNoneLocked) {
    machine.volume(L"F").fail(FSCTL_LOCK_VOLUME, ERROR_ACCESS_DENIED);
    EXPECT_EQ(refusal(), std::string(kDisk) + " is in use: C:\\mnt cannot be locked: files on it are open");
    EXPECT_TRUE(machine.locked.empty());
    EXPECT_EQ(machine.logged("ioctl \\\\?\\Volume{E} 00090020"), 0U);  // never dismounted
    EXPECT_EQ(machine.logged("ioctl \\\\?\\Volume{F} 00090018"), 5U);  // it may be for a moment only
    EXPECT_EQ(time.clock.now(), std::chrono::milliseconds(800));
    EXPECT_EQ(machine.openHandles(), 0U);
}

TEST_F(DiskWithVolumes, AVolumeThatComesWhileOthersAreLockedIsLockedToo) {
    const auto lock = machine.volume(L"F").drivers[FSCTL_LOCK_VOLUME];
    machine.volume(L"F").drivers[FSCTL_LOCK_VOLUME] = [&](const testing_support::PlayedRequest& request) {
        if (machine.volumes.size() == 4)
            machine.addVolume(L"H", {L"H:\\"}, L"NTFS", L"", {{1, 4 * kMiB, kMiB}});
        return lock(request);
    };
    WindowsVolumes volumes(kDisk);
    zel::Wording reason;
    ASSERT_TRUE(volumes.lock(reason)) << reason.utf8();
    EXPECT_EQ(machine.dismounted, (std::set<std::wstring>{L"E", L"F", L"G", L"H"}));
    ASSERT_TRUE(volumes.unlock(reason));
    machine.volume(L"H").fail(FSCTL_LOCK_VOLUME, ERROR_ACCESS_DENIED);
    EXPECT_EQ(refusal(), std::string(kDisk) + " is in use: H: cannot be locked: files on it are open");
    EXPECT_TRUE(machine.locked.empty());
}

TEST_F(DiskWithVolumes, AVolumeThatIsNotTakenBackIsNamed) {
    WindowsVolumes volumes(kDisk);
    zel::Wording reason;
    ASSERT_TRUE(volumes.lock(reason));
    machine.volume(L"E").fail(FSCTL_UNLOCK_VOLUME, ERROR_NOT_LOCKED);
    EXPECT_FALSE(volumes.unlock(reason));
    EXPECT_THAT(reason.utf8(), testing::StartsWith("E: could not be given back: "));
}

TEST_F(DiskWithVolumes, WhatMustNotBeWrittenToIsRefusedWithTheReason) {
    const auto setLayout = [this](const GUID& type) {
        disk->answer(IOCTL_DISK_GET_DRIVE_LAYOUT_EX,
                     testing_support::driveLayout(PARTITION_STYLE_GPT, {{1, kMiB, kMiB, 0, type}}));
    };
    const std::wstring start = L"SYSTEM\\Setup\\SystemPartition";
    const struct {
        const char* expected;
        std::function<void()> prepare;
    } kCases[] = {
        {"E: (NTFS \"Data\") holds Windows", [this] { machine.systemFolder = L"e:\\Windows"; }},
        {"\\\\?\\Volume{G} starts this computer", [&] { machine.setRegistryText(start, L"\\Device\\G"); }},
        {"a page file lies on E:",
         [this] {
             std::wstring files = L"\\??\\C:\\pagefile.sys";
             files += std::wstring(1, L'\0') + L"\\??\\e:\\pagefile.sys";
             machine.setRegistryText(kMemory + L"ExistingPageFiles", files);
         }},
        {"a page file lies on E:",
         [this] { machine.setRegistryText(kMemory + L"PagingFiles", L"E:\\pagefile.sys 0 0"); }},
        {"disk 1 belongs to a storage pool", [&] { setLayout(testing_support::kPoolMember); }},
        {"disk 1 is a dynamic disk", [&] { setLayout(testing_support::kDynamicMember); }},
        {"disk 1 is a dynamic disk",
         [this] {
             disk->answer(IOCTL_DISK_GET_DRIVE_LAYOUT_EX,
                          testing_support::driveLayout(PARTITION_STYLE_MBR, {{1, 512, kMiB, 0x42}}));
         }},
    };
    const auto before = disk->drivers;
    for (const auto& each : kCases) {
        machine.registry.clear();
        machine.systemFolder = L"C:\\Windows";
        disk->drivers = before;
        each.prepare();
        EXPECT_EQ(refusal(), std::string(kDisk) + " is in use: " + each.expected);
        EXPECT_THAT(textsOf(WindowsVolumes(kDisk).holders()), testing::Contains(each.expected));
    }
    EXPECT_TRUE(machine.locked.empty());
    EXPECT_EQ(machine.openHandles(), 0U);
}

TEST_F(DiskWithVolumes, WithoutAMediumThereIsNothingToLock) {
    EXPECT_EQ(refusal(), "");
    const std::vector<std::string> log = machine.log;
    const auto lock = std::find(log.rbegin(), log.rend(), "ioctl \\\\?\\Volume{G} 00090018");
    const auto opening = std::find(lock, log.rend(), "open \\\\?\\Volume{G}");
    ASSERT_NE(opening, log.rend());
    machine.failAt = machine.calls() + static_cast<unsigned>(log.rend() - opening);
    machine.failure = ERROR_NOT_READY;
    WindowsVolumes volumes(kDisk);
    zel::Wording reason;
    EXPECT_TRUE(volumes.lock(reason)) << reason.utf8();
    EXPECT_EQ(machine.locked, (std::set<std::wstring>{L"E", L"F"}));
}

TEST_F(DiskWithVolumes, AVolumeThatDoesNotTellWhereItLiesIsKnownByItsLetter) {
    for (const wchar_t* path : {L"\\\\.\\C:", L"\\\\?\\Volume{C}"})
        machine.device(path).fail(IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, ERROR_INVALID_FUNCTION);
    EXPECT_EQ(refusal("\\\\.\\c:"), "\\\\.\\c: is in use: C: (NTFS \"System\") holds Windows");
}

TEST_F(DiskWithVolumes, AVolumeAloneLeavesItsNeighboursMounted) {
    WindowsVolumes volumes("\\\\.\\E:");
    zel::Wording reason;
    ASSERT_TRUE(volumes.lock(reason)) << reason.utf8();
    EXPECT_EQ(machine.locked, std::set<std::wstring>{L"E"});
    // The disk beneath is taken with it.
    EXPECT_EQ(refusal(), std::string(kDisk) + " is in use: another program has locked it");
}

TEST_F(DiskWithVolumes, TheKindOfARefusalTellsWhatToDo) {
    disk->refusedAccess = GENERIC_WRITE;
    EXPECT_EQ(WindowsVolumes(kDisk).hold().type, LIBDRIVE2_WRITE_PROTECTED_DEVICE);
    disk->refusedAccess = 0;
    const auto drivers = machine.volume(L"G").drivers;
    for (const auto& [error, type] :
         {std::pair{ERROR_WRITE_PROTECT, LIBDRIVE2_WRITE_PROTECTED_DEVICE},
          std::pair{ERROR_ACCESS_DENIED, LIBDRIVE2_BUSY}, std::pair{ERROR_GEN_FAILURE, LIBDRIVE2_BUSY}}) {
        machine.volume(L"G").fail(FSCTL_LOCK_VOLUME, static_cast<DWORD>(error));
        EXPECT_EQ(WindowsVolumes(kDisk).hold().type, type) << error;
    }
    machine.volume(L"G").drivers = drivers;
    EXPECT_EQ(WindowsVolumes("\\\\.\\PhysicalDrive9").hold().type, LIBDRIVE2_BUSY);
}

std::vector<std::string> contentsOf(WindowsVolumes& volumes) {
    std::vector<std::string> found;
    for (const VolumeContent& content : volumes.contents())
        found.push_back(content.what.utf8() + " " + std::to_string(content.bytes));
    return found;
}

void put(PlayedDevice& device, std::size_t at, const std::string& text) {
    std::copy(text.begin(), text.end(), device.content.begin() + static_cast<std::ptrdiff_t>(at));
}

TEST_F(DiskWithVolumes, ShowsWhatIsOnItAlsoWhenItIsLocked) {
    put(*disk, 3 * kMiB + 1080, "\x53\xEF");
    WindowsVolumes volumes(kDisk);
    const std::vector<std::string> expected = {"partition table gpt 0", "partition 1: NTFS \"Data\" 1048576",
                                               "partition 2: exFAT 1048576", "partition 3: ext 1048576"};
    EXPECT_EQ(contentsOf(volumes), expected);
    zel::Wording reason;
    ASSERT_TRUE(volumes.lock(reason));
    machine.volumes.clear();
    EXPECT_EQ(contentsOf(volumes), expected);
}

TEST_F(DiskWithVolumes, FindsEncryptedVolumesByTheirDisk) {
    const auto encryption = [](const char* path) {
        zel::Wording reason;
        return WindowsVolumes(path).examineEncryption(reason) == Encryption::none ? "" : reason.utf8();
    };
    EXPECT_EQ(encryption(kDisk) + encryption("\\\\.\\E:"), "");
    put(*disk, kMiB + 3, "-FVE-FS-");
    EXPECT_EQ(encryption(kDisk),
              "partition 1 of \\\\.\\PhysicalDrive1 holds an encrypted volume (BitLocker)");
    EXPECT_EQ(encryption("\\\\.\\E:"), "\\\\.\\E: holds an encrypted volume (BitLocker)");
    disk->badReads[kMiB / 512] = ERROR_CRC;
    EXPECT_THAT(encryption("\\\\.\\E:"), testing::EndsWith("sector 0 cannot be read"));
    disk->openError = ERROR_ACCESS_DENIED;
    EXPECT_THAT(encryption("\\\\.\\E:"),
                testing::StartsWith("\\\\.\\E: cannot be examined for encrypted volumes: "));
}

TEST_F(DiskWithVolumes, WhateverCallFailsNothingStaysOpenOrLocked) {
    for (unsigned call = 1;; ++call) {
        const unsigned failing = machine.calls() + call;
        machine.failAt = failing;
        {
            WindowsVolumes volumes(kDisk);
            zel::Wording reason;
            const bool isLocked = volumes.lock(reason);
            EXPECT_EQ(isLocked, reason.isEmpty()) << call;
            // Where a single volume does not tell what it lies on, the system itself keeps writes from it.
            const std::string& failed = machine.log[std::min<std::size_t>(failing, machine.log.size()) - 1];
            if (failed == "volumes" || failed == "next volume") {
                EXPECT_EQ(machine.locked.size(), isLocked ? 3U : 0U) << failed;
            }
        }
        EXPECT_EQ(machine.openHandles(), 0U) << call;
        if (machine.calls() < failing)
            break;
        // One that could not be unlocked is so when its handle is closed.
        const bool isUnlock = machine.log[failing - 1].ends_with("0009001C");
        EXPECT_EQ(machine.locked.size(), isUnlock ? 1U : 0U) << machine.log[failing - 1];
        machine.locked.clear();
        machine.dismounted.clear();
    }
}

}  // namespace
}  // namespace libDrive2
