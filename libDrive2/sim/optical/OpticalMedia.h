#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace libDrive2 {

/// How a medium takes data.
enum class OpticalWriting : std::uint8_t {
    none,        ///< pressed
    sequential,  ///< in tracks, at the next writable address only
    overwrite,   ///< anywhere, again and again, once it is formatted
    random,      ///< anywhere, but every sector once
};

enum class OpticalContent : std::uint8_t { data, audio, mixed };

/// The state that a medium is made in.
enum class OpticalState : std::uint8_t {
    usual,  ///< pressed: closed; sequential: blank; others: formatted
    blank,
    appendable,
    closed,
    unformatted,
};

/// What is known of one kind of medium.
struct OpticalMediaType {
    std::string_view name;  ///< in locators
    std::uint16_t profile;  ///< MMC-6, Profile List feature
    OpticalWriting writing;
    bool erasable;
    std::uint32_t sectors;
    std::uint32_t blocking;      ///< sectors of one error correction block, which are written together
    std::uint16_t readMultiple;  ///< of the 1x speed
    std::array<std::uint8_t, 4> writeMultiples;  ///< fastest first; 0 for none
    OpticalContent content = OpticalContent::data;

    [[nodiscard]] bool isCd() const { return profile < 0x10; }
    [[nodiscard]] bool isDvdMinus() const { return profile >= 0x11 && profile <= 0x17 && profile != 0x12; }
    [[nodiscard]] bool isDvdPlus() const { return profile >= 0x1A && profile <= 0x2B; }
    [[nodiscard]] bool isBd() const { return profile >= 0x40 && profile < 0x50; }
    /// Restricted overwrite: only whole blocks, from block boundaries on.
    [[nodiscard]] bool needsWholeBlocks() const {
        return profile == 0x13 || (isCd() && writing == OpticalWriting::overwrite);
    }
    /// Layer jump recording: in turns on two layers.
    [[nodiscard]] bool jumpsLayers() const { return profile == 0x16; }
    /// KB/s of a multiple of 1x; 1 KB = 1000 bytes.
    [[nodiscard]] std::uint32_t speedOf(std::uint32_t multiple) const;
    /// What a sector takes up at those speeds: CDs count all 2352 bytes of a frame.
    [[nodiscard]] std::uint32_t bytesPerSector() const { return isCd() ? 2352 : 2048; }
    [[nodiscard]] bool canBeMade(OpticalState state) const;
};

inline constexpr std::uint32_t kOpticalSectorBytes = 2048;
inline constexpr std::uint16_t kNoProfile = 0;

std::span<const OpticalMediaType> opticalMediaTypes();
/// Null for a name that no medium has.
const OpticalMediaType* findOpticalMedia(std::string_view name);

}  // namespace libDrive2
