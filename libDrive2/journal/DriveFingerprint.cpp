#include "libDrive2/DriveFingerprint.h"

#include <algorithm>
#include <set>
#include <span>

#include "libDrive2/journal/Checksum.h"
#include "zel/Buffer.h"

namespace libDrive2 {

namespace {

constexpr std::uint32_t kPieceBytes = 4096;
constexpr std::uint64_t kAtEachEnd = 64;  ///< pieces
constexpr std::uint64_t kBetween = 100;
constexpr std::size_t kMostAtOnce = 64;
static_assert(2 * kAtEachEnd + kBetween <= DriveFingerprint::kMostSamples);

/// Places without sums: all of a small drive, else both ends and some in between.
std::vector<DriveSample> placesOn(const BlockDeviceInfo& drive) {
    const std::uint64_t sectors = drive.bytes / drive.logicalSectorBytes;
    const std::uint32_t pieceSectors = std::max(1U, kPieceBytes / drive.logicalSectorBytes);
    const std::uint64_t pieces = (sectors + pieceSectors - 1) / pieceSectors;
    std::set<std::uint64_t> chosen;
    for (std::uint64_t i = 0; i < std::min(kAtEachEnd, pieces); ++i) {
        chosen.insert(i);
        chosen.insert(pieces - 1 - i);
    }
    const std::uint64_t inner = pieces - std::min(pieces, 2 * kAtEachEnd);
    for (std::uint64_t i = 0; i < std::min(kBetween, inner); ++i)
        // In this order the product of a huge drive does not overflow.
        chosen.insert(kAtEachEnd + inner / kBetween * i + inner % kBetween * i / kBetween);
    std::vector<DriveSample> places;
    for (const std::uint64_t piece : chosen) {
        const std::uint64_t lba = piece * pieceSectors;
        const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(pieceSectors, sectors - lba));
        places.push_back({lba, count, 0});
    }
    return places;
}

/// Reads samples and calls `take(sample, sum)` for those that can be read.
class SampleReader {
public:
    explicit SampleReader(BlockHandle& drive) : m_drive(drive), m_bytes(drive.info().logicalSectorBytes) {}

    template <class Take>
    void read(const std::vector<DriveSample>& samples, Take take) {
        for (std::size_t first = 0; first < samples.size();) {
            std::size_t end = first + 1;
            while (end < samples.size() && end - first < kMostAtOnce &&
                   samples[end].lba == samples[end - 1].lba + samples[end - 1].count)
                ++end;
            readNeighbours({samples.data() + first, end - first}, take);
            first = end;
        }
    }

private:
    using Samples = std::span<const DriveSample>;

    [[nodiscard]] std::size_t bytesOf(const DriveSample& sample) const { return sample.count * m_bytes; }

    template <class Take>
    void readNeighbours(Samples samples, Take take) {
        if (!fetch(samples)) {
            for (std::size_t i = 0; i < samples.size() && samples.size() > 1; ++i)
                readNeighbours(samples.subspan(i, 1), take);
            return;
        }
        std::size_t at = 0;
        for (const DriveSample& sample : samples) {
            take(sample, shortChecksumOf({m_buffer.data() + at, bytesOf(sample)}));
            at += bytesOf(sample);
        }
    }
    bool fetch(Samples samples) {
        std::size_t bytes = 0;
        for (const DriveSample& sample : samples)
            bytes += bytesOf(sample);
        if (bytes > m_buffer.size())
            m_buffer = zel::Buffer(bytes);
        return m_drive.read(samples.front().lba * m_bytes, m_buffer.data(), bytes).ok();
    }

    BlockHandle& m_drive;
    std::size_t m_bytes;
    zel::Buffer m_buffer;
};

bool touches(const DriveSample& sample, const SectorSpan& span) {
    return sample.lba < span.lba + span.count && span.lba < sample.lba + sample.count;
}

bool liesOn(const DriveSample& sample, const BlockDeviceInfo& drive) {
    const std::uint64_t sectors = drive.bytes / drive.logicalSectorBytes;
    return sample.count <= sectors && sample.lba <= sectors - sample.count;
}

/// Whether a sample, with the sum of what it holds now, tells of somebody else.
bool isChange(BlockHandle& drive, const DriveSample& sample, const SectorExcuse& isExcused) {
    const std::size_t sectorBytes = drive.info().logicalSectorBytes;
    zel::Buffer now(sample.count * sectorBytes);
    if (!drive.read(sample.lba * sectorBytes, now.data(), now.size()).ok())
        return true;
    // A sector that is not there at all may hold anything.
    if (shortChecksumOf({now.data(), now.size()}) != sample.sum)
        return false;
    for (std::size_t at = 0; isExcused && at < now.size(); at += sectorBytes)
        if (isExcused({now.data() + at, sectorBytes}))
            return false;
    return true;
}

}  // namespace

DriveFingerprint takeFingerprint(BlockHandle& drive) {
    DriveFingerprint taken;
    if (drive.info().logicalSectorBytes == 0 || drive.info().bytes < drive.info().logicalSectorBytes)
        return taken;
    SampleReader(drive).read(placesOn(drive.info()), [&taken](const DriveSample& place, std::uint64_t sum) {
        taken.samples.push_back({place.lba, place.count, sum});
    });
    return taken;
}

FingerprintFinding compareFingerprint(BlockHandle& drive, const DriveFingerprint& before,
                                      const std::vector<SectorSpan>& except, const SectorExcuse& isExcused) {
    FingerprintFinding finding;
    if (drive.info().logicalSectorBytes == 0)
        return finding;
    std::vector<DriveSample> wanted;
    for (const DriveSample& sample : before.samples)
        if (liesOn(sample, drive.info()) &&
            std::none_of(except.begin(), except.end(),
                         [&sample](const SectorSpan& span) { return touches(sample, span); }))
            wanted.push_back(sample);
    std::vector<DriveSample> changed;
    SampleReader(drive).read(wanted, [&](const DriveSample& sample, std::uint64_t sum) {
        ++finding.compared;
        if (sum != sample.sum)
            changed.push_back({sample.lba, sample.count, sum});
    });
    for (const DriveSample& sample : changed) {
        const bool counts = isChange(drive, sample, isExcused);
        finding.compared -= counts ? 0U : 1U;
        if (counts && finding.changed++ == 0)
            finding.firstChanged = sample.lba;
    }
    return finding;
}

}  // namespace libDrive2
