#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "libDrive2/DriveObserver.h"

namespace drivetest {

const char* nameOf(libDrive2::SectorFault fault);

/// The sectors that a test found bad, each once, with what was found first. Memory is bounded: a drive with
/// more spans of bad sectors than are kept has its further ones counted only.
class BadSectors {
public:
    /// What is wrong, and the drive's own words for it (empty for none).
    struct Cause {
        libDrive2::SectorFault fault;
        std::string words;

        bool operator==(const Cause&) const = default;
    };
    /// Sectors that follow each other and have the same cause.
    struct Span {
        std::uint64_t count;
        std::size_t cause;  ///< index into causes()
    };
    using Spans = std::map<std::uint64_t, Span>;  ///< by the first sector

    /// Gives the index of the cause.
    std::size_t add(const libDrive2::CondemnedSectors& condemned);

    /// Different sectors.
    [[nodiscard]] std::uint64_t count() const { return m_count; }
    [[nodiscard]] const Spans& spans() const { return m_spans; }
    [[nodiscard]] const std::vector<Cause>& causes() const { return m_causes; }
    /// Whether sectors are counted that no span holds.
    [[nodiscard]] bool isIncomplete() const { return m_isIncomplete; }

    /// Spans whatever their cause: those that touch are one.
    [[nodiscard]] std::vector<libDrive2::SectorSpan> ranges() const;

private:
    std::size_t indexOf(Cause cause);
    void insert(std::uint64_t lba, std::uint64_t count, std::size_t cause);

    Spans m_spans;
    std::vector<Cause> m_causes;
    std::uint64_t m_count = 0;
    bool m_isIncomplete = false;
};

}  // namespace drivetest
