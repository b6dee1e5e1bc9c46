#include "AddressFindings.h"

#include <algorithm>
#include <map>
#include <numeric>

namespace libDriveTest {

namespace {

bool isLoss(const AddressFinding& finding) {
    return finding.state == AddressState::lost || finding.state == AddressState::garbage ||
           finding.state == AddressState::unstable;
}

bool isBad(const AddressFinding& finding) {
    return finding.state != AddressState::good && finding.state != AddressState::elsewhere;
}

/// The address whose stamp it shows; nothing where that is none.
std::optional<std::uint64_t> shown(const AddressFindings& findings, std::uint64_t lba) {
    const AddressFinding* const finding = findAddress(findings, lba);
    if (finding == nullptr || isBad(*finding))
        return std::nullopt;
    return finding->state == AddressState::good ? lba : finding->other;
}

}  // namespace

const AddressFinding* findAddress(const AddressFindings& findings, std::uint64_t lba) {
    const auto place = std::ranges::lower_bound(findings, lba, {}, &AddressFinding::lba);
    return place != findings.end() && place->lba == lba ? &*place : nullptr;
}

std::optional<Bracket> findLoss(const AddressFindings& findings) {
    std::size_t first = findings.size();
    bool isLost = false;
    for (; first > 0 && isBad(findings[first - 1]); --first)
        isLost = isLost || isLoss(findings[first - 1]);
    if (!isLost)
        return std::nullopt;
    Bracket found{std::nullopt, findings[first].lba};
    if (first > 0)
        found.below = findings[first - 1].lba;
    return found;
}

std::optional<Repeat> findRepeat(const AddressFindings& findings) {
    std::map<std::uint64_t, std::vector<std::uint64_t>> byStamp;
    for (const AddressFinding& finding : findings)
        if (const auto stamp = shown(findings, finding.lba))
            byStamp[*stamp].push_back(finding.lba);
    std::optional<Repeat> nearest;
    std::uint64_t period = 0;
    for (const auto& [stamp, same] : byStamp)
        for (std::size_t i = 1; i < same.size(); ++i) {
            const std::uint64_t distance = same[i] - same[i - 1];
            period = std::gcd(period, distance);
            if (!nearest || distance < nearest->high - nearest->low)
                nearest = Repeat{same[i - 1], same[i], 0};
        }
    if (nearest)
        nearest->period = period;
    return nearest;
}

bool areSame(const AddressFindings& findings, std::uint64_t low, std::uint64_t high) {
    const auto stamp = shown(findings, low);
    return stamp && stamp == shown(findings, high);
}

}  // namespace libDriveTest
