#pragma once

#include "drivetest/report/TextAtEnd.h"

namespace drivetest {

/// What was read and what was not, as a mapfile of GNU ddrescue, which can go on from there.
class RescueMapReporter : public TextAtEnd {
public:
    using TextAtEnd::TextAtEnd;

protected:
    [[nodiscard]] std::string text(const RunSummary& summary) const override;
};

/// The numbers of the bad blocks of 1024 bytes, one a line, as badblocks writes them.
class BadBlocksReporter : public TextAtEnd {
public:
    using TextAtEnd::TextAtEnd;

protected:
    [[nodiscard]] std::string text(const RunSummary& summary) const override;
};

}  // namespace drivetest
