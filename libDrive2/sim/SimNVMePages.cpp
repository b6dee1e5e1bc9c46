#include "libDrive2/sim/SimNVMePages.h"

#include <bit>

#include "libDrive2/sim/SimBytes.h"
#include "libDrive2/sim/SimIdentity.h"

namespace libDrive2 {

namespace {

constexpr std::uint64_t kKelvinOffset = 273;

}  // namespace

NVMeIdentifyData nvmeControllerData(const SimMedium& medium) {
    const SimIdentity identity = identify(medium);
    NVMeIdentifyData data{};
    putText(&data[4], 20, identity.serial);
    putText(&data[24], 40, identity.model);
    putText(&data[64], 8, identity.firmware);
    data[77] = 8;                                        // MDTS: 2^8 pages of 4 KiB
    putLittleEndian(&data[78], 2, 1);                    // controller
    putLittleEndian(&data[80], 4, 0x00010400);           // NVM Express 1.4
    data[111] = 1;                                       // an I/O controller
    data[260] = 0x03;                                    // one firmware slot, read-only
    data[261] = 0x05;                                    // log pages of a namespace, and with offsets
    putLittleEndian(&data[266], 2, kKelvinOffset + 70);  // warning temperature
    putLittleEndian(&data[268], 2, kKelvinOffset + 80);  // critical temperature
    data[512] = 0x66;                                    // submission queue entries of 64 bytes
    data[513] = 0x44;                                    // completion queue entries of 16 bytes
    putLittleEndian(&data[516], 4, 1);                   // namespaces
    putLittleEndian(&data[520], 2, 0x0080);              // ONCS: Verify
    data[525] = 0x05;                                    // a write cache; no flush of all namespaces
    return data;
}

NVMeIdentifyData nvmeNamespaceData(const SimMedium& medium) {
    const SimOptions& options = medium.options();
    NVMeIdentifyData data{};
    for (const std::size_t at : {0U, 8U, 16U})  // size, capacity, use
        putLittleEndian(&data[at], 8, options.sectors);
    data[99] = medium.isWriteProtected() ? 1 : 0;
    // LBA format 0, the only one: no metadata, size as a power of two.
    data[130] = static_cast<std::uint8_t>(std::countr_zero(options.sectorBytes));
    return data;
}

NVMeSmartLog nvmeSmartLog(const SimMedium& medium) {
    NVMeSmartLog data{};
    putLittleEndian(&data[1], 2, kKelvinOffset + medium.options().temperature);
    data[3] = 100;                      // percent of the spare blocks are left
    data[4] = 10;                       // below which a warning is due
    putLittleEndian(&data[112], 8, 1);  // power cycles
    return data;
}

}  // namespace libDrive2
