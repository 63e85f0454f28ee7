#include "tests/support/ManagerStub.h"

#include "control/CTextControlManager.h"

#include <mutex>

namespace {

std::mutex s_Mutex;
std::vector<manager_stub::Call> s_Calls;

void Record(CTextSocketInfo* info) {
    std::lock_guard<std::mutex> lock(s_Mutex);
    s_Calls.push_back({info, std::chrono::steady_clock::now()});
}

} // namespace

void manager_stub::Reset() {
    std::lock_guard<std::mutex> lock(s_Mutex);
    s_Calls.clear();
}

std::vector<manager_stub::Call> manager_stub::Calls() {
    std::lock_guard<std::mutex> lock(s_Mutex);
    return s_Calls;
}

CTextControlManager::CTextControlManager() : m_RecvThread() {}
CTextControlManager::~CTextControlManager() = default;

void CTextControlManager::OnReceive(CTextSocketInfo* info) {
    Record(info);
}

void CTextControlManager::GetTextAndDisplay() {
    Record(nullptr);
}
