// A RED payload built and found again, against copying the same bytes twice.

#include "codec/RedPayload.h"

#include <benchmark/benchmark.h>
#include <cstring>

namespace {

constexpr size_t BLOCK = 20;
constexpr size_t MAX_SIZE = 500;
constexpr uint8_t TYPE = 98;
constexpr uint32_t OFFSET = 300;

size_t PayloadSize(size_t level) {
    return level * RED_BLOCK_HEADER_SIZE + RED_PRIMARY_HEADER_SIZE + (level + 1) * BLOCK;
}

void RedPayload(benchmark::State& state) {
    const uint32_t level = static_cast<uint32_t>(state.range(0));
    uint8_t text[BLOCK] = {}, payload[MAX_SIZE], read[MAX_SIZE];
    for (auto _ : state) {
        ByteWriter writer(payload, MAX_SIZE);
        for (uint32_t i = level; i > 0; --i) {
            RedWriteBlockHeader(writer, TYPE, i * OFFSET, BLOCK);
        }
        writer.U8(TYPE);
        for (uint32_t i = 0; i <= level; ++i) {
            writer.Bytes(text, BLOCK);
        }
        benchmark::DoNotOptimize(payload);
        RedBlocks blocks;
        benchmark::DoNotOptimize(RedFindBlocks(payload, writer.Written(), blocks));
        const uint8_t* block = payload + blocks.m_nHeaderBytes;
        uint8_t* to = read;
        for (uint32_t i = 0; i <= blocks.m_nRedundant; ++i) {
            memcpy(to, block, blocks.m_nLength[i]);
            to += blocks.m_nLength[i];
            block += blocks.m_nLength[i];
        }
        benchmark::DoNotOptimize(read);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(RedPayload)->Arg(2)->Arg(5);

void RedPayloadBare(benchmark::State& state) {
    size_t size = PayloadSize(static_cast<size_t>(state.range(0)));
    uint8_t text[MAX_SIZE] = {}, payload[MAX_SIZE], read[MAX_SIZE];
    for (auto _ : state) {
        benchmark::DoNotOptimize(size); // a copy of a length that is not known beforehand
        memcpy(payload, text, size);
        benchmark::DoNotOptimize(payload);
        memcpy(read, payload, size);
        benchmark::DoNotOptimize(read);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(RedPayloadBare)->Arg(2)->Arg(5);

} // namespace
