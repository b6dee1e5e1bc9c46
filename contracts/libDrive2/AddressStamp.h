#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "zel/Export.h"

namespace libDrive2 {

/// Contents for sectors that tell where they were written, and by which run. A stamp fills its sector with
/// units of 32 bytes; each says all by itself and has its checksum, so that pieces are recognised, too. Among
/// what a journal is told by expectWrites(), one stamp stands for those of its run at every address.
class DRIVETEST_API AddressStamp {
public:
    static constexpr std::size_t kUnitBytes = 32;

    /// What a stamp says.
    struct Mark {
        std::uint64_t run = 0;
        std::uint64_t lba = 0;

        bool operator==(const Mark&) const = default;
    };

    /// Of a new run, by a random number.
    AddressStamp();
    explicit AddressStamp(std::uint64_t run) : m_run(run) {}

    [[nodiscard]] std::uint64_t run() const { return m_run; }
    void fill(std::uint64_t lba, std::span<std::uint8_t> sector) const;
    /// Whether it is the stamp of this run for that address.
    [[nodiscard]] bool isAt(std::uint64_t lba, std::span<const std::uint8_t> sector) const;

    /// Of a whole stamp, of any run; nothing for anything else.
    static std::optional<Mark> read(std::span<const std::uint8_t> sector);
    /// Of the unit with that number alone.
    static std::optional<Mark> readUnit(std::span<const std::uint8_t> sector, std::size_t unit);

private:
    std::uint64_t m_run;
};

}  // namespace libDrive2
