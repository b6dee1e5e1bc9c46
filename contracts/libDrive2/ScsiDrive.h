#pragma once

#include <functional>
#include <memory>

#include "libDrive2/Drive.h"
#include "libDrive2/ScsiPassThrough.h"

namespace libDrive2 {

class CommandPool;
struct DriveAction;
struct TransferCut;
namespace scsi {
struct Outcome;
}

/// Common base of the drives that speak SCSI commands.
class ScsiDrive : public Drive {
public:
    explicit ScsiDrive(SharedScsiPassThrough passThrough);
    ~ScsiDrive() override;

    bool isMediaRemovable() override;
    bool isMediaPresent() override;
    bool isMediaLoading() override;
    bool reOpenHandle() override;

protected:
    _LIBDRIVE2_ERROR_TYPES doQueryDeviceInfo() override;
    _LIBDRIVE2_ERROR_TYPES doFlushCache() override;
    _LIBDRIVE2_ERROR_TYPES doStartDrive() override;
    _LIBDRIVE2_ERROR_TYPES doStopDrive() override;
    _LIBDRIVE2_ERROR_TYPES doPreventMediumRemoval(bool prevent) override;
    _LIBDRIVE2_ERROR_TYPES doEjectDrive() override;
    _LIBDRIVE2_ERROR_TYPES doLoadDrive() override;

    [[nodiscard]] const SharedScsiPassThrough& passThrough() const { return m_passThrough; }
    /// Sends a command; the action begins the text of a failure. All of the data must have moved.
    _LIBDRIVE2_ERROR_TYPES perform(const ScsiRequest& request, const DriveAction& action);
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
