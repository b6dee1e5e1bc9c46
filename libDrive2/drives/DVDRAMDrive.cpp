#include "libDrive2/DVDRAMDrive.h"

#include "libDrive2/drives/MmcMedia.h"

namespace libDrive2 {

bool DVDRAMDrive::takesProfile(_MMC_PROFILES profile) {
    return (mmc::mediaKind(profile).capabilities & kMediaDVDRAM) != 0;
}

}  // namespace libDrive2
