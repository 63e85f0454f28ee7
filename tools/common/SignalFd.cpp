#include "common/SignalFd.h"

#include <csignal>
#include <sys/signalfd.h>
#include <unistd.h>

SignalFd::SignalFd(std::initializer_list<int> signals) {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : signals) {
        sigaddset(&set, signal);
    }
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    m_nFd = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
}

SignalFd::~SignalFd() {
    close(m_nFd);
}

void SignalFd::Drain() const {
    signalfd_siginfo info = {};
    while (read(m_nFd, &info, sizeof(info)) > 0) {
    }
}
