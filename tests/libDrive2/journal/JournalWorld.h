#pragma once

#include <cstring>
#include <stdexcept>

#include "CrashModel.h"
#include "libDrive2/JournalRecovery.h"
#include "libDrive2/OSDrive.h"

namespace libDrive2 {

constexpr std::size_t kDriveSectors = 10;
constexpr std::size_t kChunk = 3;
constexpr std::size_t kSlotBytes = (kChunk + 2) * CrashDevice::kSector;

inline std::string sectorOf(char byte) {
    return std::string(CrashDevice::kSector, byte);
}
/// What the drive holds before the run; one sector looks like a pattern.
inline std::string originalOf(std::size_t sector) {
    std::string text = sectorOf(static_cast<char>('a' + sector));
    text[200] = 'Z';
    return sector == 5 ? sectorOf('\xFF') : text;
}
/// Somebody changed one byte.
inline std::string foreignFor(std::size_t sector) {
    std::string text = originalOf(sector);
    text[100] = '!';
    return text;
}
inline DeviceState originalDrive() {
    DeviceState state;
    for (std::size_t i = 0; i < kDriveSectors; ++i)
        state.durable.push_back(Contents::numberOf(originalOf(i)));
    return state;
}
inline DriveIdentity identity() {
    return {"Model", "123", kDriveSectors, CrashDevice::kSector, "wwid:1"};
}

struct CollectingSink : RecoverySink {
    bool saveSectors(std::uint64_t lba, std::span<const std::uint8_t> data, What what) override {
        for (std::size_t at = 0; at < data.size(); at += CrashDevice::kSector)
            saved[{lba + at / CrashDevice::kSector, what}] = {
                data.begin() + static_cast<std::ptrdiff_t>(at),
                data.begin() + static_cast<std::ptrdiff_t>(at + 512)};
        return works;
    }
    std::map<std::pair<std::uint64_t, What>, std::string> saved;
    bool works = true;
};

/// A drive with physical sectors of two, and the file of its journal.
struct JournalWorld {
    JournalWorld() : JournalWorld(CrashDevice::blank(fileSectors()), originalDrive()) {}
    JournalWorld(DeviceState journalState, DeviceState driveState)
        : journalFile(std::make_unique<CrashDevice>(std::move(journalState), 1)),
          driveHandle(std::make_unique<CrashDevice>(std::move(driveState), 2)) {}
    static std::size_t fileSectors() {
        return UndoJournal::fileBytes(kSlotBytes, 1024) / CrashDevice::kSector;
    }

    /// The run of a pattern test, as far as everything goes well; it stops at the first error.
    bool run() {
        zel::String reason;
        auto undo = UndoJournal::create(
            journalFile, {identity(), "drive", kSlotBytes, true, takeFingerprint(*driveHandle)}, reason);
        OSDrive drive(driveHandle, "drive");
        drive.setJournal(undo.get());
        const std::string patterns = sectorOf('\xFF') + sectorOf('\xFF') + sectorOf('\xFF') + sectorOf('P') +
                                     sectorOf('P') + sectorOf('P');
        if (undo == nullptr || !drive.expectWrites(patterns.data(), patterns.size()))
            return false;
        for (std::uint64_t lba = 1; lba < kDriveSectors; lba += kChunk)
            if (!testChunk(drive, lba, patterns))
                return false;
        return undo->close();
    }
    static bool testChunk(Drive& drive, std::uint64_t lba, const std::string& patterns) {
        constexpr std::uint32_t kBytes = kChunk * CrashDevice::kSector;
        std::string original(kBytes, '?');
        const auto write = [&](const char* data) { return drive.writeSector(lba, kChunk, data, kBytes); };
        // The restoration in between is that of a pattern which failed.
        return drive.readSector(lba, kChunk, original.data(), kBytes) &&
               drive.protectSectors(lba, kChunk, original.data(), kBytes) && write(patterns.data()) &&
               write(original.data()) && write(patterns.data() + kBytes) && write(original.data()) &&
               drive.releaseSectors(lba, kChunk);
    }

    RecoveryReport recoverAll(bool dryRun = false, bool force = false) {
        const JournalContents contents = readJournal(*journalFile);
        return recover({journalFile.get(), &contents, driveHandle.get(), of, &sink, dryRun, isNamed, force});
    }
    CrashDevice& file() { return static_cast<CrashDevice&>(*journalFile); }
    CrashDevice& drive() { return static_cast<CrashDevice&>(*driveHandle); }

    SharedBlockHandle journalFile, driveHandle;
    CollectingSink sink;
    DriveIdentity of = identity();  ///< of the drive at recovery
    bool isNamed = false;
};

/// A journal over a world's file, with its calls in sectors.
struct Journalled : JournalWorld {
    explicit Journalled(const DriveIdentity& drive = identity())
        : undo(UndoJournal::create(
              journalFile, {drive, "drive", kSlotBytes, true, takeFingerprint(*driveHandle)}, reason)) {}
    bool protect(std::uint64_t lba, std::uint32_t count) {
        std::string data;
        for (std::uint64_t i = lba; i < lba + count; ++i)
            data += originalOf(i);
        return undo->protect(lba, count, data.data(), data.size());
    }
    bool expect(const std::string& patterns) { return undo->expectWrites(patterns.data(), patterns.size()); }
    void put(std::size_t sector, const std::string& text) {
        driveState().durable[sector] = Contents::numberOf(text);
    }
    [[nodiscard]] std::string at(std::size_t sector) { return Contents::text(driveState().now(sector)); }
    DeviceState& driveState() { return drive().state; }

    zel::String reason;
    std::unique_ptr<UndoJournal> undo;
};

/// A run that ended after so many writes; after five it has written a pattern to its second chunk.
inline JournalWorld crashedWorld(std::size_t writes = 5) {
    JournalWorld world;
    world.drive().onWrite = [&world, writes] {
        if (world.drive().writes == writes)
            world.drive().failing = [](char operation, std::size_t) { return operation != 'r'; };
    };
    if (world.run())
        throw std::logic_error("the run did not crash");
    world.drive().onWrite = nullptr;
    world.drive().failing = nullptr;
    return world;
}

}  // namespace libDrive2
