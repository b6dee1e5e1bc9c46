#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace libDriveTest {

/// What a sector was found to hold after all were stamped.
enum class AddressState : std::uint8_t {
    good,       ///< its own stamp
    elsewhere,  ///< the stamp of another address
    lost,       ///< what it held before
    garbage,    ///< anything else
    unstable,   ///< something else at each read, already before it was stamped; it was not
    unreadable,
    unwritable,
};

struct AddressFinding {
    std::uint64_t lba = 0;
    AddressState state = AddressState::good;
    std::uint64_t other = 0;  ///< whose stamp it holds
};
/// By address, rising.
using AddressFindings = std::vector<AddressFinding>;

const AddressFinding* findAddress(const AddressFindings& findings, std::uint64_t lba);

/// Two addresses between which the answer changes: `below` has not what `above` has.
struct Bracket {
    std::optional<std::uint64_t> below{};  ///< nothing: even the first address has it
    std::uint64_t above = 0;
};

/// Where, to the end of the drive, what is written is lost. Nothing where the end holds its stamps, or only
/// cannot be read or written.
std::optional<Bracket> findLoss(const AddressFindings& findings);

/// Addresses of the same sector.
struct Repeat {
    std::uint64_t low = 0;
    std::uint64_t high = 0;
    std::uint64_t period = 0;  ///< what the distances of all such addresses have in common
};
/// The two that are nearest to each other.
std::optional<Repeat> findRepeat(const AddressFindings& findings);

/// Whether both addresses show the same stamp.
bool areSame(const AddressFindings& findings, std::uint64_t low, std::uint64_t high);

}  // namespace libDriveTest
