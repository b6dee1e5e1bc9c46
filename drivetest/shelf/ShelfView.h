#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "drivetest/shelf/ShelfDrive.h"
#include "drivetest/terminal/Console.h"

namespace drivetest {

/// Shows how far the drives of a shelf are: a table that is drawn in place on a terminal; elsewhere a line
/// for each drive under test now and then, and when somebody asks for it.
class ShelfView {
public:
    using Clock = std::chrono::steady_clock;

    /// Console and drives must outlive it. `quiet`: only what has ended is told.
    ShelfView(Console& console, const std::vector<ShelfDrive>& drives, bool quiet);

    /// To be called often.
    void show();
    /// Says what the last run of a drive came to.
    void tellEnd(const ShelfDrive& drive);
    /// All is over: takes the table off.
    void finish() { m_console.clearStatus(); }

private:
    void tellLines(Clock::duration elapsed);

    Console& m_console;
    const std::vector<ShelfDrive>& m_drives;
    bool m_quiet;
    Clock::time_point m_began = Clock::now();
    Clock::time_point m_nextDrawing = m_began;
    Clock::duration m_nextLine;
};

}  // namespace drivetest
