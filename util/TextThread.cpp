#include "util/TextThread.h"

#include "util/ThreadStart.h"
#include "util/VRNLog.h"

#include <csignal>

TextThread::TextThread(TRunnable* runnable) : m_pRunnable(runnable) {}

// Kept: after an orderly Stop this logs that the thread is not started.
TextThread::~TextThread() {
    Stop();
    delete m_pRunnable;
}

int TextThread::Start() {
    if (m_bStarted) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: Thread already started.");
        return -1;
    }
    const int error = VRNStartThread(&m_ThreadId, nullptr, ThreadMain, this);
    if (error == 0) {
        m_bStarted = true;
    }
    return error;
}

int TextThread::Stop() {
    if (!m_bStarted) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: Thread not started");
        return -1;
    }
    VRNJoinThread(m_ThreadId);
    // Kept: hosts match on this line. There is no mutex: nothing ever took it.
    VRN_LOG(VRN_LOG_TRACE, "%s: Thread mutex destroy");
    m_bStarted = false;
    m_ThreadId = 0;
    VRN_LOG(VRN_LOG_TRACE, "%s: Thread stopped");
    return 0;
}

int TextThread::SendSignal(int sig) {
    return m_bStarted ? pthread_kill(m_ThreadId, sig) : ESRCH;
}

void* TextThread::ThreadMain(void* arg) {
    static_cast<TextThread*>(arg)->Run();
    return nullptr;
}

void TextThread::Run() {
    if (m_pRunnable != nullptr) {
        m_pRunnable->Run();
    }
}
