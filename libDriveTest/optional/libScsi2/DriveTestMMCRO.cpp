#include "DriveTestMMCRO.h"

#include "../../DriveTestLogger.h"
#include "../../Events.h"
#include "../../Parameters.h"
#include "../../RangeString.h"
#include "MediumSearch.h"
#include "libDrive2/OpticalReadDrives.h"

namespace libDriveTest {

namespace {

zel::Logger& logger() {
    return loggerOf("DriveTestMMCRO");
}

/// "Not enough data" speaks of the disc that was put in and of the one to put in.
template <class Message>
void nameDisc(Message& message) {
    const String name = strings::disc->localizedString().zelString();
    message.setVariable("MediaName1", name)->setVariable("MediaName2", name);
}

String notEnoughDataMessage() {
    nameDisc(*strings::notEnoughData);
    return strings::notEnoughData->localizedString().zelString();
}

/// Takes media that can be read and hold enough.
class ReadableMediumSearch : public MediumSearch {
public:
    ReadableMediumSearch(const MediumRequest& request, MMCRO_TEST test)
        : MediumSearch(request, logger()), m_test(test) {}

    std::unique_ptr<ScsiMMCDrive> takeDrive() { return named(std::move(m_found)); }

private:
    Verdict examine(const Medium& medium, String& message) override {
        if (!isAccepted(medium.profile))
            return Verdict::incorrect;
        const std::uint32_t minimum = parameters::minDataCapacity.value();
        m_found = makeDrive(medium.capabilities, message);
        if (m_found == nullptr) {
            m_logger.line(3, "media capabilties unsupported : ", zel::formatted("0x%x", medium.capabilities));
            return Verdict::unsupported;
        }
        if (minimum == 0 || m_found->getSectorCount() >= minimum)
            return Verdict::fits;
        reportTooLittleData(message);
        m_found.reset();
        return Verdict::unsupported;
    }

    std::unique_ptr<ScsiMMCDrive> makeDrive(std::uint32_t capabilities, String& message) {
        if ((capabilities & libDrive2::kMediaCD) != 0)
            return makeCDDrive(capabilities, message);
        if ((capabilities & libDrive2::kMediaDVDRAM) != 0)
            return std::make_unique<libDrive2::DVDRAMDrive>(handle());
        if ((capabilities & libDrive2::kMediaDVD) != 0)
            return std::make_unique<libDrive2::DVDDrive>(handle());
        if ((capabilities & libDrive2::kMediaBD) != 0)
            return std::make_unique<libDrive2::BDDrive>(handle());
        return nullptr;
    }

    std::unique_ptr<ScsiMMCDrive> makeCDDrive(std::uint32_t capabilities, String& message) {
        const bool asksForData =
            (capabilities & libDrive2::kMediaCDAudio) != 0 && m_test == MMCRO_DATA_TRACKS;
        if (asksForData && (capabilities & libDrive2::kMediaCDData) == 0)
            return nullptr;
        auto drive = std::make_unique<libDrive2::CDDrive>(handle());
        if (asksForData && lacksDataTracks(*drive)) {
            message = notEnoughDataMessage();
            return nullptr;
        }
        return drive;
    }

    /// Whether the range to test makes sense and holds no data track.
    static bool lacksDataTracks(libDrive2::CDDrive& drive) {
        const std::uint64_t sectors = drive.getSectorCount();
        const std::uint32_t sectorSize = drive.getSectorSize();
        std::uint64_t start = 0;
        std::uint64_t end = 0;
        return parseRangeString(parameters::startRange.value(), sectors, sectorSize, start) &&
               parseRangeString(parameters::endRange.value(), sectors, sectorSize, end) && end > start &&
               !drive.checkForDataTracks(start, end);
    }

    void reportTooLittleData(String& message) const {
        if (mayPrompt()) {
            message = notEnoughDataMessage();
            return;
        }
        nameDisc(*events::notEnoughData);
        const auto where = std::source_location::current();
        DiagModule::warning(events::notEnoughData.get(), where.file_name(), static_cast<int>(where.line()));
    }

    MMCRO_TEST m_test;
    std::unique_ptr<ScsiMMCDrive> m_found;
};

}  // namespace

DriveTestMMCRO::DriveTestMMCRO(ScsiMMCDrive& tested) : DriveTestMMC(tested) {}
DriveTestMMCRO::DriveTestMMCRO(SharedMMCDrive tested)
    : DriveTestMMC(libDrive2::SharedDrive(std::move(tested))) {}
DriveTestMMCRO::~DriveTestMMCRO() = default;

void DriveTestMMCRO::init(Test& test) {
    DriveTestMMC::init(test, true);
    strings::createForReadingDiscs();
    events::notEnoughData.createOnce();
}

SharedMMCDrive DriveTestMMCRO::createDrive(const DiagDevice& device, LIBDRIVE2_MEDIA_STATE& mediaState,
                                           MMCRO_TEST test, std::uint32_t openArgument1,
                                           std::uint32_t openArgument2) {
    ReadableMediumSearch search({device, mediaState, openArgument1, openArgument2}, test);
    return search.run() ? SharedMMCDrive(search.takeDrive()) : SharedMMCDrive();
}

ScsiMMCDrive& DriveTestMMCRO::mmcDrive() const {
    return static_cast<ScsiMMCDrive&>(*drive);
}

void DriveTestMMCRO::printTestStatistics(const test_info_stats& stats) const {
    zel::Logger& log = logger();
    const std::uint32_t retries = drive->getRetryCount();
    log.line(1, "=== Read Performance Test parameters ===");
    log.line(1, " Sectors To Test:       ", stats.sectorsToTest);
    log.line(1, " Start LBA: (inclusive) ", stats.startLba);
    log.line(1, " Divisor:               ", 1);
    log.line(1, " Last LBA:  (exclusive) ", stats.lastLba);
    log.line(1, " Disk has Sectors:      ", retries);
    log.line(1, " Sector Size:           ", stats.sectorSize);
    log.line(1, " Opt. xfer blocks:      ", stats.optimalTransferBlocks);
    log.line(1, zel::formatted(" Per Read Retries:      %u", retries));
    log.line(1, zel::formatted(" Test Loop Count:       %u", stats.loopCount));
}

}  // namespace libDriveTest
