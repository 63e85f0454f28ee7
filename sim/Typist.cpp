#include "sim/Typist.h"

namespace {

// Line ends, erasure, the bell, the byte order mark, combining marks, a sign of loss that was typed.
constexpr uint32_t SPECIAL[] = {0x08, 0x07, 0x0D, 0x0A, 0x2028, 0xFEFF, 0x0301, 0x20E3, 0xFFFD, 0x1B, 0x85, 0x200D};
constexpr uint32_t SURROGATES = 0xD800;
constexpr uint32_t BEHIND_SURROGATES = 0xE000;
constexpr uint32_t UNICODE_END = 0x110000;

std::string Utf8(uint32_t point) {
    const auto more = [point](int shift) { return static_cast<char>(0x80 | ((point >> shift) & 0x3F)); };
    const auto lead = [point](int shift, uint32_t mark) { return static_cast<char>(mark | point >> shift); };
    if (point < 0x80) {
        return {static_cast<char>(point)};
    }
    if (point < 0x800) {
        return {lead(6, 0xC0), more(0)};
    }
    if (point < 0x10000) {
        return {lead(12, 0xE0), more(6), more(0)};
    }
    return {lead(18, 0xF0), more(12), more(6), more(0)};
}

} // namespace

std::string Typist::Character() {
    const uint32_t kind = m_Random.Below(100);
    if (kind < 75) {
        return Utf8(m_Random.Between(0x20, 0x7E));
    }
    if (kind < 85) {
        return Utf8(m_Random.OneOf(SPECIAL));
    }
    const uint32_t point = m_Random.Between(1, UNICODE_END - 1);
    return Utf8(point >= SURROGATES && point < BEHIND_SURROGATES ? BEHIND_SURROGATES : point);
}

std::string Typist::Next() {
    std::string text;
    for (uint32_t count = m_Random.Chance(0.005) ? m_Random.Between(2, 300) : 1; count > 0 && text.size() < 440;
         --count) {
        text += Character();
    }
    return text;
}

uint32_t Typist::Pause() {
    return m_Random.Chance(0.05) ? m_Random.Between(500, 8000) : m_Random.Between(20, 150);
}
