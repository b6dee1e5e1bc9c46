#pragma once

#include <cstdint>
#include <vector>

#include "libDrive2/sim/optical/OpticalMedia.h"
#include "zel/Clock.h"

namespace libDrive2 {

/// The speeds that a drive has for the medium in it, in KB/s (1 KB = 1000 bytes), and what transfers take at
/// those that are chosen. Speeds are the same all over the medium.
class OpticalSpeeds {
public:
    /// Nothing is faster than the limit; 0 for none.
    explicit OpticalSpeeds(std::uint32_t limit) : m_limit(limit) {}

    /// Another medium: the fastest speeds are chosen. Null for no medium.
    void setMedium(const OpticalMediaType* type);
    /// Fastest first; empty without a medium, and for one that cannot be written.
    [[nodiscard]] const std::vector<std::uint32_t>& readSpeeds() const { return m_readSpeeds; }
    [[nodiscard]] const std::vector<std::uint32_t>& writeSpeeds() const { return m_writeSpeeds; }

    /// Chooses the fastest speed that is not faster than asked for, or else the slowest.
    void chooseRead(std::uint32_t speed) { m_read = choose(m_readSpeeds, speed); }
    void chooseWrite(std::uint32_t speed) { m_write = choose(m_writeSpeeds, speed); }
    /// 0 when there is nothing to choose from.
    [[nodiscard]] std::uint32_t read() const { return m_read; }
    [[nodiscard]] std::uint32_t write() const { return m_write; }

    [[nodiscard]] zel::Clock::Duration timeToRead(std::uint64_t sectors) const {
        return time(sectors, m_read);
    }
    [[nodiscard]] zel::Clock::Duration timeToWrite(std::uint64_t sectors) const {
        return time(sectors, m_write);
    }

private:
    [[nodiscard]] zel::Clock::Duration time(std::uint64_t sectors, std::uint32_t speed) const;
    static std::uint32_t choose(const std::vector<std::uint32_t>& speeds, std::uint32_t speed);
    void add(std::vector<std::uint32_t>& speeds, std::uint32_t speed) const;

    std::uint32_t m_limit;
    std::uint32_t m_bytesPerSector = kOpticalSectorBytes;
    std::vector<std::uint32_t> m_readSpeeds;
    std::vector<std::uint32_t> m_writeSpeeds;
    std::uint32_t m_read = 0;
    std::uint32_t m_write = 0;
};

}  // namespace libDrive2
