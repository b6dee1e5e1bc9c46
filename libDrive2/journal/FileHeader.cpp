#include "libDrive2/journal/FileHeader.h"

#include <algorithm>
#include <bit>
#include <string>
#include <string_view>

#include "libDrive2/journal/Mending.h"

namespace libDrive2::journal {

namespace {

constexpr std::uint64_t kFileMagic = 0x0A1A0D4F444E5589;  // a byte that is no text, "UNDO", ends of lines
constexpr std::size_t kVersionAt = 8;
constexpr std::size_t kMagicEnd = 12;
constexpr std::size_t kSamplesCountAt = 12;
constexpr std::size_t kSessionAt = 16;
constexpr std::size_t kCreatedAt = 32;
constexpr std::size_t kSlotBytesAt = 40;
constexpr std::size_t kVariableAt = 48;
constexpr std::size_t kFoldAt = kFileHeaderBytes - sizeof(std::uint64_t);
constexpr std::size_t kChecksumAt = kFoldAt - sizeof(Checksum);
constexpr std::size_t kSampleBytes = 20;
constexpr std::uint64_t kMostSampleBytes = 1 << 20;
/// What a device writes as a whole, and so what is blank as a whole where a write was cut off.
constexpr std::size_t kFirstPiece = 512;

bool isKnown(std::uint32_t version) {
    return version >= kOldestVersion && version <= kVersion;
}

/// The text with its length before it. False when it does not fit.
bool storeText(FileHeaderBytes bytes, std::size_t& at, std::string_view text) {
    if (at + 2 + text.size() > kChecksumAt)
        return false;
    storeLittleEndian(bytes, at, static_cast<std::uint16_t>(text.size()));
    std::copy(text.begin(), text.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at + 2));
    at += 2 + text.size();
    return true;
}

std::string loadText(Bytes bytes, std::size_t& at) {
    const Bytes text = slice(bytes.first(kChecksumAt), at + 2, loadLittleEndian<std::uint16_t>(bytes, at));
    at += 2 + text.size();
    return {text.begin(), text.end()};
}

bool storeSamples(FileHeaderBytes bytes, std::size_t& at, const std::vector<DriveSample>& samples) {
    if (at + samples.size() * kSampleBytes > kChecksumAt)
        return false;
    storeLittleEndian(bytes, kSamplesCountAt, static_cast<std::uint32_t>(samples.size()));
    for (const DriveSample& sample : samples) {
        storeLittleEndian(bytes, at, sample.lba);
        storeLittleEndian(bytes, at + 8, sample.count);
        storeLittleEndian(bytes, at + 12, sample.sum);
        at += kSampleBytes;
    }
    return true;
}

/// False when they are nonsense.
bool loadSamples(Bytes bytes, std::size_t& at, JournalHeader& header) {
    const auto count = loadLittleEndian<std::uint32_t>(bytes, kSamplesCountAt);
    const DriveIdentity& drive = header.drive;
    std::uint64_t end = 0;
    for (std::uint32_t i = 0; i < count && i <= DriveFingerprint::kMostSamples; ++i, at += kSampleBytes) {
        const DriveSample sample{loadLittleEndian<std::uint64_t>(bytes, at),
                                 loadLittleEndian<std::uint32_t>(bytes, at + 8),
                                 loadLittleEndian<std::uint64_t>(bytes, at + 12)};
        if (sample.count == 0 || sample.lba < end || sample.lba > drive.sectors ||
            sample.count > drive.sectors - sample.lba ||
            std::uint64_t{sample.count} * drive.sectorBytes >
                std::max<std::uint64_t>(kMostSampleBytes, drive.sectorBytes))
            return false;
        end = sample.lba + sample.count;
        header.fingerprint.samples.push_back(sample);
    }
    return count <= DriveFingerprint::kMostSamples;
}

bool isSealed(Bytes bytes) {
    const Checksum sum = checksumOf(bytes.first(kChecksumAt));
    return loadLittleEndian<std::uint64_t>(bytes, 0) == kFileMagic &&
           isKnown(loadLittleEndian<std::uint32_t>(bytes, kVersionAt)) &&
           (loadLittleEndian<std::uint64_t>(bytes, kChecksumAt) == sum.low ||
            loadLittleEndian<std::uint64_t>(bytes, kChecksumAt + 8) == sum.high);
}

std::optional<JournalHeader> fieldsOf(Bytes bytes) {
    JournalHeader header;
    std::copy_n(bytes.begin() + kSessionAt, header.session.size(), header.session.begin());
    header.createdUnixMicros = loadLittleEndian<std::uint64_t>(bytes, kCreatedAt);
    header.slotBytes = loadLittleEndian<std::uint64_t>(bytes, kSlotBytesAt);
    std::size_t at = kVariableAt;
    if (!DriveIdentity::fromText(loadText(bytes, at), header.drive) || !loadSamples(bytes, at, header))
        return std::nullopt;
    header.locator = loadText(bytes, at);
    if (header.slotBytes == 0 || header.slotBytes > kMostSlotBytes)
        return std::nullopt;
    return header;
}

}  // namespace

