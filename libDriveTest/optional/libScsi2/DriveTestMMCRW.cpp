#include "DriveTestMMCRW.h"

#include <algorithm>

#include "../../DriveTestLogger.h"
#include "../../Events.h"
#include "../../Parameters.h"
#include "MediumSearch.h"
#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/RecordableDrives.h"

namespace libDriveTest {

namespace {

zel::Logger& logger() {
    return loggerOf("DriveTestMMCRW");
}

using MakeDrive = std::unique_ptr<RecordableDrive> (*)(const libDrive2::SharedScsiPassThrough&);

template <class DriveClass>
std::unique_ptr<RecordableDrive> make(const libDrive2::SharedScsiPassThrough& handle) {
    return std::make_unique<DriveClass>(handle);
}

/// Which class writes media of which profiles.
struct DriveClassRow {
    MMCRW_TEST test;
    std::uint32_t firstProfile;
    std::uint32_t lastProfile;
    MakeDrive make;
    MakeDrive makeForLayerJump = make;  ///< where the drive can jump between layers
};

constexpr DriveClassRow kDriveClasses[] = {
    {MMCRW_ANY_RECORDABLE, libDrive2::kProfileCDR, libDrive2::kProfileCDRW,
     make<libDrive2::CDRecordableDrive>},
    {MMCRW_ANY_RECORDABLE, libDrive2::kProfileDVDRSequential, libDrive2::kProfileDVDRSequential,
     make<libDrive2::DVDMinusDrive>, make<libDrive2::DVDMRDLLJDrive>},
    {MMCRW_ANY_RECORDABLE, libDrive2::kProfileDVDRWRestrictedOverwrite, libDrive2::kProfileDVDRWDualLayer,
     make<libDrive2::DVDMinusDrive>, make<libDrive2::DVDMRDLLJDrive>},
    {MMCRW_ANY_RECORDABLE, libDrive2::kProfileDVDPlusRW, libDrive2::kProfileDVDPlusR,
     make<libDrive2::DVDPlusDrive>},
    {MMCRW_ANY_RECORDABLE, libDrive2::kProfileDVDPlusRWDualLayer, libDrive2::kProfileDVDPlusRDualLayer,
     make<libDrive2::DVDPlusDrive>},
    {MMCRW_ANY_RECORDABLE, libDrive2::kProfileDVDRAM, libDrive2::kProfileDVDRAM,
     make<libDrive2::DVDRAMRWDrive>},
    {MMCRW_ANY_RECORDABLE, libDrive2::kProfileBDRSequential, libDrive2::kProfileBDRE,
     make<libDrive2::BDREDrive>},
    {MMCRW_REWRITABLE, libDrive2::kProfileDVDRWRestrictedOverwrite, libDrive2::kProfileDVDRWSequential,
     make<libDrive2::DVDMinusDrive>},
    {MMCRW_REWRITABLE, libDrive2::kProfileDVDRWDualLayer, libDrive2::kProfileDVDRWDualLayer,
     make<libDrive2::DVDMinusDrive>},
    {MMCRW_REWRITABLE, libDrive2::kProfileDVDPlusRW, libDrive2::kProfileDVDPlusR,
     make<libDrive2::DVDPlusDrive>},
    {MMCRW_REWRITABLE, libDrive2::kProfileDVDPlusRWDualLayer, libDrive2::kProfileDVDPlusRDualLayer,
     make<libDrive2::DVDPlusDrive>},
    {MMCRW_REWRITABLE, libDrive2::kProfileCDRW, libDrive2::kProfileCDRW, make<libDrive2::CDRROWDrive>},
    {MMCRW_REWRITABLE, libDrive2::kProfileDVDRAM, libDrive2::kProfileDVDRAM, make<libDrive2::DVDRAMRWDrive>},
};

/// Null when no class writes such media.
const DriveClassRow* findClass(MMCRW_TEST test, std::uint32_t profile) {
    const auto* const row = std::ranges::find_if(kDriveClasses, [&](const DriveClassRow& candidate) {
        return candidate.test == test && candidate.firstProfile <= profile &&
               profile <= candidate.lastProfile;
    });
    return row != std::end(kDriveClasses) ? row : nullptr;
}

/// Takes media that can be written.
class WritableMediumSearch : public MediumSearch {
public:
    WritableMediumSearch(const MediumRequest& request, MMCRW_TEST test)
        : MediumSearch(request, logger()), m_test(test) {}

    std::unique_ptr<RecordableDrive> takeDrive() { return named(std::move(m_found)); }

private:
    Verdict examine(const Medium& medium, String& message) override {
        const bool jumpsLayers = drive().hasFeature(libDrive2::kFeatureLayerJumpRecording, true);
        if (!isAccepted(medium.profile))
            return Verdict::incorrect;
        if ((medium.capabilities & libDrive2::kMediaWriteProtected) != 0) {
            events::writeProtectedMedia->setVariable("MediaName", DriveTest::mediaType());
            message = events::writeProtectedMedia->localizedMessage() + " " +
                      strings::insertWritableMedia->localizedString().zelString();
            return Verdict::incorrect;
        }
        const DriveClassRow* const row = findClass(m_test, medium.profile);
        if (row == nullptr)
            return Verdict::unsupported;
        m_found = (jumpsLayers ? row->makeForLayerJump : row->make)(handle());
        return Verdict::fits;
    }

    bool mayGoOn() override { return !DiagModule::checkForStop(); }
    void beforePrompt() override { disableAutoRun(); }

    MMCRW_TEST m_test;
    std::unique_ptr<RecordableDrive> m_found;
};

}  // namespace

DriveTestMMCRW::DriveTestMMCRW(RecordableDrive& tested) : DriveTestMMC(tested) {}
DriveTestMMCRW::DriveTestMMCRW(SharedRecordableDrive tested)
    : DriveTestMMC(libDrive2::SharedDrive(std::move(tested))) {}
DriveTestMMCRW::~DriveTestMMCRW() = default;

void DriveTestMMCRW::init(Test& test) {
    DriveTestMMC::init(test, true);
    parameters::numberOfSeeks.addTo(test);
    parameters::numberOfPatterns.addTo(test);
    strings::createForRecording();
    events::createForRecording();
}

SharedRecordableDrive DriveTestMMCRW::createDrive(const DiagDevice& device, LIBDRIVE2_MEDIA_STATE& mediaState,
                                                  MMCRW_TEST test, std::uint32_t openArgument1,
                                                  std::uint32_t openArgument2) {
    WritableMediumSearch search({device, mediaState, openArgument1, openArgument2}, test);
    return search.run() ? SharedRecordableDrive(search.takeDrive()) : SharedRecordableDrive();
}

std::unique_ptr<RecordableDrive> DriveTestMMCRW::lookAt(const DiagDevice& device, MMCRW_TEST test,
                                                        std::uint32_t openArgument1,
                                                        std::uint32_t openArgument2) {
    const auto handle =
        libDrive2::ScsiDevice::openScsiDevice(getScsiIOLocator(device), openArgument1, openArgument2);
    const DriveClassRow* const row =
        handle ? findClass(test, libDrive2::ScsiMMCDrive(handle).getCurrentProfile()) : nullptr;
    return row != nullptr ? row->make(handle) : nullptr;
}

RecordableDrive& DriveTestMMCRW::recordableDrive() const {
    return static_cast<RecordableDrive&>(*drive);
}

}  // namespace libDriveTest
