#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "drivetest/shelf/links/LinkSharing.h"

namespace drivetest {

/// Decides which drives of a shelf are under test at the same time. Drives are known by their place in
/// ShelfWork::drives. All calls come from one thread.
class RunOrder {
public:
    virtual ~RunOrder() = default;

    /// Whether this drive may be started beside those that are under test. It is asked again until it may.
    [[nodiscard]] virtual bool mayStart(std::size_t drive) = 0;
    /// It is under test from now on, with all its runs, one after the other.
    virtual void started(std::size_t drive) = 0;
    /// What moves at the moment, several times a second while a test is under way and does not rest; 1 MB is
    /// 1,048,576 bytes.
    virtual void measured(std::size_t /*drive*/, double /*megabytesPerSecond*/) {}
    /// It is over, or will not be started at all. Once.
    virtual void ended(std::size_t drive) = 0;
    /// What it did and why, as sentences for people; when all is over.
    [[nodiscard]] virtual std::vector<std::string> notes() const { return {}; }
    /// What this drive shares with others, as far as that is known by now: for its record.
    [[nodiscard]] virtual std::vector<LinkSharing> sharedBy(std::size_t /*drive*/) const { return {}; }
};

}  // namespace drivetest
