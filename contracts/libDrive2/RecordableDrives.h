#pragma once

#include "libDrive2/RecordableDrive.h"
#include "zel/Export.h"

// How media are recorded, a class for each way.

namespace libDrive2 {

/// CD-R and CD-RW, written in tracks.
class DRIVETEST_API CDRecordableDrive : public RecordableDrive {
public:
    using RecordableDrive::RecordableDrive;

protected:
    RecordingMethod recordingMethod(_MMC_PROFILES profile) override;
};

/// CD-RW formatted for restricted overwrite: in fixed packets.
class DRIVETEST_API CDRROWDrive : public RecordableDrive {
public:
    using RecordableDrive::RecordableDrive;

protected:
    RecordingMethod recordingMethod(_MMC_PROFILES profile) override;
    bool isFormatted() override;
};

/// DVD-R and DVD-RW: incrementally, or a formatted DVD-RW by restricted overwrite.
class DRIVETEST_API DVDMinusDrive : public RecordableDrive {
public:
    using RecordableDrive::RecordableDrive;

protected:
    RecordingMethod recordingMethod(_MMC_PROFILES profile) override;
};

/// DVD-R DL with layer jump recording; other DVD-R and DVD-RW as DVDMinusDrive does.
class DRIVETEST_API DVDMRDLLJDrive : public RecordableDrive {
public:
    using RecordableDrive::RecordableDrive;

protected:
    RecordingMethod recordingMethod(_MMC_PROFILES profile) override;
};

/// DVD+R and DVD+RW.
class DRIVETEST_API DVDPlusDrive : public RecordableDrive {
public:
    using RecordableDrive::RecordableDrive;

protected:
    RecordingMethod recordingMethod(_MMC_PROFILES profile) override;
};

/// DVD-RAM.
class DRIVETEST_API DVDRAMRWDrive : public RecordableDrive {
public:
    using RecordableDrive::RecordableDrive;

protected:
    RecordingMethod recordingMethod(_MMC_PROFILES profile) override;
};

/// BD-R and BD-RE. A BD-R for random recording must be empty when the first recording on it begins.
class DRIVETEST_API BDREDrive : public RecordableDrive {
public:
    using RecordableDrive::RecordableDrive;

protected:
    RecordingMethod recordingMethod(_MMC_PROFILES profile) override;
};

}  // namespace libDrive2
