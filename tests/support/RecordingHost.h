#pragma once

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "quix5/DiagModule.h"
#include "zel/Log.h"

namespace testing_support {

/// Keeps everything a test tells its host, and answers from what the test case set up. Installs itself as
/// host and as log sink (all priorities) for its life, and restores both.
class RecordingHost : public quix5::Host, public zel::LogSink {
public:
    struct SentEvent {
        std::string key;
        std::string type;       ///< "ERR", "WARNING", "INFORMATIVE"; "error", "warning" for raised ones
        std::string variables;  ///< "name=value, name=value" in the order in which they were set
        bool operator==(const SentEvent&) const = default;
    };
    struct LogLine {
        std::string logger;
        int priority;
        std::string text;
    };
    struct Prompt {
        std::string text;
        std::string title;
    };

    RecordingHost();
    ~RecordingHost() override;

    // What happened.
    std::vector<SentEvent> events;
    std::vector<int> percents;
    /// What the user saw, in order: events "TYPE key(variables)", progress texts "key(variables)", "25 %".
    std::vector<std::string> story;
    std::vector<LogLine> log;
    std::vector<Prompt> prompts;
    int abortRequests = 0;
    int stopChecks = 0;

    // What to answer.
    bool prompting = true;
    /// Whether a stop is requested, asked with the number of checks so far (1 for the first).
    std::function<bool(int)> stop = [](int) { return false; };
    /// Answers to prompts in order; when none is left, no box can be shown. 0 lets a wait time out first.
    std::deque<quix5::MessageBox2_Returns> answers;
    /// Called when a box is waited on with a time limit; true: the box is closed with the next answer.
    std::function<bool()> closes = [] { return true; };

    /// "key(variables)" of every event of a type, for short comparisons.
    [[nodiscard]] std::vector<std::string> eventsOf(const std::string& type) const;
    [[nodiscard]] std::vector<std::string> keys() const;
    /// The texts of a logger's lines at a priority.
    [[nodiscard]] std::vector<std::string> linesOf(const std::string& logger, int priority) const;
    [[nodiscard]] bool logged(const std::string& text) const;

    void registerLibrary(const zel::String& name) override;
    bool sendEvent(const quix5::Event& event, quix5::EventType type, quix5::SourceLocation where) override;
    void error(const quix5::Event& event, quix5::SourceLocation where) override;
    void warning(const quix5::Event& event, quix5::SourceLocation where) override;
    void progress(const quix5::LocalizedString& text) override;
    void percentDone(int percent) override;
    bool checkForStop() override;
    void requestAbort() override;
    bool promptEnabled() override;
    quix5::MessageBox2* createMessageBox2(const zel::String& text, const zel::String& title) override;
    void write(const zel::String& logger, int priority, const zel::String& text) override;

private:
    void keep(const quix5::Event& event, const char* type);
    static std::string variablesOf(const quix5::LocalizableMessage& message);

    quix5::Host* m_previousHost;
    zel::LogSink* m_previousSink;
    int m_previousPriority;
};

}  // namespace testing_support
