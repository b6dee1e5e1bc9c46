#pragma once

#include <functional>
#include <memory>

#include "libDrive2/Drive.h"
#include "libDrive2/ScsiMechanics.h"
#include "zel/Export.h"

namespace libDrive2 {

class CommandPool;
struct TransferCut;
namespace scsi {
struct Outcome;
}

/// Common base of the drives that speak SCSI commands.
class DRIVETEST_API ScsiDrive : public ScsiMechanics<Drive> {
public:
    explicit ScsiDrive(SharedScsiPassThrough passThrough);
    ~ScsiDrive() override;

    bool isMediaRemovable() override;
    bool isMediaPresent() override;
    bool isMediaLoading() override;
    bool disableAutoRun() override;
    bool reenableAutoRun() override;
    bool reOpenHandle() override;

protected:
    _LIBDRIVE2_ERROR_TYPES doQueryDeviceInfo() override;
    _LIBDRIVE2_ERROR_TYPES doFlushCache() override;

    [[nodiscard]] const SharedScsiPassThrough& passThrough() const { return m_passThrough; }
    _LIBDRIVE2_ERROR_TYPES perform(const ScsiRequest& request, const DriveAction& action) override;
    /// Moves sectors by several commands; `makeRequest(lba, count)` gives each but for its buffer.
    using MakeRequest = std::function<ScsiRequest(std::uint64_t lba, std::uint32_t count)>;
    _LIBDRIVE2_ERROR_TYPES transfer(const DriveAction& action, std::uint8_t* buffer, const TransferCut& cut,
                                    const MakeRequest& makeRequest);

private:
    _LIBDRIVE2_ERROR_TYPES settle(const scsi::Outcome& outcome, std::size_t bytes, const DriveAction& action);

    SharedScsiPassThrough m_passThrough;
    std::unique_ptr<CommandPool> m_pool;
    bool m_isRemovable = false;
};

}  // namespace libDrive2
