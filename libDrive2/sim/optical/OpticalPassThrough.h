#pragma once

#include <memory>
#include <utility>

#include "libDrive2/ScsiPassThrough.h"
#include "libDrive2/sim/optical/OpticalDrive.h"

namespace libDrive2 {

/// The SCSI interface of one handle of a simulated optical drive.
class OpticalPassThrough : public ScsiPassThrough {
public:
    OpticalPassThrough(std::shared_ptr<OpticalDrive> drive, bool writable)
        : m_drive(std::move(drive)), m_writable(writable) {}

    ScsiResponse execute(const ScsiRequest& request) override {
        ScsiResponse response;
        if (request.dataBytes > kMaxTransferBytes)
            response.delivery = {LIBDRIVE2_BAD_ARGUMENT, "one command transfers at most 1048576 bytes"};
        else if (!m_writable && OpticalDrive::changesMedium(request.cdb[0]))
            response.delivery = {LIBDRIVE2_WRITE_PROTECTED_DEVICE, "the device was opened for reading only"};
        return response.delivery.ok() ? m_drive->execute(request) : response;
    }
    [[nodiscard]] std::size_t maxTransferBytes() const override { return kMaxTransferBytes; }
    DeviceStatus reopen() override { return {}; }

private:
    static constexpr std::size_t kMaxTransferBytes = std::size_t{1} << 20;

    std::shared_ptr<OpticalDrive> m_drive;
    bool m_writable;
};

}  // namespace libDrive2
