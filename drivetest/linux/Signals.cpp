#include "drivetest/run/Signals.h"

#include <csignal>
#include <initializer_list>

#include "quix5/StopRequest.h"

namespace drivetest {

namespace {

extern "C" void requestStop(int /*signal*/) {
    quix5::StopRequest::make();
}

}  // namespace

void stopOnSignals() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        if (std::signal(signal, requestStop) == SIG_IGN)
            std::signal(signal, SIG_IGN);
    std::signal(SIGPIPE, SIG_IGN);
}

}  // namespace drivetest
