#pragma once

#include <functional>
#include <map>
#include <string>

#include "drivetest/record/RecordWriter.h"

namespace drivetest {

/// An event as the record tells it.
struct RecordedEvent {
    std::string key;
    std::string type;
    std::string cause;  ///< the drive's own words; empty for none
    std::string message;
    Json variables;
};

/// Keeps the record of a drive with very many faults short: the first thousand events go through as they are,
/// of the later ones those of the same kind and cause become one, with their number and the first and the
/// last of them. What waits is given out now and then, so that a killed run leaves nearly all.
class EventJoiner {
public:
    /// Takes the content of the extension "event", or of "events" for several.
    using Sink = std::function<void(const char* name, Json content)>;

    explicit EventJoiner(Sink sink) : m_sink(std::move(sink)) {}

    /// Whether it went through as it is.
    bool add(RecordedEvent event);
    /// Gives out what waits.
    void flush();
    /// So many went before.
    void goOnAfter(std::uint64_t events) { m_seen = events; }

private:
    struct Group {
        std::uint64_t count = 0;
        RecordedEvent first;
        RecordedEvent last;
    };

    Sink m_sink;
    std::map<std::string, Group> m_groups;  ///< by kind and cause
    std::uint64_t m_seen = 0;
    std::uint64_t m_waiting = 0;
};

}  // namespace drivetest
