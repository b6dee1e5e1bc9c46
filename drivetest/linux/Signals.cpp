#include "drivetest/run/Signals.h"

#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <initializer_list>
#include <string_view>
#include <vector>

#include "drivetest/run/LastWords.h"
#include "quix5/StopRequest.h"

namespace drivetest {

namespace {

std::atomic<AtStake> atStake{AtStake::nothing};
std::atomic<bool> isProgressAskedFor{false};
std::atomic<int> statusOn{-1};
std::atomic<void (*)()> lastDeed{nullptr};
static_assert(std::atomic<AtStake>::is_always_lock_free && std::atomic<bool>::is_always_lock_free &&
              std::atomic<int>::is_always_lock_free);

/// In a signal handler: only with what is safe there. A reader that takes nothing must not hold it up.
void say(int descriptor, std::string_view text) {
    pollfd room{descriptor, POLLOUT, 0};
    if (poll(&room, 1, 0) == 1)
        (void)!write(descriptor, text.data(), text.size());
}

void takeStatusOff() {
    if (const int descriptor = statusOn.load(); descriptor >= 0)
        say(descriptor, kTakeStatusOff);
}

[[noreturn]] void endAtOnce() {
    const LastWords last = lastWordsOf(atStake.load());
    if (void (*const deed)() = lastDeed.load(); deed != nullptr)
        deed();
    takeStatusOff();
    say(STDERR_FILENO, last.text);
    _exit(last.status);
}

extern "C" void requestStop(int /*signal*/) {
    quix5::StopRequest::make();
}

extern "C" void insistOnStop(int /*signal*/) {
    if (quix5::StopRequest::insist() >= kInsistencesToEnd)
        endAtOnce();
}

extern "C" void askForProgress(int /*signal*/) {
    isProgressAskedFor.store(true);
}

/// As it would be without a handler, but with nothing in the way of what the shell says.
extern "C" void pauseRun(int signal) {
    const int error = errno;
    takeStatusOff();
    struct sigaction byDefault {};
    byDefault.sa_handler = SIG_DFL;
    struct sigaction before {};
    sigaction(signal, &byDefault, &before);
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, signal);
    sigset_t blocked;
    pthread_sigmask(SIG_UNBLOCK, &only, &blocked);
    raise(signal);
    pthread_sigmask(SIG_SETMASK, &blocked, nullptr);
    sigaction(signal, &before, nullptr);
    errno = error;
}

/// signal(7): those whose default action is to end the process. Without those that tell of a fault in the
/// program, after which it cannot go on.
std::vector<int> endingSignals() {
    std::vector<int> signals{SIGINT,    SIGTERM, SIGHUP, SIGQUIT, SIGUSR2,   SIGALRM,
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
    // Who asks only how far it is must end no waiting, nor a pause.
    action.sa_flags = handler == askForProgress || handler == pauseRun ? SA_RESTART : 0;
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
        install(signal, signal == SIGINT || signal == SIGTERM ? insistOnStop : requestStop);
    install(SIGUSR1, askForProgress);
    install(SIGTSTP, pauseRun);
    // Whoever started this process may have sent them already.
    sigset_t awaited;
    sigemptyset(&awaited);
    for (const int signal : {SIGINT, SIGTERM})
        sigaddset(&awaited, signal);
    pthread_sigmask(SIG_UNBLOCK, &awaited, nullptr);
}

bool takeProgressRequest() {
    return isProgressAskedFor.exchange(false);
}

void setAtStake(AtStake stake) {
    atStake.store(stake);
}

void setLastDeed(void (*deed)()) {
    lastDeed.store(deed);
}

void setStatusOn(int descriptor) {
    statusOn.store(descriptor);
}

void leaveSignalsToOthers() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

void LateSignals::look() {
    // A thread that can be reached takes them long before.
    constexpr unsigned kPatience = 5;
    sigset_t waiting;
    sigpending(&waiting);
    sigset_t late;
    sigemptyset(&late);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT})
        if (sigismember(&waiting, signal) == 1)
            sigaddset(&late, signal);
    m_looks = sigisemptyset(&late) != 0 ? 0 : m_looks + 1;
    if (m_looks < kPatience)
        return;
    m_looks = 0;
    sigset_t before;
    pthread_sigmask(SIG_UNBLOCK, &late, &before);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace drivetest
