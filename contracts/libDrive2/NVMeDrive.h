#pragma once

#include <memory>

#include "libDrive2/Drive.h"
#include "libDrive2/NVMeDevice.h"
#include "zel/Export.h"

namespace libDrive2 {

class CommandPool;
struct DriveAction;
struct TransferCut;

/// A drive through the commands of an NVMe namespace. A transfer that is repeated after a failure bypasses
/// the drive's cache (FUA).
class DRIVETEST_API NVMeDrive : public Drive {
public:
    explicit NVMeDrive(SharedNVMeDevice device);
    ~NVMeDrive() override;

    std::uint32_t getSectorSize() override;
    std::uint64_t getSectorCount() override;
    std::uint16_t getOptimalRd(std::uint16_t limit) override;
    std::uint16_t getOptimalWr(std::uint16_t limit) override;
    std::unique_ptr<TemperatureAccessor> getTemperatureAccessor() override;
    bool reOpenHandle() override;

protected:
    _LIBDRIVE2_ERROR_TYPES doQueryDeviceInfo() override;
    _LIBDRIVE2_ERROR_TYPES doReadSector(std::uint64_t lba, std::uint32_t count, void* buffer,
                                        std::uint32_t bufferBytes) override;
    _LIBDRIVE2_ERROR_TYPES doWriteSector(std::uint64_t lba, std::uint32_t count, const void* buffer,
                                         std::uint32_t bufferBytes) override;
    _LIBDRIVE2_ERROR_TYPES doSeekSector(std::uint64_t lba) override;
    _LIBDRIVE2_ERROR_TYPES doFlushCache() override;

private:
    bool answers();
    _LIBDRIVE2_ERROR_TYPES perform(const NVMeCommand& command, const DriveAction& action);
    _LIBDRIVE2_ERROR_TYPES settle(const NVMeResponse& response, const DriveAction& action);
    template <class MakeCommand>
    _LIBDRIVE2_ERROR_TYPES transfer(const DriveAction& action, std::uint8_t* buffer, MakeCommand makeCommand);
    [[nodiscard]] TransferCut cut() const;
    _LIBDRIVE2_ERROR_TYPES queryController();
    _LIBDRIVE2_ERROR_TYPES queryNamespace();
    _LIBDRIVE2_ERROR_TYPES failMetadata();

    SharedNVMeDevice m_device;
    std::unique_ptr<CommandPool> m_pool;
    std::uint64_t m_sectors = 0;
    std::uint32_t m_sectorBytes = 0;
    std::uint64_t m_maxTransferBytes = 0;  ///< of one command, by the controller's own limit; 0 none
    bool m_supportsVerify = false;
    bool m_metadataInData = false;
};

}  // namespace libDrive2
