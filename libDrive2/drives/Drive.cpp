#include "libDrive2/Drive.h"

#include <algorithm>

#include "zel/Buffer.h"
#include "zel/Clock.h"
#include "zel/Format.h"
#include "zel/Words.h"

namespace libDrive2 {

namespace {

/// Errors that another attempt may overcome. The others tell of a state, not of an accident.
bool isTransientKind(_LIBDRIVE2_ERROR_TYPES error) {
    return error == LIBDRIVE2_MEDIA_ERROR || error == LIBDRIVE2_DRIVE_ERROR ||
           error == LIBDRIVE2_LINK_ERROR || error == LIBDRIVE2_TIMEOUT;
}

}  // namespace

Drive::Drive() = default;
Drive::~Drive() = default;

std::uint32_t Drive::getPhysicalSectorSize() {
    return getSectorSize();
}

std::uint64_t Drive::getPhysicalSectorCount() {
    const std::uint32_t ratio = std::max(1U, getPhysicalSectorSize() / std::max(1U, getSectorSize()));
    return (getSectorCount() + ratio - 1) / ratio;
}

std::uint32_t Drive::mediaCapabilties() {
    return 0;
}
std::uint32_t Drive::supportedCapabilties() {
    return 0;
}
bool Drive::disableAutoRun() {
    return false;
}
bool Drive::reenableAutoRun() {
    return false;
}
std::uint16_t Drive::getOptimalRd(std::uint16_t /*limit*/) {
    return 1;
}
std::uint16_t Drive::getOptimalWr(std::uint16_t limit) {
    return getOptimalRd(limit);
}
std::unique_ptr<TemperatureAccessor> Drive::getTemperatureAccessor() {
    return nullptr;
}
bool Drive::reOpenHandle() {
    return false;
}

_LIBDRIVE2_ERROR_TYPES Drive::doQueryDeviceInfo() {
    return LIBDRIVE2_NO_ERROR;
}
_LIBDRIVE2_ERROR_TYPES Drive::doQueryMediumInfo() {
    return LIBDRIVE2_NO_ERROR;
}

_LIBDRIVE2_ERROR_TYPES Drive::doGetLastErrorStr(zel::String& text) {
    text = errorText().english();
    return LIBDRIVE2_NO_ERROR;
}

_LIBDRIVE2_ERROR_TYPES Drive::doReadStreaming(std::uint64_t lba, std::uint32_t count, void* buffer,
                                              std::uint32_t bufferBytes) {
    return doReadSector(lba, count, buffer, bufferBytes);
}

_LIBDRIVE2_ERROR_TYPES Drive::doSeekSector(std::uint64_t lba) {
    zel::Buffer sector(getSectorSize());
    return doReadSector(lba, 1, sector.data(), getSectorSize());
}

_LIBDRIVE2_ERROR_TYPES Drive::doSyncCache() {
    return doFlushCache();
}
_LIBDRIVE2_ERROR_TYPES Drive::doFlushCache() {
    return fail(LIBDRIVE2_NOT_SUPPORTED, "the drive has no cache to flush");
}
_LIBDRIVE2_ERROR_TYPES Drive::doClearCache() {
    return fail(LIBDRIVE2_NOT_SUPPORTED, "the drive has no cache to clear");
}
_LIBDRIVE2_ERROR_TYPES Drive::doStartDrive() {
    return fail(LIBDRIVE2_NOT_SUPPORTED, "the drive cannot be started");
}
_LIBDRIVE2_ERROR_TYPES Drive::doStopDrive() {
    return fail(LIBDRIVE2_NOT_SUPPORTED, "the drive cannot be stopped");
}

_LIBDRIVE2_ERROR_TYPES Drive::fail(_LIBDRIVE2_ERROR_TYPES type, zel::Wording text, zel::String words) {
    m_errorText = std::move(text);
    m_describeError = nullptr;
    m_errorWords = std::move(words);
    return type;
}

_LIBDRIVE2_ERROR_TYPES Drive::fail(_LIBDRIVE2_ERROR_TYPES type, Description describe, zel::String words) {
    m_describeError = std::move(describe);
    m_errorWords = std::move(words);
    return type;
}

const zel::Wording& Drive::errorText() {
    if (m_describeError != nullptr)
        m_errorText = m_describeError();
    m_describeError = nullptr;
    return m_errorText;
}

void Drive::noteRecovered(Description describe) {
    m_describeError = std::move(describe);
    m_recovered = true;
}

bool Drive::mayRetry(_LIBDRIVE2_ERROR_TYPES error, std::uint32_t attempts) const {
    return (m_behavior & LIBDRIVE2_RETRY) != 0 && attempts <= m_retryCount && isTransientKind(error);
}

void Drive::notify(std::uint32_t code, std::uint32_t behaviorBit) {
    if (m_callback != nullptr && (m_behavior & behaviorBit) != 0)
        m_callback->onDriveNotify(code);
}

template <class Hook>
bool Drive::perform(DriveOperation operation, std::uint64_t lba, std::uint32_t count, Hook hook) {
    const bool timed = m_observer != nullptr && !streamingTransfers;
    const zel::Clock::Duration start = timed ? zel::Clock::current().now() : zel::Clock::Duration::zero();
    m_recovered = m_getsReady = false;
    m_lastLba = lba;
    std::uint32_t attempts = 0;
    do {
        m_isRepeat = attempts > 0;
        lastError = hook();
        if (lastError == LIBDRIVE2_TIMEOUT)
            lastError = judgeTimeout();
        ++attempts;
    } while (lastError != LIBDRIVE2_NO_ERROR && mayRetry(lastError, attempts));

    const _LIBDRIVE2_ERROR_TYPES outcome = lastError;
    if (m_observer != nullptr) {
        const auto end = timed ? zel::Clock::current().now() : zel::Clock::Duration::zero();
        const bool corrected = m_recovered && outcome == LIBDRIVE2_NO_ERROR;
        m_observer->onOperation(
            {operation, lba, count, end - start, end, attempts, outcome, m_getsReady, corrected});
    }
    if (outcome == LIBDRIVE2_DRIVE_ERROR)
        notify(kNotifyAdvancedError, LIBDRIVE2_REPORT_ADVANCED);
    else if (outcome == LIBDRIVE2_NO_ERROR && (attempts > 1 || m_recovered))
        notify(kNotifyRecoveredError, LIBDRIVE2_REPORT_RECOVERED);
    return outcome == LIBDRIVE2_NO_ERROR;
}

_LIBDRIVE2_ERROR_TYPES Drive::judgeTimeout() {
    const zel::Wording text = errorText();
    return m_answers == nullptr || m_answers()
               ? fail(LIBDRIVE2_TIMEOUT, text, m_errorWords)
               : fail(LIBDRIVE2_NO_ACCESS,
                      zel::worded("{reason}; it answers nothing any more", {{"reason", text}}));
}

/// A drive that could not be asked when it was opened may answer now.
_LIBDRIVE2_ERROR_TYPES Drive::askSectorSize() {
    _LIBDRIVE2_ERROR_TYPES error = doQueryDeviceInfo();
    if (error == LIBDRIVE2_NO_ERROR && getSectorSize() == 0)
        error = doQueryMediumInfo();
    if (error == LIBDRIVE2_NO_ERROR && getSectorSize() == 0)
        error = fail(LIBDRIVE2_NO_ACCESS, zel::worded("the drive does not tell its sector size"));
    return error;
}

template <class Hook>
bool Drive::performTransfer(DriveOperation operation, std::uint64_t lba, std::uint32_t count,
                            std::uint32_t bufferBytes, Hook hook) {
    return perform(operation, lba, count, [&]() -> _LIBDRIVE2_ERROR_TYPES {
        if (getSectorSize() == 0)
            if (const auto unknown = askSectorSize(); unknown != LIBDRIVE2_NO_ERROR)
                return unknown;
        // A drive that does not tell its size has to judge for itself.
        const std::uint64_t sectors = getSectorCount();
        if (sectors != 0 && (lba > sectors || count > sectors - lba))
            return fail(
                LIBDRIVE2_BAD_ARGUMENT,
                zel::format("sectors %u through %u lie beyond the end of the medium", lba, lba + count - 1));
        if (std::uint64_t{count} * getSectorSize() > bufferBytes)
            return fail(LIBDRIVE2_BAD_ARGUMENT,
                        zel::format("a buffer of %u bytes does not hold %u sectors", bufferBytes, count));
        return hook();
    });
}

bool Drive::queryDeviceInfo() {
    return perform(DriveOperation::other, 0, 0, [&] { return doQueryDeviceInfo(); });
}

bool Drive::queryMediumInfo() {
    return perform(DriveOperation::other, 0, 0, [&] { return doQueryMediumInfo(); });
}

bool Drive::readSector(std::uint64_t lba, std::uint32_t count, void* buffer, std::uint32_t bufferBytes) {
    return performTransfer(DriveOperation::read, lba, count, bufferBytes,
                           [&] { return doReadSector(lba, count, buffer, bufferBytes); });
}

bool Drive::readStreaming(std::uint64_t lba, std::uint32_t count, void* buffer, std::uint32_t bufferBytes) {
    return performTransfer(DriveOperation::read, lba, count, bufferBytes,
                           [&] { return doReadStreaming(lba, count, buffer, bufferBytes); });
}

bool Drive::writeSector(std::uint64_t lba, std::uint32_t count, const void* buffer,
                        std::uint32_t bufferBytes) {
    return performTransfer(DriveOperation::write, lba, count, bufferBytes,
                           [&] { return doWriteSector(lba, count, buffer, bufferBytes); });
}

bool Drive::seekSector(std::uint64_t lba) {
    return performTransfer(DriveOperation::seek, lba, 1, getSectorSize(), [&] { return doSeekSector(lba); });
}

bool Drive::flushCache() {
    return perform(DriveOperation::flush, 0, 0, [&] { return doFlushCache(); });
}

bool Drive::clearCache() {
    return perform(DriveOperation::other, 0, 0, [&] { return doClearCache(); });
}

bool Drive::preventMediumRemoval(bool prevent) {
    m_keepsMedium = prevent;
    const bool done = perform(DriveOperation::other, 0, 0, [&] { return doPreventMediumRemoval(prevent); });
    m_isMediumLocked = prevent && done;
    return done;
}

bool Drive::ejectDrive() {
    lockMedium(false);
    const bool ejected = perform(DriveOperation::other, 0, 0, [&] { return doEjectDrive(); });
    if (!ejected)
        lockMedium(true);
    return ejected;
}

bool Drive::loadDrive() {
    return perform(DriveOperation::other, 0, 0, [&] { return doLoadDrive(); });
}

zel::String Drive::getLastErrorStr() {
    zel::String text;
    return doGetLastErrorStr(text) == LIBDRIVE2_NO_ERROR ? text : zel::String();
}

/// Sectors with the same fault have the same words.
zel::String Drive::lastErrorWords() const {
    return lastError != LIBDRIVE2_NO_ERROR ? m_errorWords.replace(zel::format(" at sector %u", m_lastLba), "")
                                           : zel::String();
}

void Drive::setCallback(std::unique_ptr<DriveCallback> callback) {
    m_callback = std::move(callback);
}

void Drive::planSectors(std::uint64_t sectors) {
    if (m_observer != nullptr)
        m_observer->onPlan(sectors);
}

void Drive::planPositions(std::uint64_t positions) {
    if (m_observer != nullptr)
        m_observer->onPlanPositions(positions);
}

void Drive::condemnSectors(std::uint64_t lba, std::uint64_t count, SectorFault fault) {
    if (m_observer == nullptr || count == 0)
        return;
    const zel::String words = lastErrorWords();
    m_observer->onCondemned({{lba, count}, fault, words});
}

void Drive::skipSectors(std::uint64_t lba, std::uint32_t count) {
    if (m_observer != nullptr)
        m_observer->onSkipped(lba, count);
}

void Drive::visitSectors(std::uint64_t lba, std::uint32_t count) {
    if (m_observer != nullptr)
        m_observer->onVisit(lba, count);
}

void Drive::settleSectors(std::uint64_t sectors, std::uint32_t errors) {
    if (m_observer != nullptr)
        m_observer->onSettled(sectors, errors);
}

}  // namespace libDrive2
