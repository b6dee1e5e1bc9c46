#include "libDrive2/BDDrive.h"

#include "libDrive2/drives/MmcMedia.h"

namespace libDrive2 {

bool BDDrive::takesProfile(_MMC_PROFILES profile) {
    return (mmc::mediaKind(profile).capabilities & kMediaBD) != 0;
}

}  // namespace libDrive2
