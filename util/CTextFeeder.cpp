#include "util/CTextFeeder.h"

#include "control/CTextControlManager.h"
#include "util/VRNLog.h"

namespace {
// One character a delivery: received text shows at 20 characters a second at most.
constexpr long FEED_INTERVAL_US = 50000;
} // namespace

CTextFeeder::CTextFeeder() : m_pThread(new TextThread(new CTextFeederRunnable(this))) {}

CTextFeeder::~CTextFeeder() {
    m_bRunning.Set(false);
    delete m_pThread;
}

int CTextFeeder::Start() {
    VRN_LOG(VRN_LOG_TRACE, "%s: Entry");
    m_bRunning.Set(true);
    return m_pThread->Start();
}

int CTextFeeder::Stop() {
    VRN_LOG(VRN_LOG_TRACE, "%s: Entry");
    m_bRunning.Set(false);
    return m_pThread->Stop();
}

void CTextFeeder::GetData() {
    m_pControlManager->GetTextAndDisplay();
}

void CTextFeederRunnable::Run() {
    while (m_pFeeder->m_bRunning.IsSet()) {
        m_pFeeder->m_pControlManager->GetTextAndDisplay();
        m_pFeeder->m_bRunning.Pause(FEED_INTERVAL_US);
    }
}
