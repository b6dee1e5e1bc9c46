#include "libDrive2/DVDDrive.h"

#include "libDrive2/drives/MmcMedia.h"

namespace libDrive2 {

bool DVDDrive::takesProfile(_MMC_PROFILES profile) {
    return (mmc::mediaKind(profile).capabilities & kMediaDVD) != 0;
}

}  // namespace libDrive2
