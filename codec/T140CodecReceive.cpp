// Receiving: recovery from redundancy (RFC 4103, 4.2), loss marking, and playout a character at a time.

#include "codec/T140Codec.h"

#include "codec/Utf8.h"
#include "util/VRNClock.h"
#include "util/VRNLog.h"

#include <algorithm>

namespace {

// Empty generations are skipped among the first blocks only.
constexpr uint32_t LAST_START_THAT_SKIPS = 14;
constexpr uint32_t LAST_BLOCK_SKIPPED_TO = 15;

// The shortest buffer a character is handed out in.
constexpr int MIN_TEXT_SIZE = 2;

} // namespace

std::atomic<uint32_t> T140Codec::s_nLastPlayTick{0};

int T140Codec::GetText(unsigned char* out, unsigned short outSize) {
    VRNLock lock(m_Mutex);
    if (out == nullptr || outSize == 0) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: Returning!!pData =%p, length=%d", static_cast<void*>(out), outSize);
        return 0;
    }
    const int played = RetrieveChar(out, outSize);
    if (played != 0) {
        return played;
    }
    CTextDataBuffer* packet = nullptr;
    do {
        if (m_pDecList == nullptr) {
            VRN_LOG(VRN_LOG_FAILURE, "%s: m_pDecList is NULL");
            return 0;
        }
        Node<CTextDataBuffer*>* const head = m_pDecList->HeadNode();
        if (head == nullptr) {
            return 0;
        }
        packet = head->m_Data;
        if (packet == nullptr) {
            VRN_LOG(VRN_LOG_FAILURE, "%s: pPayloadInfo is NULL");
            return 0;
        }
        VRN_LOG(VRN_LOG_TRACE, "%s: m_nPrevExtSeqNum = %d current extended seq num = %d", m_nPrevExtSeqNum,
                packet->m_nExtSeqNum);
    } while (DropUnplayable(packet));

    const uint32_t seq = packet->m_nExtSeqNum;
    if (m_nPrevExtSeqNum == 0) {
        // Nothing played yet: the packet counts as the successor of the last one played.
        m_nPrevExtSeqNum = seq == 0 ? 0 : seq - 1;
    } else if (RedundancyIsFrameReadyToPlay(seq) != 1 && s_nLastPlayTick + LOSS_WAIT_MS > VRNGetTickCount()) {
        return 0; // the missing packets may still come
    }
    const uint32_t missing = PlayOldest(packet);
    if (missing == 0) {
        return RetrieveChar(out, outSize);
    }
    VRN_LOG(VRN_LOG_TRACE, "%s: No. of missing characters:%d", missing);
    if (outSize < MIN_TEXT_SIZE) {
        return 0;
    }
    // Kept: hosts know the mark as these two bytes, with the count of packets as the length.
    memcpy(out, &LOSS_MARK, sizeof(LOSS_MARK));
    return static_cast<int>(missing);
}

// Removes the head packet if it is a RED one that cannot be played: malformed, or not above what was played already.
// Neither may move the last-played number or the shared tick, or a stranger's packets would slow playout down.
bool T140Codec::DropUnplayable(CTextDataBuffer* packet) {
    if (!packet->m_bIsRedundant || m_nRedLevel == 0) {
        return false;
    }
    RedBlocks blocks;
    if (RedFindBlocks(packet->m_pData, packet->m_nLength, blocks) && !IsOld(packet->m_nExtSeqNum)) {
        return false;
    }
    RemoveHead(packet);
    return true;
}

// A stream that starts with sequence number 0 and carries generations makes the last-played number wrap below 0; the
// packet is then still ahead of it, by no more than its blocks.
bool T140Codec::IsOld(uint32_t seq) const {
    const uint32_t ahead = seq - m_nPrevExtSeqNum;
    return m_nPrevExtSeqNum != 0 && seq <= m_nPrevExtSeqNum && (ahead == 0 || ahead > RED_MAX_REDUNDANT_BLOCKS);
}

void T140Codec::RemoveHead(CTextDataBuffer* packet) {
    delete packet;
    m_pDecList->DeleteNode(nullptr, VRN_LIST_HEAD);
}

// Loads the oldest block of the packet not yet played and, with its newest, is done with the packet. The number of
// packets before that block that are lost for good.
uint32_t T140Codec::PlayOldest(CTextDataBuffer* packet) {
    const uint32_t seq = packet->m_nExtSeqNum;
    const uint32_t saved = m_nPrevExtSeqNum;
    s_nLastPlayTick = VRNGetTickCount();
    uint8_t* data = packet->m_pData;
    uint32_t length = packet->m_nLength;
    if (packet->m_bIsRedundant) {
        ParseRedundancyBuf(seq, &data, &length);
    } else {
        m_nPrevExtSeqNum = seq;
    }
    PrintText(data, static_cast<int>(length));
    StoreChar(data, static_cast<int>(length));
    if (m_nPrevExtSeqNum == seq) {
        RemoveHead(packet);
    }
    const uint32_t expected = saved + m_nSkippedBlocks + 1;
    return m_nPrevExtSeqNum > expected ? m_nPrevExtSeqNum - expected : 0;
}

// Ready: every packet between the last played one and this is among its generations.
int T140Codec::RedundancyIsFrameReadyToPlay(unsigned int seq) {
    VRN_LOG(VRN_LOG_TRACE, "%s: m_nPrevExtSeqNum = %d current seq num = %d redlevl = %d", m_nPrevExtSeqNum, seq,
            m_nRedLevel);
    return seq <= m_nPrevExtSeqNum + m_nRedLevel + 1 ? 1 : -1;
}

