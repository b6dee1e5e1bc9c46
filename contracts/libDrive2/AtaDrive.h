#pragma once

#include <memory>

#include "libDrive2/AtaDevice.h"
#include "libDrive2/Drive.h"
#include "zel/Export.h"

namespace libDrive2 {

class CommandPool;
class QueuedReader;
struct DriveAction;
struct TransferCut;
namespace ata {
struct Identity;
}

/// A drive through the commands of an ATA device (ACS-4). Reads of several commands are queued where drive
/// and transport can. A write that is repeated after a failure bypasses the drive's cache where the drive can
/// (FUA).
class DRIVETEST_API AtaDrive : public Drive {
public:
    explicit AtaDrive(SharedAtaDevice device);
    ~AtaDrive() override;

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
    _LIBDRIVE2_ERROR_TYPES doStartDrive() override;
    _LIBDRIVE2_ERROR_TYPES doStopDrive() override;

private:
    bool answers();
    /// Sends a command; the action begins the text of a failure.
    _LIBDRIVE2_ERROR_TYPES perform(const AtaRequest& request, const DriveAction& action);
    bool performSecurity(AtaRequest request, const zel::String& password, bool enhanced, const char* what);
    _LIBDRIVE2_ERROR_TYPES settle(const AtaResponse& response, const DriveAction& action);
    template <class MakeRequest>
    _LIBDRIVE2_ERROR_TYPES transfer(const DriveAction& action, std::uint8_t* buffer, MakeRequest makeRequest);
    _LIBDRIVE2_ERROR_TYPES readQueued(const DriveAction& action, std::uint8_t* buffer);
    [[nodiscard]] TransferCut cut() const;

    SharedAtaDevice m_device;
    std::unique_ptr<CommandPool> m_pool;
    std::unique_ptr<QueuedReader> m_reader;
    std::unique_ptr<ata::Identity> m_identity;  ///< never null
};

}  // namespace libDrive2
