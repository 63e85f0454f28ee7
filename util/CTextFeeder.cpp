#include "util/CTextFeeder.h"

#include "control/CTextControlManager.h"
#include "util/VRNLog.h"

#include <unistd.h>

namespace {
// One character a delivery: received text shows at 20 characters a second at most.
constexpr useconds_t FEED_INTERVAL_US = 50000;
} // namespace

CTextFeeder::CTextFeeder() : m_pThread(new TextThread(new CTextFeederRunnable(this))) {}

CTextFeeder::~CTextFeeder() {
    m_bRunning = false;
    delete m_pThread;
}

int CTextFeeder::Start() {
    VRN_LOG(VRN_LOG_TRACE, "%s: Entry");
    m_bRunning = true;
    return m_pThread->Start();
}

int CTextFeeder::Stop() {
    VRN_LOG(VRN_LOG_TRACE, "%s: Entry");
    m_bRunning = false;
    return m_pThread->Stop();
}

void CTextFeeder::GetData() {
    m_pControlManager->GetTextAndDisplay();
}

void CTextFeederRunnable::Run() {
    while (m_pFeeder->m_bRunning) {
        m_pFeeder->m_pControlManager->GetTextAndDisplay();
        usleep(FEED_INTERVAL_US);
    }
}
