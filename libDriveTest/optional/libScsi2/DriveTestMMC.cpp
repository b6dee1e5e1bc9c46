#include "DriveTestMMC.h"

#include "../../Parameters.h"
#include "libDrive2/ScsiMMCDrive.h"

namespace libDriveTest {

namespace {

struct NamedProfile {
    const char* name;
    std::uint32_t number;
};

constexpr NamedProfile kProfiles[] = {
    {"CDROM", libDrive2::kProfileCDROM},
    {"CDR", libDrive2::kProfileCDR},
    {"CDRW", libDrive2::kProfileCDRW},
    {"DVDROM", libDrive2::kProfileDVDROM},
    {"DVDR_SEQ_RECORD", libDrive2::kProfileDVDRSequential},
    {"DVDRAM", libDrive2::kProfileDVDRAM},
    {"DVD_MINUS_RW_RESTRICT_OWR", libDrive2::kProfileDVDRWRestrictedOverwrite},
    {"DVD_MINUS_RW_SEQ_OWR", libDrive2::kProfileDVDRWSequential},
    {"DVDR_DL_SEQ_RECORD", libDrive2::kProfileDVDRDualLayerSequential},
    {"DVDR_DL_JMP_RECORD", libDrive2::kProfileDVDRDualLayerJump},
    {"DVD_MINUS_RW_DL", libDrive2::kProfileDVDRWDualLayer},
    {"DVD_DOWNLOAD_DISC_RCRD", libDrive2::kProfileDVDDownload},
    {"DVD_PLUS_RW", libDrive2::kProfileDVDPlusRW},
    {"DVD_PLUS_R", libDrive2::kProfileDVDPlusR},
    {"DVD_PLUS_RW_DL", libDrive2::kProfileDVDPlusRWDualLayer},
    {"DVD_PLUS_R_DL", libDrive2::kProfileDVDPlusRDualLayer},
    {"BDROM", libDrive2::kProfileBDROM},
    {"BD_R_SEQ", libDrive2::kProfileBDRSequential},
    {"BD_R_RAN", libDrive2::kProfileBDRRandom},
    {"BD_RE", libDrive2::kProfileBDRE},
    {"HD_DVDROM", libDrive2::kProfileHDDVDROM},
    {"HD_DVDR", libDrive2::kProfileHDDVDR},
    {"HD_DVDRAM", libDrive2::kProfileHDDVDRAM},
    {"HD_DVDRW", libDrive2::kProfileHDDVDRW},
    {"HD_DVDR_DL", libDrive2::kProfileHDDVDRDualLayer},
    {"HD_DVDRW_DL", libDrive2::kProfileHDDVDRWDualLayer},
};

}  // namespace

Array<std::uint32_t> DriveTestMMC::s_profiles;
bool DriveTestMMC::s_profilesParsed = false;

DriveTestMMC::DriveTestMMC(Drive& tested) : DriveTest(tested) {}
DriveTestMMC::DriveTestMMC(libDrive2::SharedDrive tested) : DriveTest(std::move(tested)) {}
DriveTestMMC::~DriveTestMMC() = default;

bool DriveTestMMC::lock(const DiagDevice& /*device*/) {
    return true;
}

void DriveTestMMC::init(Test& test, bool callBase) {
    if (callBase)
        DriveTest::init(test);
    parameters::mmcSupportedProfiles.addTo(test);
    parameters::minDataCapacity.addTo(test);
    parameters::alwaysEject.addTo(test);
}

std::optional<TestResult> DriveTestMMC::endOnLoss() {
    if (const auto ended = endOnNonFail(drive->lastError))
        return ended;
    return endOnNonFail(static_cast<libDrive2::ScsiMMCDrive&>(*drive).availability());
}

bool DriveTestMMC::isLost() {
    return isNonFailError(drive->lastError);
}

void DriveTestMMC::parseProfileList() {
    if (s_profilesParsed)
        return;
    s_profilesParsed = true;
    s_profiles.clear();
    // Names that are unknown, such as those with a blank beside their comma, are skipped.
    for (const String& name : parameters::mmcSupportedProfiles.value().tokenize(","))
        for (const NamedProfile& profile : kProfiles)
            if (name == profile.name)
                s_profiles.append(profile.number);
}

}  // namespace libDriveTest
