#include "drivetest/run/RunHost.h"

#include "drivetest/terminal/TerminalPrompt.h"
#include "drivetest/terminal/Texts.h"
#include "libDrive2/Drive.h"
#include "quix5/StopRequest.h"

namespace drivetest {

namespace {

/// A drive with a million bad sectors must not bury everything else on the screen.
constexpr std::uint64_t kShownPerKey = 20;

}  // namespace

RunHost::RunHost(Console& console, RunRecord* record, OutputQueue* log, bool prompts)
    : m_console(console), m_record(record), m_log(log), m_prompts(prompts) {}

ProgressSnapshot RunHost::snapshot() {
    const std::lock_guard lock(m_mutex);
    const std::string activity = quix5::StopRequest::made() ? "stopping after this transfer" : m_activity;
    return {m_percent, m_statistics != nullptr ? m_statistics->bytesMoved() : 0, m_errors, m_warnings,
            activity};
}

void RunHost::show(const quix5::Event& event, const char* type) {
    m_lastMessage = event.localizedMessage();
    const std::uint64_t shown = ++m_shown[event.key()];
    if (shown <= kShownPerKey)
        m_console.line(type + m_lastMessage.utf8());
    if (shown == kShownPerKey)
        m_console.line("        (more of this kind are counted and kept in the record only)");
}

void RunHost::registerLibrary(const zel::String& /*name*/) {}

bool RunHost::sendEvent(const quix5::Event& event, quix5::EventType type, quix5::SourceLocation where) {
    if (type == quix5::EventType::ERR)
        ++m_errors;
    else if (type == quix5::EventType::WARNING)
        ++m_warnings;
    show(event, type == quix5::EventType::ERR       ? "error:   "
                : type == quix5::EventType::WARNING ? "warning: "
                                                    : "info:    ");
    if (m_record != nullptr)
        m_record->addEvent(event, type, where);
    return true;
}

void RunHost::error(const quix5::Event& event, quix5::SourceLocation where) {
    show(event, "error:   ");
    if (m_record != nullptr)
        m_record->addRunError(event, where);
}

void RunHost::warning(const quix5::Event& event, quix5::SourceLocation where) {
    ++m_warnings;
    show(event, "warning: ");
    if (m_record != nullptr)
        m_record->addEvent(event, quix5::EventType::WARNING, where);
}

void RunHost::progress(const quix5::LocalizedString& text) {
    const std::lock_guard lock(m_mutex);
    m_activity = text.localizedString().zelString().utf8();
}

bool RunHost::checkForStop() {
    if (m_mayWait())
        OutputQueue::waitForRoom();
    // A test must not go on overwriting what cannot be saved, or was not put back.
    return quix5::StopRequest::made() || (m_journal != nullptr && !m_journal->failure().empty());
}

void RunHost::requestAbort() {
    quix5::StopRequest::make();
}

quix5::MessageBox2* RunHost::createMessageBox2(const zel::String& text, const zel::String& title) {
    return new TerminalPrompt(m_console, text, title);
}

void RunHost::driveObtained(libDrive2::Drive& drive, const quix5::DiagDevice& /*device*/) {
    const std::lock_guard lock(m_mutex);
    m_drive = &drive;
    m_statistics = std::make_unique<DriveStatistics>(drive.getSectorCount(), drive.getSectorSize());
    drive.setObserver(m_statistics.get());
    drive.setJournal(m_journal);
}

void RunHost::driveReleased() {
    m_drive->setObserver(nullptr);
    m_drive->setJournal(nullptr);
    // It points to the test, which is gone.
    m_drive->setCallback(nullptr);
    m_statistics->finish();
}

void RunHost::write(const zel::String& logger, int priority, const zel::String& text) {
    if (m_log != nullptr)
        m_log->add(printable(std::to_string(priority) + " " + logger.utf8() + ": " + text.utf8()) + "\n");
    // The record keeps what went wrong beside the events; the log file everything that was asked for.
    if (m_record != nullptr && priority >= 3 && text != m_lastMessage)
        m_record->addLog(logger, priority, text);
}

}  // namespace drivetest
