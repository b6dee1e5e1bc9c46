#include "libDrive2/sim/optical/OpticalUnit.h"

#include <algorithm>

#include "libDrive2/sim/SimBytes.h"

namespace libDrive2 {

namespace {

/// The speed key counts in megabytes of 1,048,576 bytes.
std::uint32_t speedLimit(const SimOptions& options) {
    return static_cast<std::uint32_t>(options.megabytesPerSecond * 1048576 / 1000);
}

}  // namespace

OpticalUnit::OpticalUnit(SimOptions given, SharedBlockHandle image)
    : options(std::move(given)),
      tray(options, std::move(image)),
      speeds(speedLimit(options)),
      modePages(options.optical.strict) {}

void OpticalUnit::update() {
    tray.update();
    const OpticalMediaType* const type = tray.disc() != nullptr ? &tray.disc()->type() : nullptr;
    const bool isAnother = (m_type == nullptr) != (type == nullptr) || tray.insertions() != m_insertions;
    if (type == m_type && !isAnother)
        return;
    m_type = type;
    m_insertions = tray.insertions();
    modePages.setMedium(type, isAnother);
    beginRecording();
    // What was chosen stays when the medium is only blanked or formatted.
    if (isAnother)
        speeds.setMedium(type);
}

void OpticalUnit::beginRecording() {
    writer.endRecording();
    cache.clear();
}

void OpticalUnit::reset() {
    modePages.setMedium(m_type, true);
    speeds.setMedium(m_type);
    writer = {};
    cache.clear();
    operation = {};
    tray.reportReset();
}

std::uint16_t OpticalUnit::profile() const {
    return tray.disc() != nullptr ? tray.disc()->type().profile : kNoProfile;
}

std::vector<std::uint8_t> behindHeader(std::size_t headerBytes, const std::vector<std::uint8_t>& body) {
    std::vector<std::uint8_t> bytes(headerBytes + body.size());
    std::ranges::copy(body, bytes.begin() + static_cast<std::ptrdiff_t>(headerBytes));
    return bytes;
}

void putProgress(std::uint8_t* sense, std::uint16_t progress) {
    constexpr std::uint8_t kSenseKeySpecificValid = 0x80;
    sense[15] = kSenseKeySpecificValid;
    putBigEndian(sense + 16, 2, progress);
}

void OpticalCommand::failBusy(const LongOperation& operation) {
    fail(operation.sense());
    putProgress(m_response.sense.data(), operation.progress());
}

void OpticalCommand::expire() {
    m_response.delivery = {LIBDRIVE2_TIMEOUT, "the device did not answer in time"};
}

std::uint32_t OpticalCommand::sectorsOf(DataDirection direction) const {
    return static_cast<std::uint32_t>(
        std::min<std::size_t>(extent().count, bufferBytes(direction) / kOpticalSectorBytes));
}

void OpticalCommand::finishSectors(const SimOutcome& outcome, std::uint64_t lba, std::uint32_t sectors) {
    setTransferred((outcome.ok() ? sectors : outcome.lba - lba) * kOpticalSectorBytes);
    finish(outcome);
}

bool OpticalCommand::accept(const OpticalRefusal& refusal) {
    if (refusal)
        fail(*refusal);
    return !refusal;
}

}  // namespace libDrive2
