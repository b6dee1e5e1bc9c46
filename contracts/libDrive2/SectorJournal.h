#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "libDrive2/DriveTypes.h"
#include "zel/Export.h"
#include "zel/Words.h"

namespace libDrive2 {

/// Keeps the original contents of sectors that a test overwrites, so that they survive a crash. Used by one
/// thread. All operations block until what they promise is so; false names the reason in lastErrorStr().
class DRIVETEST_API SectorJournal {
public:
    virtual ~SectorJournal() = default;
    /// What the test is going to write: every sector that it overwrites will hold one of these `bytes` /
    /// sector size contents; an AddressStamp stands for those of its run at all addresses. Adds to what was
    /// told before. To be called while no sectors are protected.
    virtual bool expectWrites(const void* data, std::size_t bytes) = 0;
    /// True only when the data is durable in the journal. The data may be of another buffer afterwards.
    virtual bool protect(std::uint64_t lba, std::uint32_t count, const void* data, std::size_t bytes) = 0;
    /// The same for sectors scattered over the drive, which are put back together: `spans` rise and do not
    /// overlap, `data` holds their sectors one after the other. What follows names them by the first one's
    /// LBA and the number of all. Not every journal takes such.
    virtual bool protectScattered(std::span<const SectorSpan> /*spans*/, const void* /*data*/,
                                  std::size_t /*bytes*/) {
        return false;
    }
    /// Whether it is there after a crash; if so, the drive is flushed before release().
    [[nodiscard]] virtual bool outlivesCrash() const { return true; }
    /// Whether restored sectors are to be read back and handed to holdsOriginal() before release().
    [[nodiscard]] virtual bool verifiesRestores() const = 0;
    /// Whether `data`, read from these protected sectors, is what protect() was given for them.
    virtual bool holdsOriginal(std::uint64_t lba, std::uint32_t count, const void* data,
                               std::size_t bytes) = 0;
    /// Gives back what protect() was given for these protected sectors. False where it is not kept, or no
    /// more as it was.
    virtual bool readOriginal(std::uint64_t lba, std::uint32_t count, void* data, std::size_t bytes) = 0;
    /// The sectors hold their original data again, durably. Takes exactly what one protect() was given.
    virtual bool release(std::uint64_t lba, std::uint32_t count) = 0;
    /// Why the last operation failed.
    [[nodiscard]] virtual zel::Wording lastErrorStr() const = 0;
};

}  // namespace libDrive2
