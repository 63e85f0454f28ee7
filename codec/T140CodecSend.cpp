// Sending: the 300 ms tick, the waiting text, and the redundancy of RFC 4103.

#include "codec/T140Codec.h"

#include "codec/Utf8.h"
#include "transport/CTextTransportManager.h"
#include "util/VRNClock.h"
#include "util/VRNLog.h"

#include <algorithm>

namespace {

// Above this level the headers alone leave no room for a character of any size, so text is not split to fit.
constexpr unsigned MAX_SPLIT_LEVEL = (MAX_PAYLOAD - RED_PRIMARY_HEADER_SIZE - UTF8_MAX_SIZE) / RED_BLOCK_HEADER_SIZE;
static_assert(MAX_SPLIT_LEVEL == 123, "the level above which long text is refused");

} // namespace

void TimerCallbackFn(sigval value) {
    static_cast<T140Codec*>(value.sival_ptr)->SendTimerCallback();
}

int T140Codec::SendText(unsigned char* text, unsigned int len) {
    VRNLock lock(m_Mutex);
    if (text == nullptr || len == 0) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: SendText:NULL Data: pText = %p length = %d", static_cast<void*>(text), len);
        return -1;
    }
    const bool textWaits = m_nWaitingText != 0;
    if (!IsOpen() || (m_bIsIdlePeriod && !textWaits && len > SEND_BUFFER_SIZE)) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: SendText: refused, length = %d", len);
        return -1;
    }
    m_nRedCount = m_nRedLevel;
    VRN_LOG(VRN_LOG_TRACE, "%s: isIdlePeriod: %d, data len:%d RedCount:%d", m_bIsIdlePeriod, len, m_nRedCount);
    // Text can also wait while idle, after a tick that could not be armed: it goes first.
    if (!m_bIsIdlePeriod || textWaits) {
        VRN_LOG(VRN_LOG_TRACE, "%s: SendText: Enqueue text: %s , %d", VRNLogText(text, len).c_str(), len);
        if (EnqueueText(text, len) != 1) {
            VRN_LOG(VRN_LOG_FAILURE, "%s: Pushing to Q has failed, Missing text is %x ", text[0]);
            return -1;
        }
        if (!m_bIsIdlePeriod) {
            return 1;
        }
    }
    uint8_t gathered[MAX_PAYLOAD];
    if (textWaits) {
        len = GatherText(gathered, GatherBudget());
        text = gathered;
    }
    for (unsigned int i = 0; i < len && VRNLogEnabled(VRN_LOG_TRACE); ++i) {
        VRN_LOG(VRN_LOG_TRACE, "%s: payload: 0x%x %c", text[i], text[i]);
    }
    st_payloadinfo info = {text, 1, len, VRNGetTickCount()};
    VRN_LOG(VRN_LOG_TRACE, "%s: length: %d bytes, Timestamp: %d", info.nLen, info.nTimeStamp);
    SendPayload(&info);
    if (m_hSendTimer != VRN_NO_TIMER && !VRNStartTimer(m_hSendTimer, SEND_INTERVAL_MS, TimerCallbackFn, this)) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: SendText:ERROR!..Start Timer\n");
        return -1;
    }
    --m_nRedCount;
    VRN_LOG(VRN_LOG_TRACE, "%s: Changing the red_seq [%d]", m_nRedCount);
    m_bIsIdlePeriod = 0;
    return 1;
}

// Keeps typed text in records that end between characters. 1, or -1 when it would pass the bound; then none is kept.
int T140Codec::EnqueueText(const unsigned char* text, unsigned int len) {
    if (len > MAX_WAITING_TEXT - m_nWaitingText) {
        return -1;
    }
    m_nWaitingText += len;
    while (len > 0) {
        TextBuffer* record = m_SpareText.Take();
        record->m_nLength = static_cast<uint32_t>(Utf8WholeCharacters(text, len, TEXT_BUFFER_CAPACITY));
        memcpy(record->m_Data, text, record->m_nLength);
        text += record->m_nLength;
        len -= record->m_nLength;
        m_pTextList->AddNode(record, nullptr, VRN_LIST_NODE);
    }
    return 1;
}

