#include "libDrive2/sim/optical/OpticalWriteParameters.h"

#include "libDrive2/sim/SimBytes.h"

namespace libDrive2 {

namespace {

using enum OpticalWriteType;

constexpr std::uint8_t kUninterruptedTrack = 4;
constexpr std::uint8_t kIncrementalTrack = 5;
constexpr std::uint8_t kMode1 = 8;
constexpr std::uint8_t kMode2Form1 = 10;
constexpr std::uint8_t kNoMoreSessions = 0;
constexpr std::uint8_t kReservedMultiSession = 2;
constexpr std::uint8_t kMoreSessions = 3;
constexpr std::uint8_t kCdLinkSectors = 7;
constexpr std::uint32_t kCdPacketSectors = 32;
constexpr std::uint32_t kDvdBlockSectors = 16;

}  // namespace

OpticalWriteParameters::OpticalWriteParameters(std::span<const std::uint8_t> page)
    : type(static_cast<OpticalWriteType>(page[2] & 0x0F)),
      test((page[2] & 0x10) != 0),
      linkSizeGiven((page[2] & 0x20) != 0),
      fixedPackets((page[3] & 0x20) != 0),
      multiSession(static_cast<std::uint8_t>(page[3] >> 6)),
      trackMode(page[3] & 0x0F),
      blockType(page[4] & 0x0F),
      linkSize(page[5]),
      packetSectors(static_cast<std::uint32_t>(getBigEndian(&page[10], 4))) {}

bool OpticalWriteParameters::areLegalForCd(bool inFixedPackets, bool rewritable) const {
    const bool inPackets = type == incremental;
    // Of a CD-RW as it is: drives do not ask what formatting or blanking would make of it.
    const bool asked = inPackets && fixedPackets;
    const bool packetsFit = rewritable
                                ? asked == inFixedPackets && (!asked || packetSectors == kCdPacketSectors)
                                : !asked || packetSectors != 0;
    const bool linksFit = !linkSizeGiven || (inPackets && linkSize == kCdLinkSectors);
    return trackMode == (inPackets ? kIncrementalTrack : kUninterruptedTrack) && packetsFit && linksFit &&
           (blockType == kMode1 || blockType == kMode2Form1) && multiSession != kReservedMultiSession;
}

bool OpticalWriteParameters::areLegalForDvd(bool jumpsLayers) const {
    const bool atOnce = type == sessionAtOnce;
    const bool typeFits = type == incremental || atOnce || (type == layerJump && jumpsLayers);
    const bool trackFits = trackMode == kIncrementalTrack || (atOnce && trackMode == kUninterruptedTrack);
    const bool linksFit = !linkSizeGiven || (!atOnce && linkSize == kDvdBlockSectors);
    // A disc that is recorded at once is closed by it.
    const bool sessionsFit = multiSession == kNoMoreSessions || (!atOnce && multiSession == kMoreSessions);
    return typeFits && trackFits && linksFit && sessionsFit && blockType == kMode1 &&
           (!fixedPackets || packetSectors == kDvdBlockSectors);
}

bool OpticalWriteParameters::areLegal(const OpticalMediaType& medium) const {
    if (medium.writing == OpticalWriting::none)
        return true;
    if (medium.isCd())
        return areLegalForCd(medium.needsWholeBlocks(), medium.erasable);
    return !medium.isDvdMinus() || areLegalForDvd(medium.jumpsLayers());
}

bool OpticalWriteParameters::suit(const OpticalMediaType& medium) const {
    if (medium.needsWholeBlocks())
        return type == incremental && fixedPackets && packetSectors == medium.blocking;
    return !medium.jumpsLayers() || type == layerJump;
}

}  // namespace libDrive2