// Narrows a RED payload to the oldest of its blocks that is not played and not empty. Block j of n redundant ones and
// the primary belongs to packet seq - n + j: sequence numbers alone place the blocks. Blocks lie as RedPayload.h draws.
int T140Codec::ParseRedundancyBuf(unsigned int seq, unsigned char** data, unsigned int* length) {
    if (m_nRedLevel == 0) {
        m_nPrevExtSeqNum = seq;
        VRN_LOG(VRN_LOG_FAILURE, "%s: Update Previous Extended Seqno to %d", m_nPrevExtSeqNum);
        return 1;
    }
    RedBlocks blocks;
    if (*data == nullptr || !RedFindBlocks(*data, *length, blocks)) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: ParseRedundancyBuf payload Info is NULL");
        return -1;
    }
    VRN_LOG(VRN_LOG_TRACE, "%s: prevExtSeqNum = %d, frmseqNum = %d, *plen = %d", m_nPrevExtSeqNum, seq, *length);
    const uint32_t n = blocks.m_nRedundant;
    for (uint32_t i = 0; i < blocks.m_nHeaders; ++i) {
        const RedBlockHeader& header = blocks.m_Header[i];
        VRN_LOG(VRN_LOG_TRACE, "%s: RTP RED Payload Header FBIT:%d, Block PT: %d", header.m_bRedundant,
                header.m_nPayloadType);
        if (header.m_bRedundant) {
            VRN_LOG(VRN_LOG_TRACE, "%s: RTP RED Payload Header TIMEOFFSET: %d, Block Len: %d",
                    header.m_nTimestampOffset, header.m_nLength);
        } else {
            VRN_LOG(VRN_LOG_TRACE, "%s: Original len = %d uiTotalRedLen:%d", blocks.m_nLength[i],
                    blocks.m_nRedundantBytes);
        }
    }
    const uint32_t gap = seq - m_nPrevExtSeqNum;
    // A gap of 0 is the start of a stream at number 0. A gap past the blocks: more is lost than the packet carries.
    const uint32_t start = (gap == 0 || n + 1 < gap) ? 0 : n + 1 - gap;
    uint32_t offset = blocks.m_nHeaderBytes;
    for (uint32_t i = 0; i < start; ++i) {
        offset += blocks.m_nLength[i];
    }
    uint32_t block = start;
    while (start <= LAST_START_THAT_SKIPS && block < n && blocks.m_nLength[block] == 0 &&
           block < LAST_BLOCK_SKIPPED_TO) {
        ++block;
    }
    m_nSkippedBlocks = block - start;
    VRN_LOG(VRN_LOG_TRACE,
            "%s: Size of headers = %d, iRedCountIndex = %d Offset = %d  iPacketNum:%d  iOffsetLength = %d",
            blocks.m_nHeaderBytes, n, offset, block, m_nSkippedBlocks);
    *data += offset;
    *length = blocks.m_nLength[block];
    m_nPrevExtSeqNum = seq - n + block;
    return 1;
}

// Kept: a character cut at the end of a block is completed from whatever follows in the play buffer.
int T140Codec::RetrieveChar(unsigned char* out, int outSize) {
    if (outSize < MIN_TEXT_SIZE || m_nPlayLen <= m_nPlayPos) {
        return 0;
    }
    uint8_t character[UTF8_MAX_SIZE] = {};
    const int size = getUTF8FrameSize(m_PlayBuf + m_nPlayPos);
    memcpy(character, m_PlayBuf + m_nPlayPos,
           std::min<size_t>(static_cast<size_t>(size), PLAY_BUFFER_SIZE - m_nPlayPos));
    memcpy(out, character, static_cast<size_t>(std::min(size, outSize)));
    m_nPlayPos += static_cast<uint32_t>(size);
    VRN_LOG(VRN_LOG_TRACE, "%s: RetrieveChar : Returned char %c", character[0]);
    for (int i = 0; i < size && VRNLogEnabled(VRN_LOG_TRACE); ++i) {
        VRN_LOG(VRN_LOG_TRACE, "%s: 0x%x", character[i]);
    }
    return size;
}

int T140Codec::getUTF8FrameSize(unsigned char* lead) {
    return lead == nullptr ? 0 : UTF8_TRAILING_BYTES[*lead] + 1;
}

void T140Codec::PrintText(unsigned char* data, int len) {
    if (len == 0 || data == nullptr || !VRNLogEnabled(VRN_LOG_TRACE)) {
        return;
    }
    char text[PLAY_BUFFER_SIZE + 1];
    size_t characters = 0;
    for (int i = 0; i < len && characters < PLAY_BUFFER_SIZE; ++i) {
        if (data[i] != '\0') {
            text[characters++] = static_cast<char>(data[i]);
        }
    }
    text[characters] = '\0';
    VRN_LOG(VRN_LOG_TRACE, "%s: Data len :%d, no. chars = %d, data = %s", len, static_cast<int>(characters), text);
}

int T140Codec::StoreChar(unsigned char* data, int len) {
    const int stored = std::max(0, std::min(len, static_cast<int>(PLAY_BUFFER_SIZE)));
    if (stored > 0) {
        memcpy(m_PlayBuf, data, static_cast<size_t>(stored));
    }
    m_nPlayPos = 0;
    m_nPlayLen = static_cast<uint32_t>(stored);
    return len;
}

int T140Codec::CopyTextData(unsigned char* dst, unsigned short len, unsigned char* src) {
    if (src == nullptr) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: pPayloadInfo is NULL");
        return 0;
    }
    memcpy(dst, src, len);
    VRN_LOG(VRN_LOG_TRACE, "%s: Copied len: %d", len);
    return len;
}
