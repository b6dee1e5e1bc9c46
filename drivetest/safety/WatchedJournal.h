#pragma once

#include <array>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "libDrive2/DriveTypes.h"
#include "libDrive2/SectorJournal.h"
#include "zel/Buffer.h"

namespace drivetest {

/// Stands between a drive and its journal: knows which sectors a test has overwritten and not put back, and
/// what went wrong. Without a journal behind it, it keeps the data of these sectors in memory, as long as the
/// program runs.
class WatchedJournal : public libDrive2::SectorJournal {
public:
    /// `inner` may be null; it must outlive this.
    explicit WatchedJournal(libDrive2::SectorJournal* inner) : m_inner(inner) {}

    struct Range {
        std::uint64_t lba;
        std::uint32_t count;

        bool operator==(const Range&) const = default;
    };
    /// The sectors that the test owes the drive.
    [[nodiscard]] const std::vector<Range>& unrestored() const { return m_unrestored; }
    /// What is left of these after an attempt to put them back, each within what was owed before.
    void narrowUnrestored(const std::vector<libDrive2::SectorSpan>& left);
    /// What must not go on: the journal cannot be written, or restored data does not read back. Empty when
    /// all is well.
    [[nodiscard]] const std::string& failure() const { return m_failure; }

    bool expectWrites(const void* data, std::size_t bytes) override;
    bool protect(std::uint64_t lba, std::uint32_t count, const void* data, std::size_t bytes) override;
    bool protectScattered(std::span<const libDrive2::SectorSpan> spans, const void* data,
                          std::size_t bytes) override;
    [[nodiscard]] bool outlivesCrash() const override { return m_inner != nullptr; }
    [[nodiscard]] bool verifiesRestores() const override;
    bool holdsOriginal(std::uint64_t lba, std::uint32_t count, const void* data, std::size_t bytes) override;
    bool readOriginal(std::uint64_t lba, std::uint32_t count, void* data, std::size_t bytes) override;
    bool release(std::uint64_t lba, std::uint32_t count) override;
    [[nodiscard]] zel::Wording lastErrorStr() const override;

private:
    /// As many chunks as a journal takes.
    static constexpr std::size_t kMostCopies = 2;
    struct Copy {
        Range range{};
        zel::Buffer data{};  ///< stays for the next chunk
        bool isKept = false;
    };

    void fail(const zel::Wording& cause);
    bool noteFailureUnless(bool success);
    bool keepCopy(const Range& range, const void* data, std::size_t bytes);
    Copy* findCopy(const Range& range);

    libDrive2::SectorJournal* m_inner;
    std::array<Copy, kMostCopies> m_copies;
    std::vector<Range> m_unrestored;
    /// Scattered sectors that are protected: what names them, and what of it they are.
    std::vector<std::pair<Range, std::vector<Range>>> m_scattered;
    std::string m_failure;  ///< in the language of people
    zel::Wording m_cause;
};

}  // namespace drivetest
