#pragma once

#include <memory>

#include "libDrive2/AtaDevice.h"
#include "libDrive2/Drive.h"

namespace libDrive2 {

/// A drive through the commands of an ATA device (ACS-4).
class AtaDrive : public Drive {
public:
    explicit AtaDrive(SharedAtaDevice device);

    std::uint32_t getSectorSize() override;
    std::uint64_t getSectorCount() override;
    std::uint32_t getPhysicalSectorSize() override;
    std::uint16_t getOptimalRd(std::uint16_t limit) override;
    std::uint16_t getOptimalWr(std::uint16_t limit) override;
    std::unique_ptr<TemperatureAccessor> getTemperatureAccessor() override;
    bool reOpenHandle() override;

    /// Security feature set; the password is 32 bytes, padded with zeros. No test calls these.
    bool unlockDrive(const zel::String& password);
    bool disablePassword(const zel::String& password);
    /// Destroys all data of the drive. Blocks until the erase is done, which may take hours.
    bool securityErase(const zel::String& password, bool enhanced);

protected:
    _LIBDRIVE2_ERROR_TYPES doQueryDeviceInfo() override;
    _LIBDRIVE2_ERROR_TYPES doReadSector(std::uint64_t lba, std::uint32_t count, void* buffer,
                                        std::uint32_t bufferBytes) override;
    _LIBDRIVE2_ERROR_TYPES doWriteSector(std::uint64_t lba, std::uint32_t count, const void* buffer,
                                         std::uint32_t bufferBytes) override;
    _LIBDRIVE2_ERROR_TYPES doSeekSector(std::uint64_t lba) override;
    _LIBDRIVE2_ERROR_TYPES doFlushCache() override;
    _LIBDRIVE2_ERROR_TYPES doStopDrive() override;

private:
    SharedAtaDevice m_device;
    std::uint64_t m_sectors = 0;
    std::uint32_t m_sectorBytes = 0;
    std::uint32_t m_physicalSectorBytes = 0;
};

}  // namespace libDrive2
