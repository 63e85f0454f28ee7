// RED payloads: the blocks found are those that an independent parser finds, and writing their headers gives the
// bytes back.
#include "codec/RedPayload.h"
#include "fuzz/Fuzz.h"
#include "tests/support/RedBlocks.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const Bytes payload(data, data + size);
    RedBlocks found;
    const std::vector<RedBlock> expected = ParseRed(payload, RED_MAX_REDUNDANT_BLOCKS);
    const bool fits = RedFindBlocks(payload.data(), payload.size(), found);
    FUZZ_CHECK(fits == !expected.empty() && (!fits || found.m_nRedundant + 1 == expected.size()));
    const uint32_t primaries = found.m_nRedundant < RED_MAX_REDUNDANT_BLOCKS ? 1 : 0;
    FUZZ_CHECK(!fits || found.m_nHeaders == found.m_nRedundant + primaries);
    Bytes headers(found.m_nRedundant * RED_BLOCK_HEADER_SIZE);
    ByteWriter writer(headers.data(), headers.size());
    ByteReader blocks(payload.data(), payload.size());
    FUZZ_CHECK(!fits || blocks.Skip(headers.size() + primaries));
    for (size_t i = 0; i < expected.size(); ++i) {
        const RedBlockHeader& header = found.m_Header[i];
        const Bytes block = Take(blocks, found.m_nLength[i]);
        FUZZ_CHECK(std::string(block.begin(), block.end()) == expected[i].data);
        FUZZ_CHECK(header.m_nPayloadType == expected[i].payloadType && header.m_nTimestampOffset == expected[i].offset);
        FUZZ_CHECK(header.m_bRedundant == (i < found.m_nRedundant));
        if (header.m_bRedundant) {
            RedWriteBlockHeader(writer, header.m_nPayloadType, header.m_nTimestampOffset, header.m_nLength);
        }
    }
    FUZZ_CHECK(!fits ||
               (std::equal(headers.begin(), headers.end(), payload.begin()) && blocks.Left() * primaries == 0));
    return 0;
}
