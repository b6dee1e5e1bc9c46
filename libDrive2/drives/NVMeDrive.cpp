#include "libDrive2/NVMeDrive.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <vector>

#include "libDrive2/commands/NVMeCommands.h"
#include "libDrive2/drives/DriveAction.h"
#include "libDrive2/drives/TransferPieces.h"
#include "zel/Words.h"

namespace libDrive2 {

namespace {

std::optional<double> temperatureOf(NVMeDevice& device) {
    std::uint8_t answer[nvme::kHealthLogBytes] = {};
    const NVMeCommand command = nvme::withData(nvme::healthLog(), answer, sizeof answer);
    return nvme::statusOf(device.execute(command)).ok() ? nvme::parseTemperature(answer) : std::nullopt;
}

}  // namespace

NVMeDrive::NVMeDrive(SharedNVMeDevice device)
    : m_device(std::move(device)), m_pool(std::make_unique<CommandPool>()) {
    (void)NVMeDrive::doQueryDeviceInfo();
    setAnswerProbe([this] { return answers(); });
}

NVMeDrive::~NVMeDrive() = default;

_LIBDRIVE2_ERROR_TYPES NVMeDrive::queryController() {
    std::vector<std::uint8_t> answer(nvme::kIdentifyBytes);
    const NVMeCommand command = nvme::withData(nvme::identifyController(), answer.data(), answer.size());
    if (const auto error = perform(command, {zel::marked("identifying the controller")});
        error != LIBDRIVE2_NO_ERROR)
        return error;
    const auto controller = nvme::parseController(answer);
    m_maxTransferBytes = controller ? controller->maxTransferBytes : 0;
    m_supportsVerify = controller && controller->supportsVerify;
    return LIBDRIVE2_NO_ERROR;
}

_LIBDRIVE2_ERROR_TYPES NVMeDrive::queryNamespace() {
    m_sectors = m_sectorBytes = 0;
    std::vector<std::uint8_t> answer(nvme::kIdentifyBytes);
    const NVMeCommand command =
        nvme::withData(nvme::identifyNamespace(m_device->namespaceId()), answer.data(), answer.size());
    if (const auto error = perform(command, {zel::marked("identifying the namespace")});
        error != LIBDRIVE2_NO_ERROR)
        return error;
    const auto found = nvme::parseNamespace(answer);
    if (!found)
        return fail(LIBDRIVE2_DRIVE_ERROR, "the size that the namespace gave makes no sense");
    m_sectors = found->sectors;
    m_sectorBytes = found->sectorBytes;
    m_metadataInData = found->metadataInData;
    return LIBDRIVE2_NO_ERROR;
}

_LIBDRIVE2_ERROR_TYPES NVMeDrive::doQueryDeviceInfo() {
    const _LIBDRIVE2_ERROR_TYPES error = queryController();
    return error == LIBDRIVE2_NO_ERROR ? queryNamespace() : error;
}

std::uint32_t NVMeDrive::getSectorSize() {
    return m_sectorBytes;
}
std::uint64_t NVMeDrive::getSectorCount() {
    return m_sectors;
}

TransferCut NVMeDrive::cut() const {
    const std::uint64_t limit =
        m_maxTransferBytes != 0 ? m_maxTransferBytes : std::numeric_limits<std::uint64_t>::max();
    return {m_sectorBytes,
            wholeSectors(std::min<std::uint64_t>(m_device->maxTransferBytes(), limit), m_sectorBytes,
                         nvme::kMaxBlocks),
            m_device->maxInFlight()};
}

std::uint16_t NVMeDrive::getOptimalRd(std::uint16_t limit) {
    return optimalSectors(cut(), limit);
}
std::uint16_t NVMeDrive::getOptimalWr(std::uint16_t limit) {
    return getOptimalRd(limit);
}

std::unique_ptr<TemperatureAccessor> NVMeDrive::getTemperatureAccessor() {
    return TemperatureAccessor::over([device = m_device] { return temperatureOf(*device); });
}

bool NVMeDrive::reOpenHandle() {
    DeviceStatus status = m_device->reopen();
    lastError = status.ok() ? LIBDRIVE2_NO_ERROR : fail(status.type, std::move(status.text));
    return lastError == LIBDRIVE2_NO_ERROR && queryDeviceInfo();
}

_LIBDRIVE2_ERROR_TYPES NVMeDrive::settle(const NVMeResponse& response, const DriveAction& action) {
    const DeviceStatus status = nvme::statusOf(response);
    if (status.ok())
        return LIBDRIVE2_NO_ERROR;
    return fail(status.type, failureOf(action, name, status.text), status.text);
}

_LIBDRIVE2_ERROR_TYPES NVMeDrive::perform(const NVMeCommand& command, const DriveAction& action) {
    return settle(m_device->execute(command), action);
}

template <class MakeCommand>
_LIBDRIVE2_ERROR_TYPES NVMeDrive::transfer(const DriveAction& action, std::uint8_t* buffer,
                                           MakeCommand makeCommand) {
    if (m_metadataInData)
        return failMetadata();
    const bool forced = isRepeat();
    const auto commandOf = [&](const TransferPiece& piece) {
        return nvme::withData(makeCommand(m_device->namespaceId(), piece.lba, piece.count, forced),
                              buffer + piece.offset, std::size_t{piece.count} * m_sectorBytes);
    };
    std::vector<NVMeCommand> commands;
    const auto executeAll = [&](const std::vector<TransferPiece>& pieces,
                                std::vector<NVMeResponse>& answers) {
        commands.clear();
        std::ranges::transform(pieces, std::back_inserter(commands), commandOf);
        if (commands.size() > 1 && m_device->executeTogether(commands, answers))
            return;
        m_pool->run(commands.size(), [&](std::size_t i) { answers[i] = m_device->execute(commands[i]); });
    };
    const auto judge = [&](const TransferPiece& piece, const NVMeResponse& response) {
        return settle(response, {action.what, piece.lba, piece.count});
    };
    while (true) {
        const TransferCut tried = cut();
        const auto error = transferInRounds<NVMeResponse>(action.lba, action.count, tried, executeAll, judge);
        // A device that takes less at once than it thought is asked again.
        if (error == LIBDRIVE2_NO_ERROR || cut().maxSectors >= tried.maxSectors)
            return error;
    }
}

_LIBDRIVE2_ERROR_TYPES NVMeDrive::doReadSector(std::uint64_t lba, std::uint32_t count, void* buffer,
                                               std::uint32_t /*bufferBytes*/) {
    return transfer({kReading, lba, count}, static_cast<std::uint8_t*>(buffer), nvme::read);
}

_LIBDRIVE2_ERROR_TYPES NVMeDrive::doWriteSector(std::uint64_t lba, std::uint32_t count, const void* buffer,
                                                std::uint32_t /*bufferBytes*/) {
    // The transport takes one pointer for both directions; a write only reads from it.
    return transfer({kWriting, lba, count}, static_cast<std::uint8_t*>(const_cast<void*>(buffer)),
                    nvme::write);
}

/// Such sectors are longer on their way than the drive's sector size says.
_LIBDRIVE2_ERROR_TYPES NVMeDrive::failMetadata() {
    return fail(LIBDRIVE2_NOT_SUPPORTED,
                "the namespace keeps metadata within its sectors, which cannot be transferred like this");
}

_LIBDRIVE2_ERROR_TYPES NVMeDrive::doSeekSector(std::uint64_t lba) {
    if (!m_supportsVerify)
        return Drive::doSeekSector(lba);
    return perform(nvme::verify(m_device->namespaceId(), lba, 1), {kSeeking, lba, 1});
}

bool NVMeDrive::answers() {
    std::vector<std::uint8_t> answer(nvme::kHealthLogBytes);
    const NVMeCommand command = nvme::withData(nvme::healthLog(), answer.data(), answer.size());
    const DeviceStatus status = nvme::statusOf(m_device->execute(command));
    return status.type != LIBDRIVE2_TIMEOUT && status.type != LIBDRIVE2_NO_ACCESS;
}

_LIBDRIVE2_ERROR_TYPES NVMeDrive::doFlushCache() {
    return perform(nvme::flush(m_device->namespaceId()), {kFlushing});
}

}  // namespace libDrive2
