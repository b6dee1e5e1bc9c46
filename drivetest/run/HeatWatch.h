#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <limits>
#include <optional>

#include "drivetest/health/HeatCourse.h"
#include "zel/Clock.h"

namespace drivetest {

/// Asks a drive now and then how warm it is, and tells when it should rest.
class HeatWatch {
public:
    /// `read` gives degrees Celsius, nothing where the drive does not tell. Without a limit it never rests.
    HeatWatch(std::function<std::optional<std::int64_t>()> read, std::optional<std::int64_t> limit);

    /// Of the parts of a run that went before. The limit stays that of this one.
    void goOnAfter(const HeatCourse& before);
    /// What is known from elsewhere.
    void note(std::int64_t degrees);
    /// Whether it is time to ask; to be called between transfers.
    [[nodiscard]] bool isDue() const;
    void ask();
    /// How warm the drive is, where that was seen to be beyond the limit.
    [[nodiscard]] std::optional<std::int64_t> tooHot() const;

    /// How a rest ended; `silent` when the drive did not tell any more how warm it is.
    enum class Rest : std::uint8_t { cooled, silent, stopped, inVain };
    static constexpr std::chrono::hours kLongestRest{1};
    /// Lets it rest until it is five degrees below the limit, somebody wants to stop, or that is over.
    Rest cool(const std::function<bool()>& isStopping);
    /// It may become as hot as it likes.
    void dropLimit() { m_course.limit.reset(); }

    /// A limit that nobody can watch, as the drive does not tell.
    [[nodiscard]] bool isBlind() const { return m_course.limit && !m_read; }
    [[nodiscard]] std::optional<std::int64_t> limit() const { return m_course.limit; }
    /// Nothing when the drive never told. From any thread.
    [[nodiscard]] std::optional<std::int64_t> latest() const;
    [[nodiscard]] std::optional<HeatCourse> course() const;

private:
    static constexpr std::int64_t kUnknown = std::numeric_limits<std::int64_t>::min();

    std::function<std::optional<std::int64_t>()> m_read;  ///< empty when it is of no use any more
    HeatCourse m_course;
    bool m_hasCourse = false;  ///< the drive told, in this part or before
    std::atomic<std::int64_t> m_latest{kUnknown};
    bool m_isFresh = false;   ///< the latest was not yet judged by the limit
    unsigned m_silences = 0;  ///< in a row
    zel::Stopwatch m_sinceRead;
};

}  // namespace drivetest
