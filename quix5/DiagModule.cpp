#include "quix5/DiagModule.h"

#include <deque>
#include <utility>

#include "quix5/Module.h"

namespace quix5 {

namespace {

/// The objects that modules create. Never destroyed: modules keep pointers to them. Deques, since those
/// pointers must stay good while more is added.
struct Objects {
    zel::String library;
    std::deque<Parameter> parameters;
    std::deque<Event> events;
    std::deque<LocalizedString> strings;
};

Objects& objects() {
    static auto* const instance = new Objects;
    return *instance;
}

Host* host = nullptr;

}  // namespace

const zel::String& registeredLibrary() {
    return objects().library;
}

void DiagModule::registerLibrary(const char* name) {
    objects().library = name;
    if (host != nullptr)
        host->registerLibrary(name);
}

Parameter* DiagModule::createParameter(const char* name, DataType type, const char* /*description*/,
                                       bool /*flag1*/, bool /*flag2*/) {
    return &objects().parameters.emplace_back(name, type);
}

Event* DiagModule::createEvent(const char* key) {
    return &objects().events.emplace_back(key);
}

LocalizedString* DiagModule::createLocalizedString(const char* key) {
    return &objects().strings.emplace_back(key);
}

bool DiagModule::sendEvent(const Event& event, const EventType& type, const char* file, int line,
                           int /*reserved*/) {
    return host != nullptr && host->sendEvent(event, type, {file, line});
}

void DiagModule::error(const Event* event, const char* file, int line) {
    if (host != nullptr && event != nullptr)
        host->error(*event, {file, line});
}

void DiagModule::warning(const Event* event, const char* file, int line) {
    if (host != nullptr && event != nullptr)
        host->warning(*event, {file, line});
}

void DiagModule::progress(const LocalizedString& text) {
    if (host != nullptr)
        host->progress(text);
}

void DiagModule::percentDone(int percent) {
    if (host != nullptr)
        host->percentDone(percent);
}

bool DiagModule::checkForStop() {
    return host != nullptr && host->checkForStop();
}

void DiagModule::requestAbort() {
    if (host != nullptr)
        host->requestAbort();
}

bool DiagModule::promptEnabled() {
    return host != nullptr && host->promptEnabled();
}

MessageBox2* DiagModule::createMessageBox2(const zel::String& text, const zel::String& title, int /*type*/,
                                           int /*options*/, int /*look*/, bool /*modal*/) {
    return host != nullptr ? host->createMessageBox2(text, title) : nullptr;
}

Host* DiagModule::install(Host* newHost) {
    return std::exchange(host, newHost);
}

}  // namespace quix5
