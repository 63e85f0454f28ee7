// RED payloads (RFC 2198) taken apart for tests.
#ifndef TESTS_SUPPORT_RED_BLOCKS_H
#define TESTS_SUPPORT_RED_BLOCKS_H

#include "tests/support/UdpPeer.h"

struct RedBlock {
    uint32_t payloadType;
    uint32_t offset;
    std::string data;
};

// The blocks, the primary last; none when they do not fit. After 16 redundant headers the primary is empty.
inline std::vector<RedBlock> ParseRed(const Bytes& payload, size_t maxRedundant) {
    std::vector<RedBlock> blocks;
    std::vector<size_t> lengths;
    size_t at = 0;
    for (; at + 4 <= payload.size() && payload[at] >= 0x80 && blocks.size() < maxRedundant; at += 4) {
        blocks.push_back({payload[at] - 0x80U, payload[at + 1] * 64U + payload[at + 2] / 4U, ""});
        lengths.push_back(payload[at + 2] % 4 * 256U + payload[at + 3]);
    }
    const bool hasPrimary = blocks.size() < maxRedundant;
    if (hasPrimary && (at == payload.size() || payload[at] >= 0x80)) {
        return {};
    }
    blocks.push_back({hasPrimary ? payload[at++] : 0U, 0, ""});
    auto data = payload.begin() + static_cast<long>(at);
    for (size_t i = 0; i < lengths.size(); ++i) {
        if (payload.end() - data < static_cast<long>(lengths[i])) {
            return {};
        }
        blocks[i].data.assign(data, data + static_cast<long>(lengths[i]));
        data += static_cast<long>(lengths[i]);
    }
    blocks.back().data.assign(data, hasPrimary ? payload.end() : data);
    return blocks;
}

#endif
