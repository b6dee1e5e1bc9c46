#include "libDrive2/RecordableDrive.h"

#include <algorithm>

#include "libDrive2/DriveCallback.h"
#include "libDrive2/drives/DriveAction.h"
#include "libDrive2/drives/MmcMedia.h"
#include "libDrive2/drives/MmcUnit.h"
#include "libDrive2/drives/RecordingMethod.h"
#include "zel/Clock.h"
#include "zel/Format.h"
#include "zel/Log.h"
#include "zel/Words.h"

namespace libDrive2 {

namespace {

/// What RecordableDriveCallback is told.
enum Event : std::int32_t {
    kFormatting = 0,
    kCannotFormat = 1,
    kFormatNotSupported = 2,
    kBlanking = 3,
    kCannotBlank = 4,
    kReservingTrack = 5,
    kCannotFindFreeSectors = 6,
};

/// Formatting a BD of two layers with verification takes about three hours.
constexpr std::uint32_t kWholeMediumMs = 4 * 3600 * 1000;
/// Filling up a track, or the second layer, and writing the lead-out.
constexpr std::uint32_t kCloseMs = 5400 * 1000;
constexpr std::uint32_t kClosePollMs = 100;
/// Between two units of one recording.
constexpr std::uint32_t kUnitMs = 120000;
constexpr std::uint32_t kUnitPollMs = 10;

/// BUF of the features that tell how CDs and DVDs are written: bit 6 of their first byte.
bool canAvoidUnderrun(MmcUnit& unit, _MMC_PROFILES profile) {
    const auto feature =
        unit.feature(profile <= kProfileCDRW ? mmc::kFeatureCdTrackAtOnce : mmc::kFeatureDvdMinusWrite);
    return feature && (byteAt(feature->data, 0) & 0x40) != 0;
}

/// What the drive says of a command that it knows, and does not carry out.
bool isRefusal(_LIBDRIVE2_ERROR_TYPES error) {
    return error == LIBDRIVE2_NOT_SUPPORTED || error == LIBDRIVE2_BAD_ARGUMENT;
}

/// Of a feature that a method of writing needs; 0 for none.
bool lacks(MmcUnit& unit, std::uint16_t number) {
    const auto feature = number != 0 ? unit.feature(number) : std::nullopt;
    return number != 0 && !(feature && feature->current);
}

}  // namespace

RecordingMethod RecordableDrive::recordingMethod(_MMC_PROFILES /*profile*/) {
    return {};
}

RecordingMethod RecordableDrive::method() {
    return recordingMethod(getCurrentProfile());
}

bool RecordableDrive::takesAnyOrder() {
    return method().access == RecordingMethod::Access::random;
}

bool RecordableDrive::takesProfile(_MMC_PROFILES profile) {
    return recordingMethod(profile).access != RecordingMethod::Access::none;
}

std::uint64_t RecordableDrive::getSectorCount() {
    return std::max(ScsiMMCDrive::getSectorCount(), m_areaEnd);
}

std::uint32_t RecordableDrive::numCoincidentWriteSectors() {
    return method().unitSectors;
}

void RecordableDrive::setRecordableCallback(std::unique_ptr<RecordableDriveCallback> callback) {
    m_recordableCallback = std::move(callback);
}

void RecordableDrive::report(std::int32_t eventType) {
    if (m_recordableCallback != nullptr)
        m_recordableCallback->handleResult(eventType);
}

/// What fails because the drive is busy or gone is no failure of the operation.
void RecordableDrive::reportFailure(std::int32_t eventType) {
    if (availability() == LIBDRIVE2_NO_ERROR)
        report(eventType);
}

_LIBDRIVE2_ERROR_TYPES RecordableDrive::refuseMedium() {
    return fail(LIBDRIVE2_NOT_SUPPORTED,
                zel::format("a medium of profile 0x%x cannot be written in this way", getCurrentProfile()));
}

bool RecordableDrive::setWriteParameters(bool test) {
    m_isTest = test;
    const RecordingMethod how = method();
    const auto error = sendWriteParameters(how);
    // Drives judge them by the medium as it is, not as blanking or formatting will make it.
    m_areParametersDue = isRefusal(error) && (how.blanking || (takesAnyOrder() && !isFormatted()));
    return succeeded(m_areParametersDue ? LIBDRIVE2_NO_ERROR : error);
}

_LIBDRIVE2_ERROR_TYPES RecordableDrive::sendWriteParameters(const RecordingMethod& how) {
    MmcUnit unit(*passThrough());
    const _MMC_PROFILES profile = getCurrentProfile();
    if (how.access == RecordingMethod::Access::none)
        return refuseMedium();
    if (!how.parameters)
        return m_isTest ? fail(LIBDRIVE2_NOT_SUPPORTED, "such media take no test recording")
                        : LIBDRIVE2_NO_ERROR;
    const auto page = unit.writeParameters();
    if (!page)
        return fail(unit.why().type, zel::worded("asking for the write parameters failed: {reason}",
                                                 {{"reason", unit.why().text}}));
    mmc::WriteParameters parameters = *how.parameters;
    parameters.isTest = m_isTest;
    parameters.underrunFree =
        how.access == RecordingMethod::Access::sequential && canAvoidUnderrun(unit, profile);
    std::vector<std::uint8_t> list = mmc::writeParameterList(*page, parameters);
    const auto error = sendParameters(mmc::modeSelect10(static_cast<std::uint16_t>(list.size())), list.data(),
                                      list.size(), zel::marked("setting the write parameters"));
    return isRefusal(error) && !how.parametersMatter ? LIBDRIVE2_NO_ERROR : error;
}

std::optional<std::uint64_t> RecordableDrive::sectorsOfEach(std::uint64_t recordings) {
    const _MMC_PROFILES profile = getCurrentProfile();
    const std::uint64_t unit = std::max(1U, recordingMethod(profile).unitSectors);
    if (!mmc::mediaKind(profile).isWriteOnce || recordings == 0)
        return std::nullopt;
    const std::uint64_t between = (recordings - 1) * mmc::sectorsBetweenSessions(profile);
    const std::uint64_t free = getFreeSectors();
    return free > between ? (free - between) / recordings / unit * unit : 0;
}

bool RecordableDrive::prepareAnyOrder() {
    if (takesAnyOrder())
        return true;
    if (getCurrentProfile() != kProfileDVDRWSequential)
        return succeeded(refuseMedium());
    return succeeded(format()) && takesAnyOrder();
}

/// What timed out may have been written all the same, and most media take a sector once.
_LIBDRIVE2_ERROR_TYPES RecordableDrive::doWriteSector(std::uint64_t lba, std::uint32_t count,
                                                      const void* buffer, std::uint32_t bufferBytes) {
    if (isRepeat() && lastError == LIBDRIVE2_TIMEOUT) {
        const RecordingMethod how = method();
        if (how.access != RecordingMethod::Access::random || how.takesOnce)
            return LIBDRIVE2_TIMEOUT;
    }
    return ScsiMMCDrive::doWriteSector(lba, count, buffer, bufferBytes);
}

_LIBDRIVE2_ERROR_TYPES RecordableDrive::prepareForWriting(const std::uint64_t& sectors) {
    setArea(0, 0);
    const RecordingMethod how = method();
    if (how.access == RecordingMethod::Access::none)
        lastError = refuseMedium();
    else if (how.access == RecordingMethod::Access::sequential)
        lastError = prepareSequential(how, sectors);
    else
        lastError = prepareRandom(how);
    if (lastError == LIBDRIVE2_NO_ERROR && m_areParametersDue) {
        m_areParametersDue = false;
        lastError = sendWriteParameters(how);
    }
    // Callers tell these apart; lastError and its text say more.
    return lastError == LIBDRIVE2_NO_ERROR || lastError == LIBDRIVE2_NOT_SUPPORTED ? lastError
                                                                                   : LIBDRIVE2_DRIVE_ERROR;
}

_LIBDRIVE2_ERROR_TYPES RecordableDrive::prepareRandom(const RecordingMethod& how) {
    if (how.takesOnce) {
        const auto disc = MmcUnit(*passThrough()).discInformation();
        if (m_takenEnd == 0 && disc && disc->status == mmc::DiscStatus::incomplete)
            return fail(LIBDRIVE2_NOT_SUPPORTED, "there is something on the medium: insert an empty one");
    }
    return isFormatted() ? LIBDRIVE2_NO_ERROR : format();
}

_LIBDRIVE2_ERROR_TYPES RecordableDrive::prepareSequential(const RecordingMethod& how, std::uint64_t sectors) {
    MmcUnit unit(*passThrough());
    const auto disc = unit.discInformation();
    if (!disc)
        return fail(unit.why().type, zel::worded("asking for the medium's state failed: {reason}",
                                                 {{"reason", unit.why().text}}));
    // A closed medium that cannot be emptied has no free sectors, which is for getFreeSectors() to tell.
    if (!how.blanking || (disc->status == mmc::DiscStatus::blank && !lacks(unit, how.needsFeature)))
        return LIBDRIVE2_NO_ERROR;
    const auto track = unit.writableTrack();
    if (sectors != 0 && disc->status == mmc::DiscStatus::incomplete && track && track->freeSectors >= sectors)
        return LIBDRIVE2_NO_ERROR;
    report(kBlanking);
    const auto error = blankMedia(*how.blanking, true, kWholeMediumMs);
    if (error != LIBDRIVE2_NO_ERROR)
        reportFailure(kCannotBlank);
    else
        m_areParametersDue = true;
    return error;
}

bool RecordableDrive::isFormatted() {
    MmcUnit unit(*passThrough());
    const auto disc = unit.discInformation();
    if (disc && disc->backgroundFormat == mmc::BackgroundFormat::interrupted)
        return false;
    const auto capacities = unit.formatCapacities();
    return capacities ? capacities->medium == mmc::FormatCapacities::Medium::formatted
                      : ScsiMMCDrive::getSectorCount() != 0;
}

_LIBDRIVE2_ERROR_TYPES RecordableDrive::format() {
    report(kFormatting);
    const auto error = formatUnit(true, kWholeMediumMs);
    if (error != LIBDRIVE2_NO_ERROR)
        reportFailure(error == LIBDRIVE2_NOT_SUPPORTED ? kFormatNotSupported : kCannotFormat);
    else
        m_areParametersDue = true;
    return error;
}

std::uint64_t RecordableDrive::getFreeSectors() {
    MmcUnit unit(*passThrough());
    const RecordingMethod how = method();
    std::uint64_t sectors = 0;
    if (how.access == RecordingMethod::Access::random) {
        const auto capacities = unit.formatCapacities();
        sectors = capacities && capacities->medium == mmc::FormatCapacities::Medium::formatted
                      ? capacities->sectors
                      : ScsiMMCDrive::getSectorCount();
        sectors -= std::min(sectors, how.takesOnce ? m_takenEnd : 0);
    } else if (how.access == RecordingMethod::Access::sequential) {
        const auto track = unit.writableTrack();
        sectors = track ? track->freeSectors : 0;
    }
    if (sectors == 0)
        reportFailure(kCannotFindFreeSectors);
    return sectors;
}

bool RecordableDrive::reserveSectors(const std::uint64_t& sectors) {
    setArea(0, 0);
    const RecordingMethod how = method();
    if (how.access == RecordingMethod::Access::none)
        return succeeded(refuseMedium());
    if (sectors == 0)
        return succeeded(fail(LIBDRIVE2_BAD_ARGUMENT, "an area of no sectors cannot be reserved"));
    if (how.access == RecordingMethod::Access::sequential)
        return succeeded(takeTrack(how, sectors));
    if (const std::uint64_t most = getFreeSectors(); sectors > most)
        return succeeded(
            fail(LIBDRIVE2_BAD_ARGUMENT, zel::format("the medium takes %u sectors, not %u", most, sectors)));
    setArea(how.takesOnce ? m_takenEnd : 0, sectors);
    m_takenEnd = m_areaEnd;
    return succeeded(LIBDRIVE2_NO_ERROR);
}

_LIBDRIVE2_ERROR_TYPES RecordableDrive::takeTrack(const RecordingMethod& how, std::uint64_t sectors) {
    report(kReservingTrack);
    MmcUnit unit(*passThrough());
    const auto track = unit.writableTrack();
    if (!track) {
        reportFailure(kCannotFindFreeSectors);
        return fail(LIBDRIVE2_DRIVE_ERROR, "the medium has no track that can be written");
    }
    if (sectors > track->freeSectors)
        return fail(LIBDRIVE2_BAD_ARGUMENT,
                    zel::format("%u sectors are free, not %u", track->freeSectors, sectors));
    setArea(track->nextWritable.value_or(0), sectors);
    m_track = track->number;
    m_jumpSectors = how.jumpsLayers ? how.unitSectors : 0;
    m_nextJump = track->nextJump.value_or(0);
    return LIBDRIVE2_NO_ERROR;
}

void RecordableDrive::setArea(std::uint64_t start, std::uint64_t sectors) {
    m_segments.clear();
    if (sectors != 0)
        m_segments.push_back({start, start});
    m_areaEnd = sectors != 0 ? start + sectors : 0;
    m_unknownPosition = start + 1;
    m_track = 0;
    m_jumpSectors = 0;
}

std::uint64_t RecordableDrive::getNextWriteAddress() {
    if (!m_segments.empty())
        return m_segments.front().lba;
    if (method().access != RecordingMethod::Access::sequential)
        return 0;
    const auto track = MmcUnit(*passThrough()).writableTrack();
    return track ? track->nextWritable.value_or(0) : 0;
}

std::uint64_t RecordableDrive::getNextWriteAddress(std::uint64_t position) {
    if (m_jumpSectors == 0 || position < m_segments.front().position)
        return position;
    if (position >= m_unknownPosition)
        return mapNewPosition(position);
    const auto after = std::find_if(m_segments.begin(), m_segments.end(),
                                    [position](const Segment& s) { return s.position > position; });
    const Segment& segment = *std::prev(after);
    return segment.lba + (position - segment.position);
}

/// The drive decides where the layers change, and tells before it does; one that does not tell is asked
/// before each unit.
std::uint64_t RecordableDrive::mapNewPosition(std::uint64_t position) {
    const Segment& last = m_segments.back();
    std::uint64_t lba = last.lba + (position - last.position);
    m_unknownPosition = position + 1;
    if (lba + m_jumpSectors <= m_nextJump + 1) {
        m_areaEnd = std::max(m_areaEnd, lba + m_jumpSectors);
        return lba;
    }
    (void)waitWhileBusy(zel::marked("writing to the medium"), kUnitMs, kUnitPollMs);
    const auto track = MmcUnit(*passThrough()).trackInformation(mmc::TrackAddress::track, m_track);
    if (track && track->nextWritable && *track->nextWritable != lba) {
        lba = *track->nextWritable;
        m_segments.push_back({position, lba});
    }
    m_nextJump = track ? track->nextJump.value_or(0) : 0;
    m_areaEnd = std::max(m_areaEnd, lba + m_jumpSectors);
    return lba;
}

/// Sends a command that ends what was written before, and waits until the medium is done with both.
_LIBDRIVE2_ERROR_TYPES RecordableDrive::finish(const ScsiRequest& request, const char* what) {
    const zel::Stopwatch watch;
    auto error = waitWhileBusy(what, kCloseMs, kClosePollMs);
    while (error == LIBDRIVE2_NO_ERROR) {
        error = perform(request, {what});
        // Ready, but not for this.
        if (error != LIBDRIVE2_BUSY || watch.elapsedMilliseconds() >= kCloseMs)
            break;
        zel::System::mssleep(kClosePollMs);
        error = waitWhileBusy(what, kCloseMs, kClosePollMs);
    }
    return error == LIBDRIVE2_NO_ERROR ? waitWhileBusy(what, kCloseMs, kClosePollMs) : error;
}

bool RecordableDrive::closeOpenTrack() {
    const RecordingMethod how = method();
    if (how.access == RecordingMethod::Access::none)
        return succeeded(refuseMedium());
    auto error = finish(mmc::synchronizeCache(0, 0, false), kFlushing);
    if (error == LIBDRIVE2_NO_ERROR && how.access == RecordingMethod::Access::sequential && m_track != 0)
        error = finish(mmc::closeTrackSession(mmc::CloseFunction::track, m_track, true),
                       zel::marked("closing the track"));
    // A track of a CD that is recorded at once ends with the flush; some drives take no command for it then.
    const bool endsItself = how.parameters && how.parameters->type == mmc::WriteType::trackAtOnce;
    return succeeded(isRefusal(error) && endsItself ? LIBDRIVE2_NO_ERROR : error);
}

bool RecordableDrive::closeOpenSession() {
    const RecordingMethod how = method();
    if (how.access == RecordingMethod::Access::none)
        return succeeded(refuseMedium());
    const auto disc = MmcUnit(*passThrough()).discInformation();
    const bool formatRuns = disc && disc->backgroundFormat == mmc::BackgroundFormat::running;
    const auto track = how.oneSession ? MmcUnit(*passThrough()).writableTrack() : std::nullopt;
    auto error = LIBDRIVE2_NO_ERROR;
    if (track && track->freeSectors >= how.unitSectors)
        zel::LogFactory::createLogger("libDrive2.RecordableDrive")
            .line(3, "the medium takes one session; it stays open for what is recorded next");
    else if (how.access == RecordingMethod::Access::sequential || formatRuns)
        error = finish(mmc::closeTrackSession(mmc::CloseFunction::session, 0, true),
                       zel::marked("closing the session"));
    if (error == LIBDRIVE2_NO_ERROR)
        error = doQueryMediumInfo();
    return succeeded(error);
}

}  // namespace libDrive2
