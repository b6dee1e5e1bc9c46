#pragma once

namespace quix5 {

/// The process-wide wish to stop the running test. Once made it stays; safe in signal handlers.
class StopRequest {
public:
    static void make() noexcept;
    [[nodiscard]] static bool made() noexcept;
};

}  // namespace quix5
