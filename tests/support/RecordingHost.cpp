#include "support/RecordingHost.h"

#include <algorithm>

namespace testing_support {

using quix5::MessageBox2_Returns;

namespace {

class RecordedBox : public quix5::MessageBox2 {
public:
    explicit RecordedBox(RecordingHost& host) : m_host(host) {}

    bool display() override { return !m_host.answers.empty(); }
    bool wait(std::uint32_t milliseconds) override {
        if (milliseconds != 0 && !m_host.closes())
            return false;
        m_answer = m_host.answers.front();
        m_host.answers.pop_front();
        return true;
    }
    [[nodiscard]] MessageBox2_Returns getReturn() const override { return m_answer; }

private:
    RecordingHost& m_host;
    MessageBox2_Returns m_answer = MessageBox2_Returns::NOT_SHOWN;
};

}  // namespace

RecordingHost::RecordingHost()
    : m_previousHost(quix5::DiagModule::install(this)),
      m_previousSink(zel::LogFactory::setSink(this)),
      m_previousPriority(zel::LogFactory::priority()) {
    zel::LogFactory::setPriority(0);
}

RecordingHost::~RecordingHost() {
    zel::LogFactory::setPriority(m_previousPriority);
    zel::LogFactory::setSink(m_previousSink);
    quix5::DiagModule::install(m_previousHost);
}

std::vector<std::string> RecordingHost::eventsOf(const std::string& type) const {
    std::vector<std::string> found;
    for (const SentEvent& event : events)
        if (event.type == type)
            found.push_back(event.key + "(" + event.variables + ")");
    return found;
}

std::vector<std::string> RecordingHost::keys() const {
    std::vector<std::string> found;
    for (const SentEvent& event : events)
        found.push_back(event.key);
    return found;
}

std::vector<std::string> RecordingHost::linesOf(const std::string& logger, int priority) const {
    std::vector<std::string> found;
    for (const LogLine& line : log)
        if (line.logger == logger && line.priority == priority)
            found.push_back(line.text);
    return found;
}

bool RecordingHost::logged(const std::string& text) const {
    return std::any_of(log.begin(), log.end(), [&text](const LogLine& line) { return line.text == text; });
}

std::string RecordingHost::variablesOf(const quix5::LocalizableMessage& message) {
    std::string variables;
    for (const auto& [name, value] : message.variables())
        variables +=
            (variables.empty() ? "" : ", ") + name.utf8() + "=" + value.valueString().zelString().utf8();
    return variables;
}

void RecordingHost::keep(const quix5::Event& event, const char* type) {
    events.push_back({event.key().utf8(), type, variablesOf(event)});
    story.push_back(std::string(type) + " " + event.key().utf8() + "(" + events.back().variables + ")");
}

void RecordingHost::registerLibrary(const zel::String& /*name*/) {}

bool RecordingHost::sendEvent(const quix5::Event& event, quix5::EventType type,
                              quix5::SourceLocation /*where*/) {
    keep(event, quix5::nameOf(type));
    return true;
}

void RecordingHost::error(const quix5::Event& event, quix5::SourceLocation /*where*/) {
    keep(event, "error");
}
void RecordingHost::warning(const quix5::Event& event, quix5::SourceLocation /*where*/) {
    keep(event, "warning");
}
void RecordingHost::progress(const quix5::LocalizedString& text) {
    story.push_back(text.key().utf8() + "(" + variablesOf(text) + ")");
}
void RecordingHost::percentDone(int percent) {
    percents.push_back(percent);
    story.push_back(std::to_string(percent) + " %");
}
bool RecordingHost::checkForStop() {
    return stop(++stopChecks);
}
void RecordingHost::requestAbort() {
    ++abortRequests;
}
bool RecordingHost::promptEnabled() {
    return prompting;
}

quix5::MessageBox2* RecordingHost::createMessageBox2(const zel::String& text, const zel::String& title) {
    prompts.push_back({text.utf8(), title.utf8()});
    return new RecordedBox(*this);
}

void RecordingHost::write(const zel::String& logger, int priority, const zel::String& text) {
    log.push_back({logger.utf8(), priority, text.utf8()});
}

}  // namespace testing_support
