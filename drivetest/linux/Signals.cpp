#include "drivetest/run/Signals.h"

#include <csignal>
#include <initializer_list>
#include <vector>

#include "quix5/StopRequest.h"

namespace drivetest {

namespace {

extern "C" void requestStop(int /*signal*/) {
    quix5::StopRequest::make();
}

/// signal(7): those whose default action is to end the process. Without those that tell of a fault in the
/// program, after which it cannot go on.
std::vector<int> endingSignals() {
    std::vector<int> signals{SIGINT,    SIGTERM, SIGHUP, SIGQUIT, SIGUSR1,   SIGUSR2, SIGALRM,
                             SIGVTALRM, SIGPROF, SIGIO,  SIGPWR,  SIGSTKFLT, SIGXCPU};
    for (int signal = SIGRTMIN; signal <= SIGRTMAX; ++signal)
        signals.push_back(signal);
    return signals;
}

void install(int signal, void (*handler)(int)) {
    struct sigaction before {};
    if (sigaction(signal, nullptr, &before) != 0 || before.sa_handler == SIG_IGN)
        return;
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

}  // namespace

void letWritesFail() {
    for (const int signal : {SIGPIPE, SIGXFSZ})
        install(signal, SIG_IGN);
}

void stopOnSignals() {
    for (const int signal : endingSignals())
        install(signal, requestStop);
}

void leaveSignalsToOthers() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

}  // namespace drivetest
