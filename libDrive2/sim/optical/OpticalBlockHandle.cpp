#include "libDrive2/sim/optical/OpticalBlockHandle.h"

#include <algorithm>
#include <chrono>

#include "libDrive2/drives/UnitAttention.h"
#include "libDrive2/sim/SimBytes.h"
#include "libDrive2/sim/optical/OpticalMedia.h"
#include "zel/Clock.h"

namespace libDrive2 {

namespace {

constexpr std::uint32_t kOptimalTransferBytes = 64 * 1024;
constexpr unsigned kReadyAttempts = 30;  // a second apart

}  // namespace

OpticalBlockHandle::OpticalBlockHandle(std::unique_ptr<ScsiPassThrough> drive, bool writable)
    : m_drive(std::move(drive)) {
    m_info.logicalSectorBytes = kOpticalSectorBytes;
    m_info.physicalSectorBytes = kOpticalSectorBytes;
    m_info.optimalTransferBytes = kOptimalTransferBytes;
    m_info.removable = true;
    m_info.writable = writable;
    (void)query();
}

DeviceStatus OpticalBlockHandle::execute(const ScsiRequest& request) {
    // Whoever asks whether the drive is ready learns of another medium by what follows.
    const News news = request.cdb[0] == 0x00 ? News::ofMedium : News::ofUnit;
    return executePast(news, *m_drive, request).outcome.status;
}

DeviceStatus OpticalBlockHandle::send(std::uint8_t opcode, std::uint8_t flags) {
    ScsiRequest request;
    request.cdb[0] = opcode;
    request.cdb[4] = flags;
    request.cdbBytes = opcode < 0x20 ? 6 : 10;
    return execute(request);
}

DeviceStatus OpticalBlockHandle::query() {
    DeviceStatus status = send(0x00);
    for (unsigned i = 0; status.type == LIBDRIVE2_BUSY && i < kReadyAttempts; ++i) {
        zel::Clock::current().sleep(std::chrono::seconds(1));
        status = send(0x00);
    }
    m_info.mediumPresent = status.ok();
    m_info.bytes = 0;
    std::uint8_t capacity[8] = {};
    ScsiRequest request{{0x25}, 10, DataDirection::fromDevice, capacity, sizeof capacity};
    if (status.ok() && execute(request).ok() && getBigEndian(capacity, 4) != 0)
        m_info.bytes = (getBigEndian(capacity, 4) + 1) * kOpticalSectorBytes;
    return {};
}

DeviceStatus OpticalBlockHandle::transfer(std::uint8_t opcode, std::uint64_t offset, void* buffer,
                                          std::size_t bytes) {
    auto* at = static_cast<std::uint8_t*>(buffer);
    DeviceStatus status;
    while (bytes != 0 && status.ok()) {
        const std::size_t piece = std::min<std::size_t>(bytes, kOptimalTransferBytes);
        ScsiRequest request{
            {opcode}, 10, opcode == 0x28 ? DataDirection::fromDevice : DataDirection::toDevice, at, piece};
        putBigEndian(&request.cdb[2], 4, offset / kOpticalSectorBytes);
        putBigEndian(&request.cdb[7], 2, piece / kOpticalSectorBytes);
        status = execute(request);
        at += piece;
        offset += piece;
        bytes -= piece;
    }
    return status;
}

DeviceStatus OpticalBlockHandle::read(std::uint64_t offset, void* buffer, std::size_t bytes) {
    return transfer(0x28, offset, buffer, bytes);
}

DeviceStatus OpticalBlockHandle::write(std::uint64_t offset, const void* buffer, std::size_t bytes) {
    // Commands that write only read the buffer.
    return transfer(0x2A, offset, const_cast<void*>(buffer), bytes);
}

}  // namespace libDrive2
