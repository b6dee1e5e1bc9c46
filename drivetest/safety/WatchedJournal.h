#pragma once

#include <string>
#include <vector>

#include "libDrive2/SectorJournal.h"

namespace drivetest {

/// Stands between a drive and its journal: knows which sectors a test has overwritten and not put back, and
/// what went wrong. Without a journal behind it, it keeps only that.
class WatchedJournal : public libDrive2::SectorJournal {
public:
    /// `inner` may be null; it must outlive this.
    explicit WatchedJournal(libDrive2::SectorJournal* inner) : m_inner(inner) {}

    struct Range {
        std::uint64_t lba;
        std::uint32_t count;
    };
    /// The sectors that the test owes the drive.
    [[nodiscard]] const std::vector<Range>& unrestored() const { return m_unrestored; }
    /// What must not go on: the journal cannot be written, or restored data does not read back. Empty when
    /// all is well.
    [[nodiscard]] const std::string& failure() const { return m_failure; }

    bool expectWrites(const void* data, std::size_t bytes) override;
    bool protect(std::uint64_t lba, std::uint32_t count, const void* data, std::size_t bytes) override;
    [[nodiscard]] bool outlivesCrash() const override { return m_inner != nullptr; }
    [[nodiscard]] bool verifiesRestores() const override;
    bool holdsOriginal(std::uint64_t lba, std::uint32_t count, const void* data, std::size_t bytes) override;
    bool readOriginal(std::uint64_t lba, std::uint32_t count, void* data, std::size_t bytes) override;
    bool release(std::uint64_t lba, std::uint32_t count) override;
    [[nodiscard]] zel::String lastErrorStr() const override;

private:
    bool noteFailureUnless(bool success);

    libDrive2::SectorJournal* m_inner;
    std::vector<Range> m_unrestored;
    std::string m_failure;
};

}  // namespace drivetest
