// RTCP (RFC 3550, 6.4): datagrams read one after the other into one buffer of 200 bytes, as the receive path does, and
// reports built from what they left behind.
#include "fuzz/Fuzz.h"
#include "tests/support/ManualTime.h"
#include "transport/CRTCP.h"
#include "util/VRNClock.h"

static void Receive(VRN_RTCPStruct_st& in, const Bytes& datagram) {
    std::copy(datagram.begin(), datagram.end(), in.m_pBuffer);
    const Bytes bytes(in.m_pBuffer, in.m_pBuffer + RTCP_BUFFER_SIZE);
    const VRN_RTCPStruct_st old = in;
    const bool isReport = bytes[0] / 64 == 2 && (bytes[1] == 200 || bytes[1] == 201);
    const bool isSR = isReport && bytes[1] == 200;
    const bool hasBlock = isReport && (!isSR || bytes[0] % 32 != 0);
    const size_t block = isSR ? 28 : 8;
    FUZZ_CHECK(CRTCP().ParseRtcpPacket(&in, in.m_pBuffer) == (isReport ? 1 : -1));
    FUZZ_CHECK(in.m_nLastArrivalTick == (isReport ? VRNGetTickCount() : old.m_nLastArrivalTick));
    FUZZ_CHECK(in.m_nLastSRTick == (isSR ? VRNGetTickCount() : old.m_nLastSRTick));
    FUZZ_CHECK(in.m_nSSRC == (isReport ? Number(bytes, 4, 4) : old.m_nSSRC));
    FUZZ_CHECK(in.m_nNtpSeconds == (isSR ? Number(bytes, 8, 4) : old.m_nNtpSeconds));
    FUZZ_CHECK(in.m_nBlockSSRC == (hasBlock ? Number(bytes, block, 4) : old.m_nBlockSSRC));
    FUZZ_CHECK(in.m_nDLSR == (hasBlock ? Number(bytes, block + 20, 4) : old.m_nDLSR));
}

static void Report(VRN_RTCPStruct_st& out, VRN_RTCPStruct_st& in, ByteReader& input) {
    VRN_RTPStruct_st send, recv;
    const bool isSR = input.U8() % 2 != 0;
    recv.m_bNewData = input.U8() % 2;
    recv.m_nBaseSeqNum = input.U16();
    recv.m_nMaxExtSeqNum = input.U32();
    recv.m_nPacketCount = input.U32();
    const size_t block = !isSR ? 8 : recv.m_bNewData != 0 ? 28 : 4; // the report's last 24 bytes start here
    const uint32_t lost = recv.m_nMaxExtSeqNum + 1 - recv.m_nBaseSeqNum - recv.m_nPacketCount;
    Bytes bytes(RTCP_BUFFER_SIZE, 0xAA);
    out.m_pBuffer = bytes.data();
    isSR ? CRTCP().MakeRtcpSRPacket(&out, &in, &send, &recv) : void(CRTCP().MakeRtcpRRPacket(&out, &in, &recv));
    FUZZ_CHECK(out.m_nPacketLen == block + 24 && recv.m_bNewData == 0 && bytes[0] / 32 == 4);
    FUZZ_CHECK(std::count(&bytes[block + 24], &bytes.back() + 1, 0xAA) == static_cast<long>(176 - block));
    FUZZ_CHECK(bytes[1] == (isSR ? 200 : 201) && Number(bytes, 2, 2) == bytes[0] % 32U * 6 + (isSR ? 6 : 1));
    if (block != 4) {
        FUZZ_CHECK(Number(bytes, block, 4) == in.m_nSSRC && Number(bytes, block + 8, 4) == recv.m_nMaxExtSeqNum);
        FUZZ_CHECK(Number(bytes, block + 5, 3) == lost % 0x1000000 && (bytes[block + 4] == 0 || lost < 0x80000000));
        FUZZ_CHECK(Number(bytes, block + 16, 4) == (in.m_nNtpSeconds << 16 | in.m_nNtpFraction >> 16));
    }
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ByteReader input(data, size);
    TakeMode(input);
    VRN_RTCPStruct_st in, out;
    Bytes received(RTCP_BUFFER_SIZE);
    in.m_pBuffer = received.data();
    out.m_nVersion = RTP_VERSION;
    out.m_nReportCount = 1;
    for (manual_time::Reset(); HasMore(input);) {
        manual_time::SetTick(VRNGetTickCount() + input.U16() * 0x1001U);
        const uint8_t length = input.U8();
        length > RTCP_BUFFER_SIZE ? Report(out, in, input) : Receive(in, Take(input, length));
    }
    return 0;
}