bool encode(const JournalHeader& header, FileHeaderBytes bytes) {
    std::fill(bytes.begin(), bytes.end(), std::uint8_t{0});
    storeLittleEndian(bytes, 0, kFileMagic);
    storeLittleEndian(bytes, kVersionAt, kVersion);
    std::copy(header.session.begin(), header.session.end(), bytes.begin() + kSessionAt);
    storeLittleEndian(bytes, kCreatedAt, header.createdUnixMicros);
    storeLittleEndian(bytes, kSlotBytesAt, header.slotBytes);
    std::size_t at = kVariableAt;
    if (header.fingerprint.samples.size() > DriveFingerprint::kMostSamples ||
        !storeText(bytes, at, header.drive.toText()) ||
        !storeSamples(bytes, at, header.fingerprint.samples) ||
        !storeText(bytes, at, header.locator.utf8().substr(0, kChecksumAt - std::min(kChecksumAt, at + 2))))
        return false;
    const Checksum sum = checksumOf(bytes.first(kChecksumAt));
    storeLittleEndian(bytes, kChecksumAt, sum.low);
    storeLittleEndian(bytes, kChecksumAt + 8, sum.high);
    storeLittleEndian(bytes, kFoldAt, foldOf(bytes.first(kChecksumAt)));
    return true;
}

std::optional<JournalHeader> decodeFile(Bytes bytes) {
    if (bytes.size() != kFileHeaderBytes)
        return std::nullopt;
    if (isSealed(bytes))
        return fieldsOf(bytes);
    std::vector<std::uint8_t> mended(bytes.begin(), bytes.end());
    const auto fold = loadLittleEndian<std::uint64_t>(bytes, kFoldAt);
    if (!mendFolded(std::span(mended).first(kChecksumAt), fold, [&] { return isSealed(mended); }))
        return std::nullopt;
    return fieldsOf(mended);
}

FileBeginning beginningOf(Bytes bytes) {
    if (isBlank(slice(bytes, 0, kFirstPiece)))
        return FileBeginning::blank;
    const int wrongBits = std::popcount(loadLittleEndian<std::uint64_t>(bytes, 0) ^ kFileMagic);
    const auto version = loadLittleEndian<std::uint32_t>(bytes, kVersionAt);
    if (wrongBits <= 1 && version != 0)
        return isKnown(version) ? FileBeginning::cutOff : FileBeginning::otherVersion;
    // Cut off within the magic or right behind it.
    std::uint8_t magic[8] = {};
    storeLittleEndian(magic, 0, kFileMagic);
    std::size_t same = 0;
    while (same < sizeof magic && byteAt(bytes, same) == magic[same])
        ++same;
    const bool isPrefix = same > 0 && isBlank(slice(bytes, same, kMagicEnd - same));
    return wrongBits <= 1 || isPrefix ? FileBeginning::cutOff : FileBeginning::other;
}

}  // namespace libDrive2::journal
