// Reading and writing bytes on the wire, big-endian, within bounds. Both compare what is left with what is asked for;
// neither ever adds to a pointer what does not fit. One failed step makes every later one fail, so that a parser may
// check once at its end.
#ifndef UTIL_BYTE_READER_H
#define UTIL_BYTE_READER_H

#include <cstddef>
#include <cstdint>
#include <cstring>

// Confined to one thread; does not own the bytes.
class ByteReader {
public:
    ByteReader(const uint8_t* data, size_t length) : m_pData(data), m_nLeft(data == nullptr ? 0 : length) {}

    bool Ok() const { return m_bOk; }
    size_t Left() const { return m_nLeft; }
    const uint8_t* Position() const { return m_pData; }

    uint8_t U8() { return static_cast<uint8_t>(BigEndian(1)); }
    uint16_t U16() { return static_cast<uint16_t>(BigEndian(2)); }
    uint32_t U24() { return BigEndian(3); }
    uint32_t U32() { return BigEndian(4); }

    bool Skip(size_t length) {
        if (!m_bOk || length > m_nLeft) {
            m_bOk = false;
            return false;
        }
        m_pData += length;
        m_nLeft -= length;
        return true;
    }

private:
    // 0 when fewer than `size` bytes are left.
    uint32_t BigEndian(size_t size) {
        const uint8_t* bytes = m_pData;
        if (!Skip(size)) {
            return 0;
        }
        uint32_t value = 0;
        for (size_t i = 0; i < size; ++i) {
            value = (value << 8) | bytes[i];
        }
        return value;
    }

    const uint8_t* m_pData;
    size_t m_nLeft;
    bool m_bOk = true;
};

// Confined to one thread; does not own the bytes.
class ByteWriter {
public:
    ByteWriter(uint8_t* data, size_t capacity) : m_pData(data), m_nLeft(data == nullptr ? 0 : capacity) {}

    bool Ok() const { return m_bOk; }
    size_t Written() const { return m_nWritten; }

    void U8(uint32_t value) { BigEndian(value, 1); }
    void U16(uint32_t value) { BigEndian(value, 2); }
    void U24(uint32_t value) { BigEndian(value, 3); }
    void U32(uint32_t value) { BigEndian(value, 4); }

    void Bytes(const uint8_t* bytes, size_t length) {
        if (length > 0 && Claim(length)) {
            memcpy(m_pData - length, bytes, length);
        }
    }

private:
    bool Claim(size_t length) {
        if (!m_bOk || length > m_nLeft) {
            m_bOk = false;
            return false;
        }
        m_pData += length;
        m_nLeft -= length;
        m_nWritten += length;
        return true;
    }

    void BigEndian(uint32_t value, size_t size) {
        if (!Claim(size)) {
            return;
        }
        for (size_t i = 1; i <= size; ++i) {
            m_pData[-static_cast<std::ptrdiff_t>(i)] = static_cast<uint8_t>(value);
            value >>= 8;
        }
    }

    uint8_t* m_pData;
    size_t m_nLeft;
    size_t m_nWritten = 0;
    bool m_bOk = true;
};

#endif
