#include "common/StopSignal.h"

#include <csignal>
#include <sys/signalfd.h>
#include <unistd.h>

StopSignal::StopSignal() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    m_nFd = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

StopSignal::~StopSignal() {
    close(m_nFd);
}
