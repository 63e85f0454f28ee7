// Character sizes in UTF-8 text, by the lead byte. The 5- and 6-byte forms that RFC 3629 took out are accepted, since
// far ends may send them.
#ifndef CODEC_UTF8_H
#define CODEC_UTF8_H

#include <cstddef>
#include <cstdint>

constexpr size_t UTF8_MAX_SIZE = 6;

// How many bytes follow a lead byte; a continuation byte counts as a character of its own.
extern const uint8_t UTF8_TRAILING_BYTES[256];

// The bytes of text that belong together at its start: a lead byte with those of its continuation bytes that are
// there, so that cut or malformed text still moves on. 0 for no text, else 1 to 6.
size_t Utf8CharacterLength(const uint8_t* text, size_t length);

// The longest start of the text that has at most `limit` bytes and ends between characters.
size_t Utf8WholeCharacters(const uint8_t* text, size_t length, size_t limit);

#endif
