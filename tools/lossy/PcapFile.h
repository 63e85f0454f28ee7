// A capture file of datagrams (pcap, as libpcap and Wireshark read it), with the headers that they had on the wire.
#ifndef TOOLS_LOSSY_PCAP_FILE_H
#define TOOLS_LOSSY_PCAP_FILE_H

#include "common/Endpoint.h"

#include <arpa/inet.h>
#include <chrono>
#include <fstream>
#include <vector>

using WireBytes = std::vector<uint8_t>;

// Big-endian words of 16 bits, of which all these headers are made.
inline WireBytes Words(std::initializer_list<size_t> words) {
    WireBytes bytes;
    for (const size_t word : words) {
        bytes.push_back(static_cast<uint8_t>(word >> 8));
        bytes.push_back(static_cast<uint8_t>(word));
    }
    return bytes;
}

inline WireBytes Joined(std::initializer_list<WireBytes> parts) {
    WireBytes all;
    for (const WireBytes& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

// RFC 1071: the complement of the sum, in ones' complement, of the words; an odd byte is the high one of its word.
inline uint16_t InternetChecksum(const WireBytes& bytes) {
    uint32_t sum = 0;
    for (size_t i = 0; i < bytes.size(); ++i) {
        sum += i % 2 == 0 ? static_cast<uint32_t>(bytes[i]) << 8 : bytes[i];
    }
    while (sum > 0xFFFF) {
        sum = (sum & 0xFFFF) + (sum >> 16);
    }
    return static_cast<uint16_t>(~sum);
}

inline WireBytes AddressBytes(const Endpoint& endpoint) {
    WireBytes address(endpoint.IsIPv6() ? sizeof(in6_addr) : sizeof(in_addr));
    inet_pton(endpoint.IsIPv6() ? AF_INET6 : AF_INET, endpoint.ip.c_str(), address.data());
    return address;
}

// The datagram as an IP packet; both addresses are of one family.
//   UDP (RFC 768): 0 source port    2 destination port    4 length, header included    6 checksum    8 data
//   IPv6 (RFC 8200, 3): 0 version, class, flow    4 payload length    6 next header    7 hops    8 source, destination
//   IPv4 (RFC 791, 3.1): 0 version, header words    1 service    2 length    4 identification    6 flags, fragment
//   offset    8 hops    9 protocol    10 header checksum    12 source, destination
// UDP's checksum runs over addresses, protocol and length too (for IPv6 the same sum: RFC 8200, 8.1); 0 would mean none.
// An IPv4 packet that must not be fragmented (0x4000) needs no identification (RFC 6864).
inline WireBytes UdpInIp(const Endpoint& from, const Endpoint& to, const WireBytes& data) {
    constexpr size_t udpHeaderSize = 8;
    constexpr size_t ipv4HeaderSize = 20;
    constexpr size_t hops = 64;
    const size_t length = udpHeaderSize + data.size();
    const WireBytes addresses = Joined({AddressBytes(from), AddressBytes(to)});
    const WireBytes summed = Words({IPPROTO_UDP, length, from.port, to.port, length, 0});
    const size_t sum = InternetChecksum(Joined({addresses, summed, data}));
    const WireBytes udp = Joined({Words({from.port, to.port, length, sum == 0 ? 0xFFFF : sum}), data});
    if (from.IsIPv6()) {
        return Joined({Words({0x6000, 0, length, IPPROTO_UDP << 8 | hops}), addresses, udp});
    }
    const WireBytes start = Words({0x4500, ipv4HeaderSize + length, 0, 0x4000, hops << 8 | IPPROTO_UDP});
    return Joined({start, Words({InternetChecksum(Joined({start, addresses}))}), addresses, udp});
}

// Confined to one thread. Each packet is in the file once it was added, so that a file can be read while it grows, and
// is whole however the program ends.
class PcapFile {
public:
    // pcap's file header, for times in nanoseconds and packets that start with their IP header. False with errno.
    //   0   magic    4   version 2.4    8   time zone, accuracy: unused    16   most bytes of a packet    20   link type
    bool Open(const std::string& path) {
        constexpr size_t rawIp = 101;
        m_File.open(path, std::ios::binary);
        Write(Words({0xA1B2, 0x3C4D, 2, 4, 0, 0, 0, 0, 4, 0, 0, rawIp}));
        return Ok();
    }

    bool IsOpen() const { return m_File.is_open(); }
    // Whether everything is in the file.
    bool Ok() const { return static_cast<bool>(m_File); }

    // A record's header: 0   seconds since 1970    4   nanoseconds    8   bytes kept    12   bytes there were
    void Add(std::chrono::system_clock::time_point at, const WireBytes& packet) {
        const auto ns = static_cast<uint64_t>(std::chrono::nanoseconds(at.time_since_epoch()).count());
        const uint64_t s = ns / std::nano::den;
        const uint64_t rest = ns % std::nano::den;
        const size_t size = packet.size();
        Write(Joined({Words({s >> 16, s, rest >> 16, rest, size >> 16, size, size >> 16, size}), packet}));
    }

private:
    void Write(const WireBytes& bytes) {
        m_File.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size())).flush();
    }

    std::ofstream m_File;
};

#endif
