// A control manager without channels: linked in place of the engine's, it records what the receiver's and the feeder's
// threads call.
#ifndef TESTS_SUPPORT_MANAGER_STUB_H
#define TESTS_SUPPORT_MANAGER_STUB_H

#include "net/CTextSocketInfo.h"

#include <chrono>
#include <vector>

namespace manager_stub {

struct Call {
    CTextSocketInfo* m_pInfo; // OnReceive's; null for GetTextAndDisplay
    std::chrono::steady_clock::time_point m_Time;
};

// Forgets the calls so far.
void Reset();

std::vector<Call> Calls();

} // namespace manager_stub

#endif
