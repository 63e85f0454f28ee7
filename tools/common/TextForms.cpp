#include "common/TextForms.h"

#include <cstdio>

namespace {

constexpr std::string_view NEW_LINE = "\r\n";
constexpr std::string_view LINE_SEPARATOR = "\xE2\x80\xA8";
constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";
constexpr std::string_view BACKSPACE = "\b";
constexpr size_t HEX_DIGITS = 2;

bool StartsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

size_t LengthByLead(unsigned char lead) {
    if (lead >= 0xF0 && lead < 0xF8) {
        return 4;
    }
    if (lead >= 0xE0 && lead < 0xF0) {
        return 3;
    }
    return (lead >= 0xC0 && lead < 0xE0) ? 2 : 1;
}

bool IsContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

bool IsControl(char byte) {
    return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F;
}

// More bytes than the character needs, behind which a lenient terminal may find a control (RFC 3629, 10).
bool IsOverlong(std::string_view character) {
    const auto lead = static_cast<unsigned char>(character[0]);
    const auto next = static_cast<unsigned char>(character.size() > 1 ? character[1] : 0);
    return lead == 0xC0 || lead == 0xC1 || (lead == 0xE0 && next < 0xA0) || (lead == 0xF0 && next < 0x90);
}

// False for what a terminal may take as a command: controls, those of eight-bit terminals (U+0080 to U+009F) among them,
// and bytes that are no character.
bool IsShowable(std::string_view character) {
    const bool isC1 =
        character.size() == 2 && character[0] == '\xC2' && static_cast<unsigned char>(character[1]) < 0xA0;
    return !IsControl(character[0]) && !isC1 && !IsOverlong(character) &&
           character.size() == LengthByLead(static_cast<unsigned char>(character[0])) && !IsContinuation(character[0]);
}

int HexValue(char digit) {
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    return (digit >= 'A' && digit <= 'F') ? digit - 'A' + 10 : -1;
}

// A sequence of bytes and what stands for it.
struct Form {
    std::string_view bytes;
    std::string_view form;
};

constexpr Form ESCAPES[] = {{NEW_LINE, "\\n"}, {LINE_SEPARATOR, "\\u"}, {BACKSPACE, "\\b"}, {"\\", "\\\\"}};
constexpr Form SIGNS[] = {{NEW_LINE, "↵"}, {LINE_SEPARATOR, "↵"}, {BYTE_ORDER_MARK, ""}, {BACKSPACE, "⌫"}};

template <size_t N> const Form* FormAt(const Form (&forms)[N], std::string_view text) {
    for (const Form& form : forms) {
        if (StartsWith(text, form.bytes)) {
            return &form;
        }
    }
    return nullptr;
}

// Takes one \xHH; false when it is none.
bool TakeHexByte(std::string_view& line, std::string& text) {
    if (!StartsWith(line, "\\x") || line.size() < 2 + HEX_DIGITS) {
        return false;
    }
    const int high = HexValue(line[2]);
    const int low = HexValue(line[3]);
    if (high < 0 || low < 0) {
        return false;
    }
    text += static_cast<char>(high * 16 + low);
    line.remove_prefix(2 + HEX_DIGITS);
    return true;
}

bool TakeEscape(std::string_view& line, std::string& text) {
    for (const Form& form : ESCAPES) {
        if (StartsWith(line, form.form)) {
            text += form.bytes;
            line.remove_prefix(form.form.size());
            return true;
        }
    }
    return TakeHexByte(line, text);
}

} // namespace

size_t CharacterLength(std::string_view text) {
    if (text.empty()) {
        return 0;
    }
    const size_t length = LengthByLead(static_cast<unsigned char>(text[0]));
    size_t present = 1;
    while (present < length && present < text.size() && IsContinuation(text[present])) {
        ++present;
    }
    return present;
}

size_t CountCharacters(std::string_view text) {
    size_t count = 0;
    for (; !text.empty(); text.remove_prefix(CharacterLength(text))) {
        ++count;
    }
    return count;
}

size_t WholeCharacters(std::string_view text) {
    size_t whole = 0;
    while (whole < text.size()) {
        const size_t length = CharacterLength(text.substr(whole));
        const bool isLast = whole + length == text.size();
        if (isLast && length < LengthByLead(static_cast<unsigned char>(text[whole]))) {
            break;
        }
        whole += length;
    }
    return whole;
}

std::string Escape(std::string_view text) {
    std::string line;
    while (!text.empty()) {
        const Form* form = FormAt(ESCAPES, text);
        if (form != nullptr) {
            line += form->form;
            text.remove_prefix(form->bytes.size());
            continue;
        }
        if (IsControl(text[0])) {
            char hex[5];
            snprintf(hex, sizeof(hex), "\\x%02X", static_cast<unsigned char>(text[0]));
            line += hex;
        } else {
            line += text[0];
        }
        text.remove_prefix(1);
    }
    return line;
}

bool Unescape(std::string_view line, std::string& text) {
    std::string plain;
    while (!line.empty()) {
        if (line[0] != '\\') {
            plain += line[0];
            line.remove_prefix(1);
        } else if (!TakeEscape(line, plain)) {
            return false;
        }
    }
    text = plain;
    return true;
}

std::string VisibleText(std::string_view text) {
    std::string visible;
    while (!text.empty()) {
        const Form* form = FormAt(SIGNS, text);
        if (form != nullptr) {
            visible += form->form;
            text.remove_prefix(form->bytes.size());
            continue;
        }
        const size_t length = CharacterLength(text);
        visible += IsShowable(text.substr(0, length)) ? text.substr(0, length) : std::string_view("·");
        text.remove_prefix(length);
    }
    return visible;
}
