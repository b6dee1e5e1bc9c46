#pragma once

#include "quix5/Event.h"
#include "quix5/Host.h"
#include "quix5/MessageBox2.h"
#include "quix5/Parameter.h"
#include "quix5/Test.h"
#include "zel/Export.h"

namespace quix5 {

/// The framework's static services, as modules call them. They forward to the installed Host; without one
/// they do nothing and answer "no". Not thread-safe: one thread registers and runs tests.
class DRIVETEST_API DiagModule {
public:
    static void registerLibrary(const char* name);

    /// Shared objects, owned by the framework for the life of the process.
    /// `description` and the flags are recorded by no front end of this framework.
    static Parameter* createParameter(const char* name, DataType type, const char* description, bool flag1,
                                      bool flag2);
    static Event* createEvent(const char* key);
    static LocalizedString* createLocalizedString(const char* key);

    /// Delivers an event. `reserved` is always 0.
    static bool sendEvent(const Event& event, const EventType& type, const char* file, int line,
                          int reserved);
    static void error(const Event* event, const char* file, int line);
    static void warning(const Event* event, const char* file, int line);
    static void progress(const LocalizedString& text);
    static void percentDone(int percent);
    static bool checkForStop();
    static void requestAbort();
    static bool promptEnabled();
    /// Null when no prompt can be shown; otherwise the caller owns the box. Type, options, look and the
    /// last flag choose a style, which a terminal does not have.
    static MessageBox2* createMessageBox2(const zel::String& text, const zel::String& title, int type,
                                          int options, int look, bool modal);

    /// Installs the host (not owned; null for none) and returns the one before.
    static Host* install(Host* host);
};

}  // namespace quix5
