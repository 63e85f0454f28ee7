#include "sim/ShownText.h"

namespace {

void ShowCharacters(const std::string& text, std::vector<Handed>& shown) {
    for (size_t at = 0; at < text.size();) {
        size_t end = at + 1;
        while (end < text.size() && (static_cast<uint8_t>(text[end]) & 0xC0) == 0x80) {
            ++end;
        }
        shown.push_back({text.substr(at, end - at), static_cast<int>(end - at), false});
        at = end;
    }
}

} // namespace

std::vector<Handed> WhatMustBeShown(const std::vector<std::string>& packets, const std::vector<size_t>& arrived,
                                    size_t level) {
    std::vector<Handed> shown;
    size_t next = arrived.empty() ? packets.size() : arrived.front();
    for (const size_t index : arrived) {
        if (index < next) {
            continue; // repeated, overtaken, or restored already
        }
        if (index > next + level) {
            shown.push_back({"\xFD\xFF", static_cast<int>(index - level - next), true});
            next = index - level;
        }
        for (; next <= index; ++next) {
            ShowCharacters(packets[next], shown);
        }
    }
    return shown;
}
