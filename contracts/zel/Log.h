#pragma once

#include <atomic>
#include <string>

#include "zel/Export.h"
#include "zel/Format.h"
#include "zel/String.h"

namespace zel {

/// Text of one log line, built piece by piece.
class DRIVETEST_API LoggerStream {
public:
    LoggerStream& operator<<(const char* text);
    LoggerStream& operator<<(const String& text);
    LoggerStream& operator<<(std::uint64_t number);
    LoggerStream& operator<<(std::uint32_t number) { return *this << static_cast<std::uint64_t>(number); }
    LoggerStream& operator<<(std::uint16_t number) { return *this << static_cast<std::uint64_t>(number); }
    LoggerStream& operator<<(int number);
    template <class... Arguments>
    LoggerStream& operator<<(const Formatted<Arguments...>& piece) {
        return *this << piece.text();
    }

    [[nodiscard]] const String& text() const { return m_text; }

private:
    String m_text;
};

/// A named source of log lines, created by LogFactory and kept for the process.
/// Priorities: 0 trace scopes, 1 progress and diagnostics, 2 user cancellation, 3 warnings, 4 errors.
class DRIVETEST_API Logger {
public:
    explicit Logger(String name) : m_name(std::move(name)) {}
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    [[nodiscard]] const String& name() const { return m_name; }

    /// Whether a line of this priority is let through: one comparison.
    [[nodiscard]] bool allows(int priority) const {
        return priority >= m_resolved.load(std::memory_order_relaxed);
    }
    /// The threshold in force: the larger of the factory's and this logger's own.
    [[nodiscard]] int resolvePriority() const { return m_resolved.load(std::memory_order_relaxed); }
    /// This logger's own threshold; 0 (the default) leaves the choice to the factory.
    void setPriority(int threshold);

    /// Hands the line to the factory's sink if its priority is let through.
    void log(int priority, const LoggerStream& line);

    /// Composes and writes a line only if its priority is let through.
    template <class... Pieces>
    void line(int priority, const Pieces&... pieces) {
        if (!allows(priority))
            return;
        LoggerStream stream;
        (stream << ... << pieces);
        log(priority, stream);
    }

private:
    friend class LogFactory;
    void resolve(int factoryThreshold);

    String m_name;
    int m_own = 0;
    std::atomic<int> m_resolved{0};
};

/// Receives every line that is let through, on the thread that logs. Calls are serialized.
class DRIVETEST_API LogSink {
public:
    virtual ~LogSink() = default;
    virtual void write(const String& logger, int priority, const String& text) = 0;
};

class DRIVETEST_API LogFactory {
public:
    /// The logger of that name, created on first use; valid until the process ends.
    static Logger& createLogger(const char* name);
    /// The threshold T: a line of priority P is let through when P >= T. Default 3.
    static void setPriority(int threshold);
    static int priority();
    /// Installs the sink (not owned; null for none) and returns the one before.
    static LogSink* setSink(LogSink* sink);
};

/// Marks a scope in the log: "enter NAME" and "leave NAME" at priority 0.
class DRIVETEST_API TraceLogger {
public:
    TraceLogger(Logger& logger, const char* scope);
    ~TraceLogger();
    TraceLogger(const TraceLogger&) = delete;
    TraceLogger& operator=(const TraceLogger&) = delete;

private:
    Logger& m_logger;
    const char* m_scope;
};

}  // namespace zel
