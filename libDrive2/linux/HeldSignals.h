#pragma once

#include <csignal>

namespace libDrive2 {

/// Keeps signals from the calling thread for a moment. A command to a drive that a signal interrupts is still
/// carried out, into memory that nobody expects it in, and most cannot be sent twice.
class HeldSignals {
public:
    HeldSignals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &m_before);
    }
    ~HeldSignals() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;

private:
    sigset_t m_before{};
};

}  // namespace libDrive2