int T140Codec::SendTimerCallback() {
    VRNLock lock(m_Mutex);
    // A tick that was cancelled while it waited for the lock does nothing.
    if (!IsOpen() || !VRNExpiryIsCurrent()) {
        return 0;
    }
    if (m_pTextList->Count() < 1) {
        if (m_nRedCount >= 0) {
            SendEmptyPacket();
        } else {
            m_bIsIdlePeriod = 1;
        }
    } else {
        uint8_t gathered[MAX_PAYLOAD];
        const uint32_t total = GatherText(gathered, GatherBudget());
        // Text left over keeps the ticks going, and each part of it is repeated as often as the rest.
        m_nRedCount = m_nRedLevel;
        VRN_LOG(VRN_LOG_TRACE, "%s: Size of bulk data is = %d", total);
        for (uint32_t i = 0; i < total && VRNLogEnabled(VRN_LOG_TRACE); ++i) {
            VRN_LOG(VRN_LOG_TRACE, "%s: Data at pos : %d is %d", i, gathered[i]);
        }
        if (total != 0) {
            st_payloadinfo info = {gathered, 0, total, VRNGetTickCount()};
            SendPayload(&info);
        } else {
            SendEmptyPacket(); // the generations leave no room this time
        }
        m_bIsIdlePeriod = 0;
    }
    VRN_LOG(VRN_LOG_TRACE, "%s: Redundancy level:%d, Current Red count %d", m_nRedLevel, m_nRedCount);
    if (m_nRedCount < 0) {
        if (m_nRedLevel == 0) {
            SendEmptyPacket();
        }
        VRN_LOG(VRN_LOG_TRACE, "%s: No data to send/All the redundant data is sent, Do Not Start Timer");
        return 0;
    }
    --m_nRedCount;
    if (m_hSendTimer != VRN_NO_TIMER && !VRNStartTimer(m_hSendTimer, SEND_INTERVAL_MS, TimerCallbackFn, this)) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: Start_Timer failed");
        m_bIsIdlePeriod = 1; // no tick will come: the next text must start again
    }
    VRN_LOG(VRN_LOG_TRACE, "%s: :Exit");
    return 0;
}

// The bytes of text that the next payload has room for.
uint32_t T140Codec::GatherBudget() {
    if (m_nRedLevel == 0 || m_nRedLevel > MAX_SPLIT_LEVEL) {
        return MAX_PAYLOAD;
    }
    return MAX_PAYLOAD - std::min(MAX_PAYLOAD, RedundancyBytes());
}

// Takes the waiting text, or as many whole characters of it as the budget holds. The bytes taken.
uint32_t T140Codec::GatherText(uint8_t* gathered, uint32_t budget) {
    if (m_nWaitingText <= budget) {
        return TakeWaitingText(gathered, m_nWaitingText);
    }
    // One character more than the budget shows where the last one that fits ends.
    uint8_t ahead[MAX_PAYLOAD + UTF8_MAX_SIZE];
    const size_t wanted = budget + UTF8_MAX_SIZE;
    size_t seen = 0;
    for (Node<TextBuffer*>* node = m_pTextList->HeadNode(); node != nullptr && seen < wanted; node = node->m_pNext) {
        const size_t length = std::min<size_t>(node->m_Data->m_nLength, wanted - seen);
        memcpy(ahead + seen, node->m_Data->m_Data, length);
        seen += length;
    }
    return TakeWaitingText(gathered, static_cast<uint32_t>(Utf8WholeCharacters(ahead, seen, budget)));
}

uint32_t T140Codec::TakeWaitingText(uint8_t* gathered, uint32_t length) {
    uint32_t taken = 0;
    while (taken < length) {
        TextBuffer* record = m_pTextList->ReadNodeData(nullptr, VRN_LIST_HEAD);
        const uint32_t part = std::min(record->m_nLength, length - taken);
        memcpy(gathered + taken, record->m_Data, part);
        taken += part;
        if (part < record->m_nLength) {
            record->m_nLength -= part;
            memmove(record->m_Data, record->m_Data + part, record->m_nLength);
        } else {
            m_SpareText.GiveBack(record);
            m_pTextList->DeleteNode(nullptr, VRN_LIST_HEAD);
        }
    }
    m_nWaitingText -= taken;
    return taken;
}

void T140Codec::SendPayload(st_payloadinfo* info) {
    if (m_nRedLevel == 0) {
        m_pTransport->PacketizeAndSend(info, false);
        return;
    }
    bool isRed = false;
    if (AddRedundancy(info, &isRed) != 1) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: AddRedundancy Failed");
        return;
    }
    m_pTransport->PacketizeAndSend(info, isRed);
}

int T140Codec::SendEmptyPacket() {
    st_payloadinfo info = {nullptr, 0, 0, VRNGetTickCount()};
    VRN_LOG(VRN_LOG_TRACE, "%s: Sending Empty Packet");
    SendPayload(&info);
    return 1;
}

