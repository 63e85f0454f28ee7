// The far end of a test: raw UDP on loopback.
#ifndef TESTS_SUPPORT_UDP_PEER_H
#define TESTS_SUPPORT_UDP_PEER_H

#include <cstdint>
#include <string>
#include <vector>

using Bytes = std::vector<uint8_t>;

// A bound UDP socket on a loopback address.
class UdpPeer {
public:
    // Port 0 takes a free one.
    explicit UdpPeer(uint16_t port = 0, const std::string& ip = "127.0.0.1");
    ~UdpPeer();
    UdpPeer(const UdpPeer&) = delete;
    UdpPeer& operator=(const UdpPeer&) = delete;

    bool IsOpen() const { return m_nFd >= 0; }
    uint16_t Port() const { return m_nPort; }
    int Descriptor() const { return m_nFd; }

    void SendTo(uint16_t port, const Bytes& datagram);

    // The next datagram, waited for; empty when none comes within the limit.
    Bytes Receive(int limitMs = 10000);

private:
    int m_nFd = -1;
    uint16_t m_nPort = 0;
    std::string m_sIp;
};

// An even loopback port p such that p and p + 1 were free a moment ago, for an engine to bind; each call another one.
uint16_t FreePortPair(const std::string& ip = "127.0.0.1");

// A datagram's bytes from its fields: integers, big-endian, with their sizes, and raw bytes.
class Datagram {
public:
    Datagram& U8(uint32_t value) { return Number(value, 1); }
    Datagram& U16(uint32_t value) { return Number(value, 2); }
    Datagram& U32(uint32_t value) { return Number(value, 4); }
    Datagram& Text(const std::string& text) {
        m_Bytes.insert(m_Bytes.end(), text.begin(), text.end());
        return *this;
    }
    // A redundant RED block header (RFC 2198, 3).
    Datagram& RedHeader(uint32_t payloadType, uint32_t offset, uint32_t length) {
        return U8(0x80 | payloadType).U8(offset >> 6).U8(offset << 2 | length >> 8).U8(length);
    }
    // An RTP header (RFC 3550, 5.1) without CSRC entries.
    Datagram& RtpHeader(bool marker, uint32_t payloadType, uint32_t seq, uint32_t timestamp, uint32_t ssrc) {
        return U8(0x80).U8((marker ? 0x80 : 0) | payloadType).U16(seq).U32(timestamp).U32(ssrc);
    }
    // NOLINTNEXTLINE(google-explicit-constructor): a datagram is its bytes
    operator const Bytes&() const { return m_Bytes; }

private:
    Datagram& Number(uint32_t value, int size) {
        for (int shift = 8 * (size - 1); shift >= 0; shift -= 8) {
            m_Bytes.push_back(static_cast<uint8_t>(value >> shift));
        }
        return *this;
    }
    Bytes m_Bytes;
};

#endif
