#include "AddressChoice.h"

#include <algorithm>
#include <bit>
#include <random>
#include <set>

namespace libDriveTest {

namespace {

constexpr std::uint64_t kAtEachEnd = 8;
/// Sizes in bytes at which controllers, bridges and systems have had their limits.
constexpr unsigned kByteLimits[] = {31, 32, 33, 35, 37, 39, 41, 42, 43, 44};

class Choice {
public:
    explicit Choice(std::uint64_t sectors) : m_sectors(sectors) {}

    void add(std::uint64_t lba) {
        if (lba < m_sectors)
            m_lbas.insert(lba);
    }
    void addBorder(std::uint64_t lba) {
        add(lba - 1);
        add(lba);
        add(lba + 1);
    }
    [[nodiscard]] std::size_t size() const { return m_lbas.size(); }
    [[nodiscard]] std::vector<std::uint64_t> list() const { return {m_lbas.begin(), m_lbas.end()}; }

private:
    std::uint64_t m_sectors;
    std::set<std::uint64_t> m_lbas;
};

void addBorders(Choice& choice, std::uint64_t sectors, std::uint32_t sectorBytes) {
    for (std::uint64_t i = 0; i < kAtEachEnd; ++i) {
        choice.add(i);
        choice.add(sectors - 1 - i);
    }
    for (unsigned bit = 1; bit < 64; ++bit)
        choice.addBorder(std::uint64_t{1} << bit);
    for (const unsigned bit : kByteLimits)
        choice.addBorder((std::uint64_t{1} << bit) / sectorBytes);
    for (std::uint64_t quarter = 1; quarter < 4; ++quarter)
        choice.addBorder(sectors / 4 * quarter);
}

void addRows(Choice& choice, std::uint64_t sectors, std::uint64_t length) {
    const std::uint64_t unit = std::bit_ceil((sectors + length * length - 1) / (length * length));
    for (std::uint64_t i = 0; i < length; ++i)
        choice.add(i * unit);
    for (std::uint64_t lba = length * unit; lba < sectors; lba += length * unit)
        choice.add(lba);
    choice.add((sectors - 1) / unit * unit);
}

}  // namespace

std::vector<std::uint64_t> chooseAddresses(std::uint64_t sectors, std::uint32_t sectorBytes,
                                           std::uint32_t most, std::uint64_t seed) {
    Choice choice(sectors);
    addBorders(choice, sectors, sectorBytes);
    addRows(choice, sectors, std::uint64_t{most} / 8 * 3);
    std::mt19937_64 generator(seed);
    std::uniform_int_distribution<std::uint64_t> anywhere(0, sectors - 1);
    for (const std::uint64_t wanted = std::min<std::uint64_t>(most, sectors); choice.size() < wanted;)
        choice.add(anywhere(generator));
    return choice.list();
}

}  // namespace libDriveTest
