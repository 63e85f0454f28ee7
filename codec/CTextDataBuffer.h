// One received RTP payload, queued by the transport and consumed by the codec.
#ifndef CODEC_CTEXT_DATA_BUFFER_H
#define CODEC_CTEXT_DATA_BUFFER_H

#include "util/VRNList.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>

// Owned by the received list; whoever takes it from there deletes it. Confined to the transport's lock.
class CTextDataBuffer {
public:
    // Copies the payload. `waiting` counts the bytes that all buffers of one list cost, this one's until it is
    // deleted; null counts nothing.
    CTextDataBuffer(const uint8_t* payload, uint32_t length, std::atomic<uint32_t>* waiting)
        : m_pData(length == 0 ? nullptr : new uint8_t[length]), m_nLength(length), m_pWaiting(waiting) {
        if (length != 0) {
            memcpy(m_pData, payload, length);
        }
        if (m_pWaiting != nullptr) {
            *m_pWaiting += Cost(length);
        }
    }
    ~CTextDataBuffer() {
        if (m_pWaiting != nullptr) {
            *m_pWaiting -= Cost(m_nLength);
        }
        delete[] m_pData;
    }
    CTextDataBuffer(const CTextDataBuffer&) = delete;
    CTextDataBuffer& operator=(const CTextDataBuffer&) = delete;

    // The memory that a payload of this length takes in the list.
    static uint32_t Cost(uint32_t length) {
        return length + static_cast<uint32_t>(sizeof(CTextDataBuffer) + sizeof(Node<CTextDataBuffer*>));
    }

    uint32_t m_nExtSeqNum = 0;
    uint32_t m_nSSRC = 0;
    uint32_t m_nPayloadType = 0;
    bool m_bIsRedundant = false; // it came with the RED payload type
    uint8_t* m_pData;            // null when the payload is empty
    uint32_t m_nLength;

private:
    std::atomic<uint32_t>* m_pWaiting;
};

#endif
