#include "libDrive2/AtaDrive.h"

#include <algorithm>

#include "libDrive2/commands/AtaCommands.h"
#include "libDrive2/drives/DriveAction.h"
#include "libDrive2/drives/QueuedReader.h"
#include "libDrive2/drives/TransferPieces.h"
#include "zel/Format.h"
#include "zel/Words.h"

namespace libDrive2 {

namespace {

/// One less than the registers take: the full count is written as 0, which bridges may misunderstand.
constexpr std::uint32_t kMaxSectors28 = 255;
constexpr std::uint32_t kMaxSectors48 = 65535;
constexpr std::uint32_t kMillisecondsPerMinute = 60000;
/// 255 in the identity stands for more than 508 minutes: allow a day.
constexpr std::uint32_t kLongestEraseMinutes = 508;
constexpr std::uint32_t kMinutesOfADay = 1440;

std::optional<double> temperatureOf(AtaDevice& device) {
    std::uint8_t answer[ata::kSectorOfAnswer] = {};
    const AtaRequest request = ata::withData(ata::smartReadData(), answer, sizeof answer);
    return ata::statusOf(device.execute(request)).ok() ? ata::parseSmartTemperature(answer) : std::nullopt;
}

}  // namespace

AtaDrive::AtaDrive(SharedAtaDevice device)
    : m_device(std::move(device)),
      m_pool(std::make_unique<CommandPool>()),
      m_reader(std::make_unique<QueuedReader>()),
      m_identity(std::make_unique<ata::Identity>()) {
    (void)AtaDrive::doQueryDeviceInfo();
    setAnswerProbe([this] { return answers(); });
}

AtaDrive::~AtaDrive() = default;

_LIBDRIVE2_ERROR_TYPES AtaDrive::doQueryDeviceInfo() {
    std::uint8_t answer[ata::kSectorOfAnswer] = {};
    const AtaRequest request = ata::withData(ata::identifyDevice(), answer, sizeof answer);
    const DeviceStatus status = ata::statusOf(m_device->execute(request));
    const auto identity = status.ok() ? ata::parseIdentity(answer) : std::nullopt;
    if (identity) {
        *m_identity = *identity;
        return LIBDRIVE2_NO_ERROR;
    }
    *m_identity = {};
    if (!status.ok())
        return fail(status.type, zel::worded("asking the drive for its identity failed: {reason}",
                                             {{"reason", status.text}}));
    return fail(LIBDRIVE2_DRIVE_ERROR, "the identity that the drive gave makes no sense");
}

std::uint32_t AtaDrive::getSectorSize() {
    return m_identity->sectors != 0 ? m_identity->sectorBytes : 0;
}
std::uint64_t AtaDrive::getSectorCount() {
    return m_identity->sectors;
}
std::uint32_t AtaDrive::getPhysicalSectorSize() {
    return std::max(m_identity->physicalSectorBytes, getSectorSize());
}

TransferCut AtaDrive::cut() const {
    return {m_identity->sectorBytes,
            wholeSectors(m_device->maxTransferBytes(), m_identity->sectorBytes,
                         m_identity->extended ? kMaxSectors48 : kMaxSectors28),
            m_device->maxInFlight()};
}

std::uint16_t AtaDrive::getOptimalRd(std::uint16_t limit) {
    // Adapters for few sectors at once would have the threads wait for each other all the time.
    constexpr std::uint32_t kLeastBytes = 8U << 20;
    const TransferCut each = cut();
    const std::uint32_t least = kLeastBytes / std::max(1U, each.sectorBytes);
    const std::uint16_t together = optimalSectors(each, limit);
    return each.inFlight > 1 && together < least
               ? static_cast<std::uint16_t>(std::min<std::uint32_t>(least, limit))
               : together;
}
std::uint16_t AtaDrive::getOptimalWr(std::uint16_t limit) {
    return getOptimalRd(limit);
}

std::unique_ptr<TemperatureAccessor> AtaDrive::getTemperatureAccessor() {
    if (!m_identity->smart)
        return nullptr;
    return TemperatureAccessor::over([device = m_device] { return temperatureOf(*device); });
}

bool AtaDrive::reOpenHandle() {
    DeviceStatus status = m_device->reopen();
    lastError = status.ok() ? LIBDRIVE2_NO_ERROR : fail(status.type, std::move(status.text));
    m_reader->restart();
    return lastError == LIBDRIVE2_NO_ERROR && queryDeviceInfo();
}

_LIBDRIVE2_ERROR_TYPES AtaDrive::settle(const AtaResponse& response, const DriveAction& action) {
    const DeviceStatus status = ata::statusOf(response);
    if (status.ok())
        return LIBDRIVE2_NO_ERROR;
    if (status.type == LIBDRIVE2_DRIVE_ERROR && m_identity->security.locked)
        return fail(LIBDRIVE2_NO_ACCESS,
                    failureOf(action, name, zel::worded("the drive is locked by its security password")));
    return fail(status.type, failureOf(action, name, status.text), status.text);
}

_LIBDRIVE2_ERROR_TYPES AtaDrive::perform(const AtaRequest& request, const DriveAction& action) {
    return settle(m_device->execute(request), action);
}

template <class MakeRequest>
_LIBDRIVE2_ERROR_TYPES AtaDrive::transfer(const DriveAction& action, std::uint8_t* buffer,
                                          MakeRequest makeRequest) {
    return transferAsPulled(
        action.lba, action.count, cut(), *m_pool,
        [&](const TransferPiece& piece) {
            const std::size_t size = std::size_t{piece.count} * m_identity->sectorBytes;
            return m_device->execute(
                ata::withData(makeRequest(piece.lba, piece.count), buffer + piece.offset, size));
        },
        [](const AtaResponse& response) { return ata::statusOf(response).ok(); },
        [&](const TransferPiece& piece, const AtaResponse& response) {
            return settle(response, {action.what, piece.lba, piece.count});
        });
}

_LIBDRIVE2_ERROR_TYPES AtaDrive::readQueued(const DriveAction& action, std::uint8_t* buffer) {
    return transferAsPulled(
        action.lba, action.count, cut(), *m_pool,
        [&](const TransferPiece& piece) {
            return m_reader->read(*m_device, piece, buffer + piece.offset,
                                  std::size_t{piece.count} * m_identity->sectorBytes);
        },
        [](const QueuedAnswer& answer) { return ata::statusOf(answer.response).ok(); },
        [&](const TransferPiece& piece, const QueuedAnswer& answer) {
            const DriveAction part{action.what, piece.lba, piece.count};
            if (!answer.trouble.isEmpty())
                noteRecovered(recoveryOf(part, name, answer.trouble));
            return settle(answer.response, part);
        });
}

_LIBDRIVE2_ERROR_TYPES AtaDrive::doReadSector(std::uint64_t lba, std::uint32_t count, void* buffer,
                                              std::uint32_t /*bufferBytes*/) {
    const DriveAction action{kReading, lba, count};
    // A command that has nobody beside it gains nothing, and its own registers tell most of a failure.
    const bool isQueued = m_identity->queueDepth > 1 && m_identity->extended &&
                          m_device->takesQueuedCommands() && count > cut().maxSectors && !isRepeat();
    if (isQueued)
        return readQueued(action, static_cast<std::uint8_t*>(buffer));
    return transfer(action, static_cast<std::uint8_t*>(buffer),
                    [this](std::uint64_t at, std::uint32_t sectors) {
                        return ata::readDma(at, sectors, m_identity->extended);
                    });
}

_LIBDRIVE2_ERROR_TYPES AtaDrive::doWriteSector(std::uint64_t lba, std::uint32_t count, const void* buffer,
                                               std::uint32_t /*bufferBytes*/) {
    const bool forced = isRepeat() && m_identity->forceUnitAccess;
    // The transport takes one pointer for both directions; a write only reads from it.
    return transfer({kWriting, lba, count}, static_cast<std::uint8_t*>(const_cast<void*>(buffer)),
                    [this, forced](std::uint64_t at, std::uint32_t sectors) {
                        return forced ? ata::writeDmaFua(at, sectors)
                                      : ata::writeDma(at, sectors, m_identity->extended);
                    });
}

_LIBDRIVE2_ERROR_TYPES AtaDrive::doSeekSector(std::uint64_t lba) {
    return perform(ata::readVerify(lba, 1, m_identity->extended), {kSeeking, lba, 1});
}

_LIBDRIVE2_ERROR_TYPES AtaDrive::doFlushCache() {
    return perform(ata::flushCache(m_identity->flushExtended), {kFlushing});
}
_LIBDRIVE2_ERROR_TYPES AtaDrive::doStartDrive() {
    return perform(ata::idleImmediate(), {zel::marked("starting the motor")});
}
_LIBDRIVE2_ERROR_TYPES AtaDrive::doStopDrive() {
    return perform(ata::standbyImmediate(), {zel::marked("stopping the motor")});
}

bool AtaDrive::answers() {
    const DeviceStatus delivery = m_device->execute(ata::checkPowerMode()).delivery;
    return delivery.type != LIBDRIVE2_TIMEOUT && delivery.type != LIBDRIVE2_NO_ACCESS;
}

bool AtaDrive::performSecurity(AtaRequest request, const zel::String& password, bool enhanced,
                               const char* what) {
    auto data = ata::securityData(password.lowerBytes(), enhanced);
    lastError = perform(ata::withData(request, data.data(), data.size()), {what});
    return lastError == LIBDRIVE2_NO_ERROR && queryDeviceInfo();
}

bool AtaDrive::unlockDrive(const zel::String& password) {
    return performSecurity(ata::securityUnlock(), password, false, "unlocking");
}

bool AtaDrive::disablePassword(const zel::String& password) {
    return performSecurity(ata::securityDisablePassword(), password, false, "removing the password");
}

bool AtaDrive::securityErase(const zel::String& password, bool enhanced) {
    const ata::Security& security = m_identity->security;
    const std::uint32_t told = enhanced ? security.enhancedEraseMinutes : security.eraseMinutes;
    // Twice what the drive expects: an estimate is no promise.
    const std::uint32_t minutes = told == 0 || told > kLongestEraseMinutes ? kMinutesOfADay : told * 2;
    lastError = perform(ata::securityErasePrepare(), {"preparing to erase"});
    return lastError == LIBDRIVE2_NO_ERROR &&
           performSecurity(ata::securityEraseUnit(minutes * kMillisecondsPerMinute), password, enhanced,
                           "erasing");
}

}  // namespace libDrive2
