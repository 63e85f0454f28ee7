#include "call/Transcript.h"

#include "common/TextForms.h"

void Transcript::AddLoss(int packets) {
    m_Losses.push_back(packets);
    m_Shown.emplace_back();
}

void Transcript::Write(std::ostream& output) const {
    output << "typed " << Escape(m_Typed) << '\n';
    for (size_t i = 0; i < m_Shown.size(); ++i) {
        output << "shown " << Escape(m_Shown[i]) << '\n';
        if (i < m_Losses.size()) {
            output << "loss " << m_Losses[i] << '\n';
        }
    }
    output << "rtcp-timeouts " << m_nRtcpTimeouts << '\n';
}
