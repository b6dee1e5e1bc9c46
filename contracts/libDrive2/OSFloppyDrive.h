#pragma once

#include "libDrive2/OSDrive.h"
#include "zel/Export.h"

namespace libDrive2 {

/// A floppy drive through the operating system's block interface.
class DRIVETEST_API OSFloppyDrive : public OSDrive {
public:
    explicit OSFloppyDrive(SharedBlockHandle handle);

    bool isMediaRemovable() override;
    bool isMediaPresent() override;
};

}  // namespace libDrive2
