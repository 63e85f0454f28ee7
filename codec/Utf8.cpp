#include "codec/Utf8.h"

// clang-format off
const uint8_t UTF8_TRAILING_BYTES[256] = {
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, // 00
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, // 10
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, // 20
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, // 30
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, // 40
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, // 50
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, // 60
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, // 70
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, // 80: continuation bytes
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, // 90
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, // A0
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, // B0
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, // C0
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, // D0
    2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, // E0
    3, 3, 3, 3, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, // F0
};
// clang-format on

namespace {
bool IsContinuation(uint8_t byte) {
    return (byte & 0xC0) == 0x80;
}
} // namespace

size_t Utf8CharacterLength(const uint8_t* text, size_t length) {
    if (length == 0) {
        return 0;
    }
    const size_t size = UTF8_TRAILING_BYTES[text[0]] + 1U;
    size_t present = 1;
    while (present < size && present < length && IsContinuation(text[present])) {
        ++present;
    }
    return present;
}

size_t Utf8WholeCharacters(const uint8_t* text, size_t length, size_t limit) {
    if (length <= limit) {
        return length;
    }
    size_t taken = 0;
    for (;;) {
        const size_t next = Utf8CharacterLength(text + taken, length - taken);
        if (taken + next > limit) {
            return taken;
        }
        taken += next;
    }
}