// What the generations and all headers take in the next RED payload.
uint32_t T140Codec::RedundancyBytes() {
    const uint32_t blocks = std::min<uint32_t>(static_cast<uint32_t>(m_pRedList->Count()), m_nRedLevel);
    uint32_t bytes = blocks * RED_BLOCK_HEADER_SIZE + RED_PRIMARY_HEADER_SIZE;
    for (Node<RedListData*>* node = m_pRedList->HeadNode(); node != nullptr; node = node->m_pNext) {
        bytes += node->m_Data->m_nLength;
    }
    return bytes;
}

// Puts the earlier generations in front of a payload and takes it into the history. The history moves only once the
// older generations are copied, so that no packet repeats its own text, and it moves for a payload that is too long,
// too. 1, or -1 for such a payload.
int T140Codec::AddRedundancy(st_payloadinfo* info, bool* bIsRedAdded) {
    memset(m_pSendBuf, 0, SEND_BUFFER_SIZE);
    *bIsRedAdded = m_nRedLevel != 0;
    VRN_LOG(VRN_LOG_TRACE, "%s: Red list count: %d bIsRedAdded:%d", m_pRedList->Count(), *bIsRedAdded);
    Node<RedListData*>* const head = m_pRedList->HeadNode();
    const uint32_t total = RedundancyBytes() + info->nLen;
    // Without room the writer writes nothing: a payload that is refused below is never built.
    ByteWriter writer(m_pSendBuf, total <= MAX_PAYLOAD ? SEND_BUFFER_SIZE : 0);

    uint32_t headerBytes = 0;
    uint8_t i = 0;
    for (Node<RedListData*>* node = head; node != nullptr && i < m_nRedLevel; node = node->m_pNext, ++i) {
        const RedListData* generation = m_pRedList->ReadNodeData(node, VRN_LIST_NODE);
        if (generation == nullptr) {
            continue;
        }
        VRN_LOG(VRN_LOG_TRACE, "%s: Read Red list data success: 0x%x", VRNLogAddress(generation));
        uint32_t offset = info->nTimeStamp - generation->m_nTimestamp;
        if (offset >= RED_OFFSET_LIMIT) {
            offset = static_cast<uint32_t>(m_nRedLevel - i) * SEND_INTERVAL_MS;
            VRN_LOG(VRN_LOG_TRACE, "%s: timestamp reset new value:%d length of packet %d", offset,
                    generation->m_nLength);
        }
        RedWriteBlockHeader(writer, static_cast<uint8_t>(generation->m_nPT), offset, generation->m_nLength);
        headerBytes += RED_BLOCK_HEADER_SIZE;
    }
    VRN_LOG(VRN_LOG_TRACE, "%s: Current diff in Buffer pointer = %d, isRed:%d", headerBytes, *bIsRedAdded);
    if (*bIsRedAdded) {
        writer.U8(m_nPT);
    }
    for (Node<RedListData*>* node = head; node != nullptr; node = node->m_pNext) {
        writer.Bytes(node->m_Data->m_pData, node->m_Data->m_nLength);
    }
    UpdateRedundancyList(info, head);
    if (info->pData != nullptr) {
        writer.Bytes(info->pData, info->nLen);
    }
    if (total > MAX_PAYLOAD) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: xan_add_redundancy, Payload len is greater:%d \n", total);
        return -1;
    }
    info->nLen = total;
    info->pData = m_pSendBuf;
    PrintText(info->pData, static_cast<int>(info->nLen));
    return 1;
}

void T140Codec::UpdateRedundancyList(st_payloadinfo* info, Node<RedListData*>* head) {
    VRN_LOG(VRN_LOG_TRACE, "%s: Redundant data node count:%d", m_pRedList->Count());
    if (head != nullptr && m_pRedList->Count() == m_nRedLevel) {
        delete[] head->m_Data->m_pData;
        delete head->m_Data;
        m_pRedList->DeleteNode(head, VRN_LIST_NODE);
    }
    const uint16_t length = static_cast<uint16_t>(info->nLen);
    if (length != 0 && info->pData == nullptr) {
        return;
    }
    RedListData* generation = new RedListData;
    generation->m_nTimestamp = info->nTimeStamp;
    generation->m_nLength = length;
    generation->m_nPT = m_nPT;
    if (length != 0) {
        generation->m_pData = new uint8_t[length];
        memcpy(generation->m_pData, info->pData, length);
    }
    m_pRedList->AddNode(generation, nullptr, VRN_LIST_NODE);
}
