#include "libDrive2/sim/optical/OpticalDisc.h"

#include <algorithm>

namespace libDrive2 {

namespace {

constexpr SimSense kWriteProtected{0x7, 0x27, 0x00};
constexpr SimSense kNotFormatted{0x3, 0x31, 0x00};
constexpr SimSense kCannotReadMedium{0x5, 0x30, 0x02};
constexpr SimSense kBlankCheck{0x8, 0x00, 0x00};

// CD recording in packets (MMC-6): seven sectors of each link it to its neighbours.
constexpr std::uint32_t kPacketSectors = 32;
constexpr std::uint32_t kLinkedPacketSectors = kPacketSectors + 7;

bool isInPackets(const OpticalMediaType& type) {
    return type.isCd() && type.writing == OpticalWriting::overwrite;
}

std::uint32_t capacityOf(const OpticalMediaType& type, const SimOptions& options) {
    const bool isFitted = options.sectorsGiven || !options.imagePath.empty();
    const auto sectors = isFitted ? static_cast<std::uint32_t>(options.sectors) : type.sectors;
    if (type.writing == OpticalWriting::none)
        return sectors;
    if (isInPackets(type))
        return sectors / kPacketSectors * kLinkedPacketSectors;
    // Both layers hold the same number of blocks.
    const std::uint32_t step = type.blocking * (type.jumpsLayers() ? 2 : 1);
    return sectors - sectors % step;
}

/// The sectors with their faults; time and protection are the drive's business and the disc's.
SimOptions contentsOf(const OpticalMediaType& type, SimOptions options) {
    options.sectors = capacityOf(type, options);
    options.megabytesPerSecond = 0;
    options.writeProtected = false;
    return options;
}

}  // namespace

OpticalDisc::OpticalDisc(const OpticalMediaType& type, const SimOptions& options, SharedBlockHandle image)
    : m_type(&type),
      m_capacity(capacityOf(type, options)),
      m_tracks(type, m_capacity),
      m_contents(contentsOf(type, options), std::move(image)),
      m_strict(options.optical.strict),
      m_quicklyBlanked(m_strict && options.optical.state == OpticalState::usual),
      m_writeProtected(options.writeProtected) {
    const OpticalState wanted = options.optical.state;
    const OpticalState state = type.canBeMade(wanted) ? wanted : OpticalState::usual;
    if (type.writing == OpticalWriting::random && state == OpticalState::closed)
        m_writtenOnce.add({0, m_capacity - 1});
    if (!isSequential())
        m_tracks = OpticalTracks::pressed(type, capacity());
    else if (state == OpticalState::appendable)
        m_tracks.record(m_capacity / 4, false);
    else if (state == OpticalState::closed)
        m_tracks.record(m_capacity, true);
    m_formatted = state != OpticalState::unformatted;
    if (m_formatted)
        m_background = BackgroundFormat(BackgroundFormat::Status::complete);
}

std::uint32_t OpticalDisc::capacityAs(const OpticalMediaType& type) const {
    return isInPackets(type) ? m_capacity / kLinkedPacketSectors * kPacketSectors : m_capacity;
}

bool OpticalDisc::isWritable() const {
    return !m_writeProtected && m_formatted && m_type->writing != OpticalWriting::none &&
           (!isSequential() || !m_tracks.isFinalized());
}

std::uint32_t OpticalDisc::readableSectors() const {
    return m_formatted ? m_tracks.recordedEnd() : 0;
}

std::uint32_t OpticalDisc::toldSectors() const {
    return m_strict && isSequential() ? m_tracks.closedEnd() : readableSectors();
}

OpticalRefusal OpticalDisc::checkRead(std::uint64_t lba, std::uint64_t count) const {
    if (!m_formatted)
        return kCannotReadMedium;
    const OpticalRefusal refusal = m_tracks.checkRead(lba, count);
    const bool isBlank =
        m_strict && m_type->writing == OpticalWriting::random && !m_writtenOnce.holds(lba, count);
    return refusal || !isBlank ? refusal : OpticalRefusal(kBlankCheck);
}

OpticalRefusal OpticalDisc::checkWrite(std::uint64_t lba, std::uint64_t count) const {
    if (m_type->writing == OpticalWriting::none)
        return kCannotWriteMedium;
    if (m_writeProtected)
        return kWriteProtected;
    if (!m_formatted)
        return kNotFormatted;
    if (isSequential())
        return m_tracks.checkWrite(lba, count);
    const std::uint64_t end = m_tracks.recordedEnd();
    if (lba > end || count > end - lba)
        return kBeyondEnd;
    const bool isWhole = lba % m_type->blocking == 0 && count % m_type->blocking == 0;
    std::uint64_t hit = 0;
    if ((m_type->needsWholeBlocks() && !isWhole) || m_writtenOnce.findFirst(lba, count, hit))
        return kInvalidWriteAddress;
    return std::nullopt;
}

SimOutcome OpticalDisc::read(std::uint64_t lba, std::uint32_t count, std::uint8_t* buffer) {
    std::uint64_t hit = 0;
    if (!m_spoilt.findFirst(lba, count, hit))
        return m_contents.read(lba, count, buffer);
    const SimOutcome before = m_contents.read(lba, static_cast<std::uint32_t>(hit - lba), buffer);
    return before.ok() ? SimOutcome{SimFault::unreadable, hit} : before;
}

SimOutcome OpticalDisc::verify(std::uint64_t lba, std::uint32_t count) {
    std::uint64_t hit = 0;
    return m_spoilt.findFirst(lba, count, hit) ? SimOutcome{SimFault::unreadable, hit}
                                               : m_contents.verify(lba, count);
}

SimOutcome OpticalDisc::write(std::uint64_t lba, std::uint32_t count, const std::uint8_t* buffer, bool test) {
    if (count == 0)
        return {};
    if (test && isSequential()) {
        if (!m_beforeTest)
            m_beforeTest = m_tracks;
        m_tracks.wrote(lba, count);
        return {};
    }
    const SimOutcome outcome = m_contents.write(lba, count, buffer);
    const auto done = outcome.ok() ? count : static_cast<std::uint32_t>(outcome.lba - lba);
    m_dirty = true;
    if (isSequential())
        m_tracks.wrote(lba, done);
    else if (m_type->writing == OpticalWriting::random && done != 0)
        m_writtenOnce.add({lba, lba + done - 1});
    return outcome;
}

void OpticalDisc::endTest() {
    if (m_beforeTest)
        m_tracks = *m_beforeTest;
    m_beforeTest.reset();
}

void OpticalDisc::spoil(std::uint64_t lba, std::uint32_t count) {
    if (isSequential() || m_type->writing == OpticalWriting::random)
        m_spoilt.add({lba, lba + count - 1});
}

void OpticalDisc::synchronize() {
    m_tracks.pad();
    m_dirty = false;
}

/// Whether tracks and sessions can be made and closed here.
OpticalRefusal OpticalDisc::checkRecording() const {
    if (!isSequential())
        return kCannotWriteMedium;
    return m_writeProtected ? OpticalRefusal(kWriteProtected) : std::nullopt;
}

OpticalRefusal OpticalDisc::reserve(std::uint32_t sectors) {
    const OpticalRefusal refusal = checkRecording();
    return refusal ? refusal : m_tracks.reserve(sectors);
}

OpticalRefusal OpticalDisc::closeTrack(std::uint32_t number) {
    const bool isTest = m_beforeTest.has_value();
    endTest();
    const OpticalRefusal refusal = checkRecording();
    synchronize();
    return refusal || isTest ? refusal : m_tracks.closeTrack(number);
}

OpticalRefusal OpticalDisc::closeSession(bool last) {
    const bool isTest = m_beforeTest.has_value();
    endTest();
    const OpticalRefusal refusal = checkRecording();
    synchronize();
    return refusal || isTest ? refusal : m_tracks.closeSession(last, m_strict);
}

OpticalRefusal OpticalDisc::blank(bool minimal) {
    if (!m_type->erasable || !(isSequential() || m_type->needsWholeBlocks()))
        return kCannotWriteMedium;
    if (m_writeProtected)
        return kWriteProtected;
    if (m_type->needsWholeBlocks())
        m_type = findOpticalMedia(m_type->isCd() ? "cdrw" : "dvdrw");
    m_tracks = OpticalTracks(*m_type, m_capacity);
    m_quicklyBlanked = m_strict && minimal;
    m_spoilt = {};
    m_beforeTest.reset();
    m_dirty = false;
    return std::nullopt;
}

OpticalRefusal OpticalDisc::format(const OpticalMediaType& type, std::uint32_t sectors) {
    if (m_writeProtected)
        return kWriteProtected;
    m_type = &type;
    m_tracks = isSequential() ? OpticalTracks(*m_type, m_capacity) : OpticalTracks::pressed(*m_type, sectors);
    m_writtenOnce = {};
    m_spoilt = {};
    m_background = BackgroundFormat(BackgroundFormat::Status::complete);
    m_beforeTest.reset();
    m_formatted = true;
    m_dirty = false;
    return std::nullopt;
}

}  // namespace libDrive2
