#include "common/CallClock.h"

using std::chrono::duration;
using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using std::chrono::system_clock;

CallClock::CallClock(double zeroEpochSeconds) : m_Zero(steady_clock::now()) {
    if (zeroEpochSeconds > 0) {
        const duration<double> ahead = duration<double>(zeroEpochSeconds) - system_clock::now().time_since_epoch();
        m_Zero += duration_cast<steady_clock::duration>(ahead);
    }
}

int64_t CallClock::NowMs() const {
    return duration_cast<milliseconds>(steady_clock::now() - m_Zero).count();
}
