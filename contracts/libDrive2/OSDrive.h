#pragma once

#include "libDrive2/BlockHandle.h"
#include "libDrive2/Drive.h"
#include "zel/Export.h"

namespace libDrive2 {

/// A drive through the operating system's block interface.
class DRIVETEST_API OSDrive : public Drive {
public:
    /// Shares the handle; `osLocator` is for messages.
    OSDrive(SharedBlockHandle handle, zel::String osLocator);

    std::uint32_t getSectorSize() override;
    std::uint64_t getSectorCount() override;
    std::uint32_t getPhysicalSectorSize() override;
    std::uint32_t mediaCapabilties() override;
    std::uint32_t supportedCapabilties() override;
    bool isMediaRemovable() override;
    bool isMediaPresent() override;
    std::uint16_t getOptimalRd(std::uint16_t limit) override;
    std::uint16_t getOptimalWr(std::uint16_t limit) override;
    bool disableAutoRun() override;
    bool reenableAutoRun() override;
    std::unique_ptr<TemperatureAccessor> getTemperatureAccessor() override;
    bool reOpenHandle() override;

protected:
    _LIBDRIVE2_ERROR_TYPES doQueryDeviceInfo() override;
    _LIBDRIVE2_ERROR_TYPES doQueryMediumInfo() override;
    _LIBDRIVE2_ERROR_TYPES doReadSector(std::uint64_t lba, std::uint32_t count, void* buffer,
                                        std::uint32_t bufferBytes) override;
    _LIBDRIVE2_ERROR_TYPES doWriteSector(std::uint64_t lba, std::uint32_t count, const void* buffer,
                                         std::uint32_t bufferBytes) override;
    _LIBDRIVE2_ERROR_TYPES doSeekSector(std::uint64_t lba) override;
    _LIBDRIVE2_ERROR_TYPES doSyncCache() override;
    _LIBDRIVE2_ERROR_TYPES doFlushCache() override;
    _LIBDRIVE2_ERROR_TYPES doClearCache() override;
    _LIBDRIVE2_ERROR_TYPES doPreventMediumRemoval(bool prevent) override;
    _LIBDRIVE2_ERROR_TYPES doEjectDrive() override;
    _LIBDRIVE2_ERROR_TYPES doLoadDrive() override;

public:
    /// MediaCapability flags: kMediaHardDrive for a hard drive, kMediaOther otherwise.
    virtual void setMediaCapabilities(std::uint32_t capabilities);

protected:
    [[nodiscard]] BlockHandle& handle() { return *m_handle; }
    [[nodiscard]] const zel::String& osLocator() const { return m_osLocator; }
    _LIBDRIVE2_ERROR_TYPES take(DeviceStatus status);
    /// For drives that can find out more about a failed transfer than the block interface tells.
    virtual DeviceStatus explain(DeviceStatus status) { return status; }

private:
    [[nodiscard]] std::uint16_t optimalSectors(std::uint16_t limit);
    _LIBDRIVE2_ERROR_TYPES failTransfer(const char* what, std::uint64_t lba, std::uint32_t count,
                                        DeviceStatus status);

    SharedBlockHandle m_handle;
    zel::String m_osLocator;
    std::uint32_t m_mediaCapabilities = kMediaOther;
};

}  // namespace libDrive2
