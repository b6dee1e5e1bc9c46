#include "libDrive2/sim/optical/OpticalModePages.h"

#include <algorithm>
#include <limits>

#include "libDrive2/sim/SimBytes.h"
#include "libDrive2/sim/optical/OpticalTray.h"

namespace libDrive2 {

namespace {

constexpr std::uint8_t kErrorRecovery = 0x01;
constexpr std::uint8_t kWriteParameters = 0x05;
constexpr std::uint8_t kCapabilities = 0x2A;
constexpr std::uint8_t kAllPages = 0x3F;
constexpr std::uint8_t kChangeableValues = 1;
constexpr std::uint8_t kDefaultValues = 2;

constexpr SimSense kParameterListLength{0x5, 0x1A, 0x00};

constexpr std::array<std::uint8_t, 12> kDefaultErrorPage{kErrorRecovery, 10, 0x00, 16};

template <class Values>
void append(OpticalModePages::Page& pages, const Values& values) {
    pages.insert(pages.end(), values.begin(), values.end());
}

}  // namespace

OpticalModePages::OpticalModePages(bool strict)
    : m_strict(strict), m_write(defaultWritePage(nullptr)), m_error(kDefaultErrorPage) {}

void OpticalModePages::setMedium(const OpticalMediaType* type, bool isAnother) {
    m_type = type;
    if (isAnother)
        m_write = defaultWritePage(type);
}

OpticalModePages::WritePage OpticalModePages::defaultWritePage(const OpticalMediaType* type) {
    constexpr std::uint8_t kMode1 = 8;
    constexpr std::uint8_t kDataTrack = 4;
    constexpr std::uint8_t kIncrementalTrack = 5;
    const bool isCd = type != nullptr && type->isCd();
    const bool isJumping = type != nullptr && type->jumpsLayers();
    WritePage page{kWriteParameters, 50};
    page[2] = static_cast<std::uint8_t>(isCd        ? WriteType::trackAtOnce
                                        : isJumping ? WriteType::layerJump
                                                    : WriteType::incremental);
    page[3] = isCd ? kDataTrack : kIncrementalTrack;
    page[4] = kMode1;
    putBigEndian(&page[10], 4, type != nullptr ? type->blocking : 16);
    putBigEndian(&page[14], 2, 150);  // audio pause, in frames
    return page;
}

OpticalModePages::Page OpticalModePages::sense(std::uint8_t code, std::uint8_t control,
                                               const OpticalSpeeds& speeds, const OpticalTray& tray) const {
    const auto isAsked = [code](std::uint8_t page) { return code == page || code == kAllPages; };
    Page pages;
    if (isAsked(kErrorRecovery))
        append(pages, control == kDefaultValues ? kDefaultErrorPage : m_error);
    if (isAsked(kWriteParameters))
        append(pages, control == kDefaultValues ? defaultWritePage(m_type) : m_write);
    if (isAsked(kCapabilities))
        append(pages, capabilities(speeds, tray));
    if (control != kChangeableValues)
        return pages;
    for (std::size_t at = 0; at < pages.size(); at += pages[at + 1] + std::size_t{2}) {
        const std::uint8_t bits = pages[at] == kCapabilities ? 0x00 : 0xFF;
        std::fill_n(pages.begin() + static_cast<std::ptrdiff_t>(at) + 2, pages[at + 1], bits);
    }
    return pages;
}

/// MMC-3 has the fields of this page, which later standards keep for old hosts.
OpticalModePages::Page OpticalModePages::capabilities(const OpticalSpeeds& speeds, const OpticalTray& tray) {
    constexpr std::size_t kFixedBytes = 32;
    constexpr std::uint8_t kTrayLoader = 0x20;
    static constexpr std::uint32_t kMaxSpeed = std::numeric_limits<std::uint16_t>::max();
    constexpr std::uint16_t kBufferKilobytes = 2048;
    const auto put = [](std::uint8_t* at, std::uint32_t speed) {
        putBigEndian(at, 2, std::min(speed, kMaxSpeed));
    };
    const auto fastest = [](const std::vector<std::uint32_t>& list) { return list.empty() ? 0 : list[0]; };
    const std::vector<std::uint32_t>& writeSpeeds = speeds.writeSpeeds();
    Page page(kFixedBytes + 4 * writeSpeeds.size());
    page[0] = kCapabilities;
    page[1] = static_cast<std::uint8_t>(page.size() - 2);
    page[2] = 0x3B;  // reads DVD-RAM, DVD-R, DVD-ROM, CD-RW, CD-R
    page[3] = 0x37;  // writes DVD-RAM, DVD-R, CD-RW, CD-R; test write
    page[4] = 0xC0;  // buffer underrun free recording, several sessions
    page[6] = static_cast<std::uint8_t>((tray.hasTray() ? kTrayLoader : 0) | 0x09 |
                                        (tray.isPrevented() ? 0x02 : 0));  // ejects; can be locked, is locked
    put(&page[8], fastest(speeds.readSpeeds()));
    putBigEndian(&page[12], 2, kBufferKilobytes);
    put(&page[14], speeds.read());
    put(&page[18], fastest(writeSpeeds));
    put(&page[20], speeds.write());
    put(&page[28], speeds.write());
    putBigEndian(&page[30], 2, writeSpeeds.size());
    for (std::size_t i = 0; i < writeSpeeds.size(); ++i)
        put(&page[kFixedBytes + 4 * i + 2], writeSpeeds[i]);
    return page;
}

/// Whether the medium can be recorded that way.
bool OpticalModePages::isWritePage(std::span<const std::uint8_t> page) const {
    constexpr std::uint8_t kMode1 = 8;
    constexpr std::uint8_t kMode2Form1 = 10;
    const OpticalWriteParameters asked(page);
    if (m_strict && m_type != nullptr && !asked.areLegal(*m_type))
        return false;
    if (m_type == nullptr || m_type->writing == OpticalWriting::none)
        return asked.type <= WriteType::sessionAtOnce;
    if (m_type->isCd())
        return asked.type <= WriteType::sessionAtOnce &&
               (asked.blockType == kMode1 || asked.blockType == kMode2Form1);
    if (m_type->isDvdMinus())
        return asked.type == WriteType::incremental || asked.type == WriteType::sessionAtOnce ||
               (asked.type == WriteType::layerJump && m_type->jumpsLayers());
    return !asked.test;
}

OpticalRefusal OpticalModePages::select(std::span<const std::uint8_t> pages) {
    OpticalModePages wanted = *this;
    while (!pages.empty()) {
        const std::size_t bytes = pages.size() < 2 ? 0 : pages[1] + std::size_t{2};
        if (bytes == 0 || bytes > pages.size())
            return kParameterListLength;
        const std::span<const std::uint8_t> page = pages.first(bytes);
        if (page[0] == kErrorRecovery && bytes == m_error.size())
            std::ranges::copy(page, wanted.m_error.begin());
        else if (page[0] == kWriteParameters && bytes == m_write.size() && isWritePage(page))
            std::ranges::copy(page, wanted.m_write.begin());
        else
            return kInvalidParameter;
        pages = pages.subspan(bytes);
    }
    *this = wanted;
    return std::nullopt;
}

}  // namespace libDrive2
