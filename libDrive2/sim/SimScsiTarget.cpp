#include "libDrive2/sim/SimScsiTarget.h"

#include "zel/Format.h"
#include "zel/Words.h"

namespace libDrive2 {

ScsiResponse SimScsiTarget::execute(const ScsiRequest& request) {
    constexpr std::uint8_t kBusy = 0x08;  // SAM-5
    ScsiResponse response;
    if (request.dataBytes > m_maxTransferBytes)
        response.delivery = {LIBDRIVE2_BAD_ARGUMENT,
                             zel::format("one command transfers at most %u bytes", m_maxTransferBytes)};
    else if (isWrite(request.cdb[0]) && !m_writable)
        response.delivery = {LIBDRIVE2_WRITE_PROTECTED_DEVICE,
                             zel::worded("the device was opened for reading only")};
    if (!response.delivery.ok())
        return response;
    const SimFault begun = beginCommand();
    if (begun == SimFault::gone)
        response.delivery = {LIBDRIVE2_NO_ACCESS, zel::worded("the device does not answer any more")};
    else if (begun == SimFault::busy)
        response.status = kBusy;
    else
        answer(request, response);
    return response;
}

}  // namespace libDrive2
