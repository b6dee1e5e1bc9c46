#include "libDrive2/sim/SimScsiDevice.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include "libDrive2/sim/SimBytes.h"

namespace libDrive2 {

namespace {

constexpr std::size_t kMaxTransferBytes = std::size_t{1} << 20;
constexpr std::size_t kBlockDescriptorBytes = 8;
constexpr SimSense kNotSaveable{0x5, 0x39, 0x00};
constexpr SimSense kSelfTestInProgress{0x2, 0x04, 0x09};

/// READ, WRITE and VERIFY of 6 to 16 bytes.
bool movesSectors(std::uint8_t opcode) {
    constexpr std::uint8_t kOpcodes[] = {0x08, 0x0A, 0x28, 0x2A, 0x2F, 0x88, 0x8A, 0x8F, 0xA8, 0xAA};
    return std::ranges::find(kOpcodes, opcode) != std::end(kOpcodes);
}

}  // namespace

SimScsiDevice::SimScsiDevice(std::shared_ptr<SimMedium> medium, bool writable)
    : SimBlockTarget(std::move(medium), writable, kMaxTransferBytes) {}

bool SimScsiDevice::perform(SimScsiCommand& command) {
    using Self = SimScsiDevice;
    static constexpr Entry<Self> kCommands[] = {
        {0x00, &Self::testUnitReady},  {0x03, &Self::senseOrProgress},
        {0x08, &Self::readSectors},    {0x0A, &Self::writeSectors},
        {0x12, &Self::inquiry},        {0x1A, &Self::modeSense},
        {0x1B, &Self::startStopUnit},  {0x1D, &Self::sendDiagnostic},
        {0x37, &Self::readDefectData}, {0x1E, &Self::preventAllowMediumRemoval},
        {0x25, &Self::readCapacity10}, {0x28, &Self::readSectors},
        {0x2A, &Self::writeSectors},   {0x2B, &Self::seekSector},
        {0x2F, &Self::verifySectors},  {0x35, &Self::synchronizeCache},
        {0x4D, &Self::logSense},       {0x5A, &Self::modeSense},
        {0x88, &Self::readSectors},    {0x8A, &Self::writeSectors},
        {0x8F, &Self::verifySectors},  {0x91, &Self::synchronizeCache},
        {0x9E, &Self::readCapacity16}, {0xA0, &Self::reportLuns},
        {0xA8, &Self::readSectors},    {0xAA, &Self::writeSectors},
    };
    // Of type 2, sectors are reached by the commands of 32 bytes, which name their tags, and by these alone.
    if (medium().options().protectionType == 2 && movesSectors(command.opcode()))
        return false;
    return dispatch(*this, kCommands, command);
}

void SimScsiDevice::inquiry(SimScsiCommand& command) {
    constexpr std::uint8_t kVitalProductDataBit = 0x01;
    const std::uint8_t page = command.byte(2);
    if (command.byte(1) > kVitalProductDataBit || (command.byte(1) == 0 && page != 0))
        return command.fail(kInvalidField);
    const auto answer = command.byte(1) == 0 ? standardInquiry(medium())
                                             : vitalProductData(page, medium(), maxTransferBytes());
    if (!answer)
        return command.fail(kInvalidField);
    command.answer(*answer, command.field(3, 2));
}

/// SPC-4: block descriptor unless it is disabled, and pages; nothing for a page that the disk does not have.
std::optional<SimPage> SimScsiDevice::modeParameters(const SimScsiCommand& command) const {
    constexpr std::uint8_t kDisableDescriptorsBit = 0x08;
    constexpr std::uint8_t kChangeableValues = 1;
    constexpr std::uint64_t kTooMany = std::numeric_limits<std::uint32_t>::max();
    std::optional<SimPage> pages = modePages(command.byte(2) & 0x3F, medium());
    if (!pages || (command.byte(3) != 0x00 && command.byte(3) != 0xFF))
        return std::nullopt;
    // Nothing can be changed: all bits after each page's length are 0.
    if (command.byte(2) >> 6 == kChangeableValues)
        for (std::size_t page = 0; page < pages->size(); page += (*pages)[page + 1] + std::size_t{2})
            std::fill_n(pages->begin() + static_cast<std::ptrdiff_t>(page) + 2, (*pages)[page + 1],
                        std::uint8_t{0});
    if ((command.byte(1) & kDisableDescriptorsBit) != 0)
        return pages;
    SimPage bytes(kBlockDescriptorBytes);
    putBigEndian(bytes.data(), 4, std::min(medium().options().sectors, kTooMany));
    putBigEndian(&bytes[5], 3, medium().options().sectorBytes);
    bytes.insert(bytes.end(), pages->begin(), pages->end());
    return bytes;
}

void SimScsiDevice::modeSense(SimScsiCommand& command) {
    constexpr std::uint8_t kSavedValues = 3;
    constexpr std::uint8_t kDisableDescriptorsBit = 0x08;
    if (command.byte(2) >> 6 == kSavedValues)
        return command.fail(kNotSaveable);
    const std::optional<SimPage> parameters = modeParameters(command);
    if (!parameters)
        return command.fail(kInvalidField);
    // The header's fields are twice as wide in MODE SENSE(10).
    const std::size_t width = command.opcodeBytes() == 6 ? 1 : 2;
    SimPage bytes(4 * width);
    putBigEndian(bytes.data(), width, bytes.size() - width + parameters->size());
    // Device-specific parameter: WP, and DPOFUA.
    bytes[width + 1] = medium().isWriteProtected() ? 0x90 : 0x10;
    bytes.back() = (command.byte(1) & kDisableDescriptorsBit) != 0 ? 0 : kBlockDescriptorBytes;
    bytes.insert(bytes.end(), parameters->begin(), parameters->end());
    command.answer(bytes, width == 1 ? command.byte(4) : command.field(7, 2));
}

void SimScsiDevice::logSense(SimScsiCommand& command) {
    const std::optional<SimPage> page = logPage(command.byte(2) & 0x3F, medium(), health());
    const bool hasSubpage = command.byte(3) != 0;
    if (!page || hasSubpage)
        return command.fail(kInvalidField);
    command.answer(*page, command.field(7, 2));
}

void SimScsiDevice::senseOrProgress(SimScsiCommand& command) {
    const auto percent = health().selfTestPercent();
    if (!percent || medium().state().unitAttention != 0)
        return requestSense(command);
    SimPage bytes = encodeSense(kNoSense, std::nullopt, false);
    bytes[15] = 0x80;  // a progress follows, in parts of 65536
    putBigEndian(&bytes[16], 2, *percent * 65535ULL / 100);
    command.answer(bytes, command.byte(4));
}

/// SPC-4: self-tests in the background only.
void SimScsiDevice::sendDiagnostic(SimScsiCommand& command) {
    const unsigned code = command.byte(1) >> 5;
    constexpr unsigned kShort = 1;
    constexpr unsigned kExtended = 2;
    constexpr unsigned kAbort = 4;
    if (command.field(3, 2) != 0 || (command.byte(1) & 0x1F) != 0)
        return command.fail(kInvalidField);
    if (code == kAbort && health().abortSelfTest())
        return;
    if (code != kShort && code != kExtended)
        return command.fail(kInvalidField);
    if (!health().startSelfTest(code == kShort ? SelfTestKind::shortTest : SelfTestKind::extendedTest,
                                medium().firstBad()))
        command.fail(kSelfTestInProgress);
}

/// SBC-3: the grown list only; its entries are not kept, but their number is told.
void SimScsiDevice::readDefectData(SimScsiCommand& command) {
    constexpr std::uint8_t kGrownList = 0x08;
    constexpr std::uint64_t kEntryBytes = 8;
    if ((command.byte(2) & 0x18) != kGrownList)
        return command.fail(kInvalidField);
    SimPage bytes(4);
    bytes[1] = command.byte(2) & 0x1F;
    putBigEndian(&bytes[2], 2, std::min<std::uint64_t>(health().reallocated() * kEntryBytes, 0xFFF8));
    command.answer(bytes, command.field(7, 2));
}

void SimScsiDevice::reportLuns(SimScsiCommand& command) {
    constexpr std::size_t kMinAllocation = 16;
    constexpr std::uint8_t kAllUnits = 2;
    if (command.byte(2) > kAllUnits || command.field(6, 4) < kMinAllocation)
        return command.fail(kInvalidField);
    SimPage bytes(16);  // LUN 0 and nothing else
    bytes[3] = 8;
    command.answer(bytes, command.field(6, 4));
}

void SimScsiDevice::readCapacity16(SimScsiCommand& command) {
    constexpr std::uint8_t kServiceAction = 0x10;
    if ((command.byte(1) & 0x1F) != kServiceAction)
        return command.fail(kInvalidField);
    if (!isReady(command))
        return;
    SimPage bytes(32);
    putBigEndian(bytes.data(), 8, medium().options().sectors - 1);
    putBigEndian(&bytes[8], 4, medium().options().sectorBytes);
    if (const std::uint8_t type = medium().options().protectionType; type != 0)
        bytes[12] = static_cast<std::uint8_t>((type - 1) << 1 | 0x01);  // P_TYPE and PROT_EN
    command.answer(bytes, command.field(10, 4));
}

}  // namespace libDrive2
