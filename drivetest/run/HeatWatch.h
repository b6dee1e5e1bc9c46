#pragma once

#include <chrono>
#include <functional>
#include <optional>

#include "zel/Clock.h"

namespace drivetest {

/// Asks a drive now and then how hot it is, and tells when it should rest.
class HeatWatch {
public:
    /// `read` gives degrees Celsius, nothing where the drive does not tell; it is not asked again then.
    HeatWatch(std::function<std::optional<std::int64_t>()> read, std::int64_t limit);

    /// To be called between transfers. Says how hot the drive is, where it has become hotter than the limit.
    std::optional<std::int64_t> tooHot();
    /// Lets it rest until it is a few degrees below the limit, somebody wants to stop, or this has taken half
    /// an hour: then it will hardly become cooler, and the watch ends.
    void cool(const std::function<bool()>& isStopping);

    [[nodiscard]] std::int64_t limit() const { return m_limit; }

private:
    std::function<std::optional<std::int64_t>()> m_read;  ///< empty when it is of no use any more
    std::int64_t m_limit;
    zel::Stopwatch m_sinceRead;
};

}  // namespace drivetest
