#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "zel/Export.h"
#include "zel/String.h"

namespace libDrive2 {

/// What the system proves of a disk, a file, a partition or a mapping.
struct DRIVETEST_API StorageId {
    enum class Kind : std::uint8_t {
        none,       ///< nothing is proven
        boot,       ///< means something only until the system restarts or the disk is taken away
        wwid,       ///< of NVMe the namespace's EUI-64, NGUID or UUID
        serial,     ///< with model and size
        partition,  ///< the UUID in the partition table
        mapping,    ///< the UUID of a device-mapper's device
        array,      ///< the UUID that its members bear
        file,       ///< file system and inode
        other,      ///< unknown to this version
    };
    StorageId() = default;
    StorageId(Kind which, std::string text) : kind(which), value(std::move(text)) {}
    /// From its text form, such as "wwid:naa.5000c500a1b2c3d4" or "file:FILE SYSTEM:INODE:BIRTH".
    StorageId(const std::string& text);
    StorageId(const char* text) : StorageId(std::string(text)) {}

    [[nodiscard]] bool empty() const { return kind == Kind::none; }
    [[nodiscard]] std::string toText() const;
    /// Of a stretch of it; `bytes` 0: to the end.
    [[nodiscard]] StorageId part(std::uint64_t start, std::uint64_t bytes) const;
    bool operator==(const StorageId&) const = default;

    Kind kind = Kind::none;
    std::string value{};
    /// Of a file: when it was made, as inodes are used again; empty when that is not known, as of a deleted
    /// one.
    std::string birth{};
};

/// A stretch of a disk or a file.
struct StorageExtent {
    StorageId id{};           ///< of the whole disk or file
    std::uint64_t start = 0;  ///< bytes
    std::uint64_t bytes = 0;  ///< 0: to the end

    bool operator==(const StorageExtent&) const = default;
};

/// What tells one drive from another, whatever path leads to it. Kernel names and paths have no part in it.
struct DRIVETEST_API DriveIdentity {
    zel::String model{};   ///< for people
    zel::String serial{};  ///< for people; empty when the drive has none
    std::uint64_t sectors = 0;
    std::uint32_t sectorBytes = 0;  ///< of a logical sector
    /// The strongest thing that the system proves: a WWID, an EUI-64 or NGUID, a serial number with a model,
    /// a PARTUUID, the UUID of a mapping or an array, a file's file system and inode. Empty when it proves
    /// nothing that outlasts a restart.
    StorageId id{};
    /// All that it is exactly made of, down to disks and files; itself where nothing more is known.
    std::vector<StorageExtent> storage{};
    /// What lies beneath that in a way that is not followed to the byte: the members of an array, what the
    /// file system of an image file is stored on.
    std::vector<StorageExtent> carriers{};

    bool operator==(const DriveIdentity&) const = default;
    /// For messages: "MODEL, serial number SERIAL, 1000 sectors of 512 bytes".
    [[nodiscard]] zel::String describe() const;

    /// All of it as text of one line a field, and back. False when the text is no identity.
    [[nodiscard]] std::string toText() const;
    static bool fromText(const std::string& text, DriveIdentity& identity);
};

/// Whether both are proven to be the same drive; the size is not looked at. What nothing is proven of is the
/// same as nothing.
DRIVETEST_API bool isSameDrive(const DriveIdentity& a, const DriveIdentity& b);

/// Whether both are made of the same stretches in the same order. Stricter than isSameDrive(), which knows a
/// drive by its name, too.
DRIVETEST_API bool isMadeOfTheSame(const DriveIdentity& a, const DriveIdentity& b);

/// Whether writing to the one may change the other: they share a byte, or one lies on the other.
DRIVETEST_API bool sharesStorage(const DriveIdentity& a, const DriveIdentity& b);

/// Whether the drive is kept in that file, wholly or in part, in whatever depth.
DRIVETEST_API bool isKeptIn(const DriveIdentity& drive, const DriveIdentity& file);

/// Whether the drive can be told from all others after a restart of the system.
DRIVETEST_API bool isStable(const DriveIdentity& identity);

}  // namespace libDrive2
