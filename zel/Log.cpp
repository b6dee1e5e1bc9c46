#include "zel/Log.h"

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>

namespace zel {

namespace {

constexpr int kDefaultPriority = 3;

/// All loggers of the process. Never destroyed: loggers are used until the very end.
struct Registry {
    std::mutex mutex;
    std::map<std::string, std::unique_ptr<Logger>> loggers;
    int priority = kDefaultPriority;

    std::mutex sinkMutex;
    LogSink* sink = nullptr;
};

Registry& registry() {
    static auto* const instance = new Registry;
    return *instance;
}

}  // namespace

LoggerStream& LoggerStream::operator<<(const char* text) {
    m_text += text;
    return *this;
}

LoggerStream& LoggerStream::operator<<(const String& text) {
    m_text += text;
    return *this;
}

LoggerStream& LoggerStream::operator<<(std::uint64_t number) {
    m_text += String::number(number);
    return *this;
}

LoggerStream& LoggerStream::operator<<(int number) {
    m_text += std::to_string(number);
    return *this;
}

void Logger::setPriority(int threshold) {
    const std::lock_guard lock(registry().mutex);
    m_own = threshold;
    resolve(registry().priority);
}

void Logger::resolve(int factoryThreshold) {
    m_resolved = std::max(m_own, factoryThreshold);
}

void Logger::log(int priority, const LoggerStream& line) {
    if (!allows(priority))
        return;
    const std::lock_guard lock(registry().sinkMutex);
    if (registry().sink != nullptr)
        registry().sink->write(m_name, priority, line.text());
}

Logger& LogFactory::createLogger(const char* name) {
    const std::lock_guard lock(registry().mutex);
    auto& logger = registry().loggers[name];
    if (!logger) {
        logger = std::make_unique<Logger>(name);
        logger->resolve(registry().priority);
    }
    return *logger;
}

void LogFactory::setPriority(int threshold) {
    const std::lock_guard lock(registry().mutex);
    registry().priority = threshold;
    for (auto& [name, logger] : registry().loggers)
        logger->resolve(threshold);
}

int LogFactory::priority() {
    const std::lock_guard lock(registry().mutex);
    return registry().priority;
}

LogSink* LogFactory::setSink(LogSink* sink) {
    const std::lock_guard lock(registry().sinkMutex);
    return std::exchange(registry().sink, sink);
}

TraceLogger::TraceLogger(Logger& logger, const char* scope) : m_logger(logger), m_scope(scope) {
    m_logger.line(0, "enter ", m_scope);
}

TraceLogger::~TraceLogger() {
    m_logger.line(0, "leave ", m_scope);
}

}  // namespace zel
