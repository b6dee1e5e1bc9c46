#include "libDrive2/AddressStamp.h"

#include <algorithm>
#include <array>
#include <random>

#include "libDrive2/journal/Checksum.h"

namespace libDrive2 {

namespace {

// A unit: magic, run, address, and the checksum of these and of the unit's number.
constexpr std::uint64_t kMagic = 0x504D4154534A4289;
constexpr std::size_t kRunAt = 8;
constexpr std::size_t kLbaAt = 16;
constexpr std::size_t kSumAt = 24;

using Unit = std::array<std::uint8_t, AddressStamp::kUnitBytes>;

Unit unitOf(const AddressStamp::Mark& mark, std::size_t number) {
    Unit unit{};
    storeLittleEndian(unit, 0, kMagic);
    storeLittleEndian(unit, kRunAt, mark.run);
    storeLittleEndian(unit, kLbaAt, mark.lba);
    // In the place of the checksum while that is made.
    storeLittleEndian(unit, kSumAt, std::uint64_t{number});
    storeLittleEndian(unit, kSumAt, shortChecksumOf(unit));
    return unit;
}

}  // namespace

AddressStamp::AddressStamp() : m_run(0) {
    std::random_device random;
    m_run = std::uint64_t{random()} << 32 | random();
}

void AddressStamp::fill(std::uint64_t lba, std::span<std::uint8_t> sector) const {
    for (std::size_t at = 0; at < sector.size(); at += kUnitBytes) {
        const Unit unit = unitOf({m_run, lba}, at / kUnitBytes);
        std::copy_n(unit.begin(), std::min(kUnitBytes, sector.size() - at), sector.data() + at);
    }
}

bool AddressStamp::isAt(std::uint64_t lba, std::span<const std::uint8_t> sector) const {
    for (std::size_t at = 0; at < sector.size(); at += kUnitBytes) {
        const Unit unit = unitOf({m_run, lba}, at / kUnitBytes);
        if (!std::equal(sector.data() + at, sector.data() + std::min(at + kUnitBytes, sector.size()),
                        unit.begin()))
            return false;
    }
    return true;
}

std::optional<AddressStamp::Mark> AddressStamp::readUnit(std::span<const std::uint8_t> sector,
                                                         std::size_t unit) {
    const Bytes bytes = slice(sector, unit * kUnitBytes, kUnitBytes);
    if (bytes.size() != kUnitBytes || loadLittleEndian<std::uint64_t>(bytes, 0) != kMagic)
        return std::nullopt;
    const Mark mark{loadLittleEndian<std::uint64_t>(bytes, kRunAt),
                    loadLittleEndian<std::uint64_t>(bytes, kLbaAt)};
    return std::ranges::equal(unitOf(mark, unit), bytes) ? std::optional(mark) : std::nullopt;
}

std::optional<AddressStamp::Mark> AddressStamp::read(std::span<const std::uint8_t> sector) {
    const auto mark = readUnit(sector, 0);
    return mark && AddressStamp(mark->run).isAt(mark->lba, sector) ? mark : std::nullopt;
}

}  // namespace libDrive2
