#pragma once

#include "zel/Export.h"

namespace quix5 {

/// The process-wide wish to stop the running test. Once made it stays; safe in signal handlers.
class DRIVETEST_API StopRequest {
public:
    static void make() noexcept;
    /// A person asks, perhaps again; gives how often by now.
    static int insist() noexcept;
    [[nodiscard]] static bool made() noexcept;
    /// Whether a person asked more than once: what need not be done is to be left undone.
    [[nodiscard]] static bool isInsistedOn() noexcept;
};

}  // namespace quix5
