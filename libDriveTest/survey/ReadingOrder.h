#pragma once

#include <cstdint>
#include <optional>

#include "zel/Clock.h"

namespace libDriveTest {

/// Sectors to read next: in one transfer, or one by one to find those that are bad.
struct Reading {
    std::uint64_t lba;
    std::uint32_t count;
    bool singly = false;
    std::uint32_t mostBad = 0;  ///< of them so many are to be found at most; 0 for all

    [[nodiscard]] std::uint64_t end() const { return lba + count; }
};

/// What became of it.
struct Finding {
    bool isGood;
    zel::Clock::Duration took;
};

/// Decides what is read next, from what was found before. It knows no drive and no clock.
class ReadingOrder {
public:
    ReadingOrder() = default;
    ReadingOrder(const ReadingOrder&) = delete;
    ReadingOrder& operator=(const ReadingOrder&) = delete;
    virtual ~ReadingOrder() = default;

    /// Nothing when all is read that is to be. After each that is given, note() comes before the next.
    virtual std::optional<Reading> next() = 0;
    virtual void note(const Finding& finding) = 0;
};

}  // namespace libDriveTest
