#include "libDrive2/commands/AtaCommands.h"

#include <algorithm>

namespace libDrive2::ata {

namespace {

// Command codes of ACS-4.
constexpr std::uint8_t kReadDma = 0xC8;
constexpr std::uint8_t kReadDmaExt = 0x25;
constexpr std::uint8_t kReadFpdmaQueued = 0x60;
constexpr std::uint8_t kWriteDma = 0xCA;
constexpr std::uint8_t kWriteDmaExt = 0x35;
constexpr std::uint8_t kWriteDmaFuaExt = 0x3D;
constexpr std::uint8_t kReadVerify = 0x40;
constexpr std::uint8_t kReadVerifyExt = 0x42;
constexpr std::uint8_t kSmart = 0xB0;
constexpr std::uint8_t kStandbyImmediate = 0xE0;
constexpr std::uint8_t kIdleImmediate = 0xE1;
constexpr std::uint8_t kCheckPowerMode = 0xE5;
constexpr std::uint8_t kFlushCache = 0xE7;
constexpr std::uint8_t kFlushCacheExt = 0xEA;
constexpr std::uint8_t kIdentifyDevice = 0xEC;
constexpr std::uint8_t kSecurityUnlock = 0xF2;
constexpr std::uint8_t kSecurityErasePrepare = 0xF3;
constexpr std::uint8_t kSecurityEraseUnit = 0xF4;
constexpr std::uint8_t kSecurityDisablePassword = 0xF6;

constexpr std::uint8_t kAddressIsLba = 0x40;
constexpr std::uint16_t kSmartReadDataFeature = 0xD0;
constexpr std::uint64_t kSmartSignature = 0xC24F00;
constexpr std::size_t kPasswordBytes = 32;
constexpr std::uint32_t kSlowCommandMs = 120000;
constexpr std::uint32_t kQuickCommandMs = 10000;

AtaRequest command(std::uint8_t code, AtaProtocol protocol = AtaProtocol::nonData,
                   DataDirection direction = DataDirection::none) {
    AtaRequest request;
    request.registers.command = code;
    request.protocol = protocol;
    request.direction = direction;
    return request;
}

AtaRequest addressed(AtaRequest request, std::uint64_t lba, std::uint32_t count, bool extended) {
    request.extended = extended;
    request.registers.lba = lba;
    // The full count, 65536 or 256, is written as 0.
    request.registers.count = static_cast<std::uint16_t>(extended ? count : count & 0xFF);
    request.registers.device = kAddressIsLba;
    if (!extended) {
        request.registers.lba = lba & 0xFFFFFF;
        request.registers.device = static_cast<std::uint8_t>(kAddressIsLba | (lba >> 24 & 0x0F));
    }
    return request;
}

AtaRequest securityCommand(std::uint8_t code) {
    AtaRequest request = command(code, AtaProtocol::pioOut, DataDirection::toDevice);
    request.registers.count = 1;
    return request;
}

}  // namespace

AtaRequest identifyDevice() {
    AtaRequest request = command(kIdentifyDevice, AtaProtocol::pioIn, DataDirection::fromDevice);
    request.registers.count = 1;
    return request;
}

AtaRequest readDma(std::uint64_t lba, std::uint32_t count, bool extended) {
    return addressed(command(extended ? kReadDmaExt : kReadDma, AtaProtocol::dma, DataDirection::fromDevice),
                     lba, count, extended);
}

AtaRequest readQueued(std::uint64_t lba, std::uint32_t count) {
    AtaRequest request =
        addressed(command(kReadFpdmaQueued, AtaProtocol::queued, DataDirection::fromDevice), lba, 0, true);
    request.registers.feature = static_cast<std::uint16_t>(count);
    return request;
}

AtaRequest writeDma(std::uint64_t lba, std::uint32_t count, bool extended) {
    return addressed(command(extended ? kWriteDmaExt : kWriteDma, AtaProtocol::dma, DataDirection::toDevice),
                     lba, count, extended);
}

AtaRequest writeDmaFua(std::uint64_t lba, std::uint32_t count) {
    return addressed(command(kWriteDmaFuaExt, AtaProtocol::dma, DataDirection::toDevice), lba, count, true);
}

AtaRequest readVerify(std::uint64_t lba, std::uint32_t count, bool extended) {
    return addressed(command(extended ? kReadVerifyExt : kReadVerify), lba, count, extended);
}

AtaRequest flushCache(bool extended) {
    AtaRequest request = command(extended ? kFlushCacheExt : kFlushCache);
    request.extended = extended;
    request.timeoutMs = kSlowCommandMs;
    return request;
}

AtaRequest standbyImmediate() {
    AtaRequest request = command(kStandbyImmediate);
    request.timeoutMs = kSlowCommandMs;
    return request;
}

AtaRequest idleImmediate() {
    AtaRequest request = command(kIdleImmediate);
    request.timeoutMs = kSlowCommandMs;
    return request;
}

AtaRequest checkPowerMode() {
    AtaRequest request = command(kCheckPowerMode);
    request.timeoutMs = kQuickCommandMs;
    return request;
}

AtaRequest smartReadData() {
    AtaRequest request = command(kSmart, AtaProtocol::pioIn, DataDirection::fromDevice);
    request.registers.feature = kSmartReadDataFeature;
    request.registers.count = 1;
    request.registers.lba = kSmartSignature;
    return request;
}

AtaRequest securityUnlock() {
    return securityCommand(kSecurityUnlock);
}
AtaRequest securityDisablePassword() {
    return securityCommand(kSecurityDisablePassword);
}
AtaRequest securityErasePrepare() {
    return command(kSecurityErasePrepare);
}

AtaRequest securityEraseUnit(std::uint32_t timeoutMs) {
    AtaRequest request = securityCommand(kSecurityEraseUnit);
    request.timeoutMs = timeoutMs;
    return request;
}

AtaRequest withData(AtaRequest request, void* data, std::size_t bytes) {
    request.data = data;
    request.dataBytes = bytes;
    return request;
}

std::array<std::uint8_t, kSectorOfAnswer> securityData(const std::string& password, bool enhancedErase) {
    std::array<std::uint8_t, kSectorOfAnswer> data{};
    data[0] = enhancedErase ? 0x02 : 0x00;  // the user password is compared
    std::copy_n(password.begin(), std::min(password.size(), kPasswordBytes), data.begin() + 2);
    return data;
}

}  // namespace libDrive2::ata
