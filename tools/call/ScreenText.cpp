#include "call/ScreenText.h"

#include "common/TextForms.h"

#include <cwchar>
#include <utility>

namespace {

constexpr std::string_view MISSING_TEXT = "\uFFFD"; // T.140's sign for missing text
constexpr wchar_t NO_CHARACTER = 0xFFFD;

constexpr wchar_t BELL = 0x07;
constexpr wchar_t BACKSPACE = 0x08;
constexpr wchar_t TAB = 0x09;
constexpr wchar_t LINE_FEED = 0x0A;
constexpr wchar_t CARRIAGE_RETURN = 0x0D;
constexpr wchar_t ESCAPE = 0x1B;
constexpr wchar_t DELETE = 0x7F;
constexpr wchar_t CONTROL_SEQUENCE = 0x9B; // as ESC [
constexpr wchar_t STRING_END = 0x9C;       // as ESC backslash
constexpr wchar_t LAST_C1 = 0x9F;
constexpr wchar_t LINE_SEPARATOR = 0x2028;
constexpr wchar_t PARAGRAPH_SEPARATOR = 0x2029;
constexpr wchar_t BYTE_ORDER_MARK = 0xFEFF;

// What starts a control string: DCS, SOS, OSC, PM and APC, as one character and after ESC (ECMA-48, 5.6).
constexpr std::wstring_view STRING_STARTS = L"\u0090\u0098\u009D\u009E\u009F";
constexpr std::wstring_view STRING_STARTS_AFTER_ESCAPE = L"PX]^_";
// Text after a sequence that never ends must not go on being hidden. A string is allowed so many by T.140; no sequence
// in use has more parameters than these.
constexpr int MAX_STRING = 256;
constexpr int MAX_PARAMETERS = 32;

// Kept in the text and not shown. A joiner or a variation selector makes a terminal draw two characters as one, or one
// wider, so that what stands behind it moves; a bidirectional control turns the rest of the row about.
constexpr std::wstring_view NOT_SHOWN = L"\u061C\u200D\u200E\u200F\u202A\u202B\u202C\u202D\u202E"
                                        L"\u2066\u2067\u2068\u2069\uFE0E\uFE0F";

// A terminal's cell holds no more, and a far end cannot pile up memory.
constexpr int MAX_MARKS = 4;

bool Contains(std::wstring_view set, wchar_t code) {
    return set.find(code) != std::wstring_view::npos;
}

bool IsBetween(wchar_t code, wchar_t first, wchar_t last) {
    return code >= first && code <= last;
}

bool IsNewLine(wchar_t code) {
    return code == CARRIAGE_RETURN || code == LINE_FEED || code == LINE_SEPARATOR || code == PARAGRAPH_SEPARATOR;
}

wchar_t CodeOf(std::string_view character) {
    wchar_t code = 0;
    mbstate_t state = {};
    const size_t length = mbrtowc(&code, character.data(), character.size(), &state);
    const bool isNull = length == 0;
    return isNull || length == character.size() ? code : NO_CHARACTER;
}

std::string ShownOf(std::string_view text) {
    std::string shown;
    for (size_t length = 0; !text.empty(); text.remove_prefix(length)) {
        length = CharacterLength(text);
        if (!Contains(NOT_SHOWN, CodeOf(text.substr(0, length)))) {
            shown += text.substr(0, length);
        }
    }
    return shown;
}

} // namespace

void ScreenText::Put(std::string_view text) {
    while (!text.empty()) {
        const std::string_view character = text.substr(0, CharacterLength(text));
        text.remove_prefix(character.size());
        Take(CodeOf(character), character);
    }
}

void ScreenText::PutLoss(int packets) {
    // What would have ended a sequence may be what is missing.
    m_Sequence = NO_SEQUENCE;
    m_bAfterCr = false;
    const std::string sign(MISSING_TEXT);
    if (packets > MAX_SIGNS) {
        const std::string count = "(" + std::to_string(packets) + ")";
        Add({sign + count, 1 + static_cast<int>(count.size()), 0});
        return;
    }
    Add({sign, 1, 0});
    for (int i = 1; i < packets; ++i) {
        Add({sign, 1, 0});
    }
}

bool ScreenText::TakeBell() {
    return std::exchange(m_bBell, false);
}

std::optional<std::string> ScreenText::TakeLine() {
    if (m_Lines.size() == 1) {
        return std::nullopt;
    }
    std::string text;
    for (const Sign& sign : m_Lines.front()) {
        text += sign.text;
    }
    m_nKept -= m_Lines.front().size() + 1;
    m_Lines.pop_front();
    return text;
}

void ScreenText::Take(wchar_t code, std::string_view character) {
    const bool afterCr = std::exchange(m_bAfterCr, false);
    if (ContinuesSequence(code) || BeginsSequence(code)) {
        return;
    }
    if (IsNewLine(code)) {
        m_bAfterCr = code == CARRIAGE_RETURN;
        if (!afterCr || code != LINE_FEED) {
            NewLine();
        }
    } else if (!CarriesOutControl(code)) {
        AddCharacter(code, character);
    }
}

// What has no place in the sequence ends it and is read as if there were none.
bool ScreenText::ContinuesSequence(wchar_t code) {
    const Sequence sequence = m_Sequence;
    if (sequence == NO_SEQUENCE || IsNewLine(code)) {
        m_Sequence = NO_SEQUENCE;
        return false;
    }
    if (sequence == IN_STRING) {
        return ContinuesString(code);
    }
    if (sequence == AFTER_ESCAPE && code == '[') {
        return Begin(IN_PARAMETERS);
    }
    if (sequence == AFTER_ESCAPE && Contains(STRING_STARTS_AFTER_ESCAPE, code)) {
        return Begin(IN_STRING);
    }
    // ECMA-48, 5.3 and 5.4: intermediate bytes, in a control sequence parameters too, then the final one.
    if (IsBetween(code, ' ', sequence == IN_PARAMETERS ? '?' : '/') && ++m_nSequenceLength < MAX_PARAMETERS) {
        return true;
    }
    m_Sequence = NO_SEQUENCE;
    return IsBetween(code, sequence == IN_PARAMETERS ? '@' : '0', '~');
}

bool ScreenText::ContinuesString(wchar_t code) {
    if (code == ESCAPE) {
        return Begin(AFTER_ESCAPE);
    }
    if (code == STRING_END || code == BELL || ++m_nSequenceLength == MAX_STRING) {
        m_Sequence = NO_SEQUENCE;
    }
    return true;
}

bool ScreenText::BeginsSequence(wchar_t code) {
    if (code == ESCAPE) {
        return Begin(AFTER_ESCAPE);
    }
    if (code == CONTROL_SEQUENCE) {
        return Begin(IN_PARAMETERS);
    }
    return Contains(STRING_STARTS, code) && Begin(IN_STRING);
}

bool ScreenText::Begin(Sequence sequence) {
    m_Sequence = sequence;
    m_nSequenceLength = 0;
    return true;
}

bool ScreenText::CarriesOutControl(wchar_t code) {
    if (code == BACKSPACE) {
        Erase();
    } else if (code == BELL) {
        m_bBell = true;
    } else if (code == TAB) {
        Add({" ", 1, 0});
    }
    return code < ' ' || IsBetween(code, DELETE, LAST_C1) || code == BYTE_ORDER_MARK;
}

void ScreenText::AddCharacter(wchar_t code, std::string_view character) {
    const int cells = wcwidth(code);
    if (cells == 0) {
        AddMark(character);
    } else if (cells < 0 || code == NO_CHARACTER) {
        Add({std::string(MISSING_TEXT), 1, 0});
    } else {
        Add({std::string(character), cells, 0});
    }
}

void ScreenText::AddMark(std::string_view mark) {
    if (m_Lines.back().empty()) {
        Add({" ", 1, 0});
    }
    Sign& sign = m_Lines.back().back();
    if (sign.marks < MAX_MARKS) {
        sign.text += mark;
        ++sign.marks;
    }
}

void ScreenText::Add(Sign sign) {
    m_Lines.back().push_back(std::move(sign));
    ++m_nKept;
    ForgetOldest();
}

void ScreenText::NewLine() {
    m_Lines.emplace_back();
    ++m_nKept;
    ForgetOldest();
}

void ScreenText::Erase() {
    if (!m_Lines.back().empty()) {
        m_Lines.back().pop_back();
    } else if (m_Lines.size() > 1) {
        m_Lines.pop_back();
    } else {
        return;
    }
    --m_nKept;
}

void ScreenText::ForgetOldest() {
    if (m_nKept <= MAX_KEPT) {
        return;
    }
    if (m_Lines.size() > 1) {
        m_nKept -= m_Lines.front().size() + 1;
        m_Lines.pop_front();
        return;
    }
    // One line without an end: its first half, so that this is seldom.
    Line& line = m_Lines.front();
    const size_t half = line.size() / 2;
    line.erase(line.begin(), line.begin() + static_cast<Line::difference_type>(half));
    m_nKept -= half;
}

std::vector<ScreenRow> ScreenText::Rows(int width, int height) const {
    std::vector<ScreenRow> rows;
    for (auto line = m_Lines.rbegin(); line != m_Lines.rend() && static_cast<int>(rows.size()) < height; ++line) {
        std::vector<ScreenRow> wrapped = Wrap(*line, width);
        rows.insert(rows.begin(), wrapped.begin(), wrapped.end());
    }
    if (static_cast<int>(rows.size()) > height) {
        rows.erase(rows.begin(), rows.end() - height);
    }
    return rows;
}

std::vector<ScreenRow> ScreenText::Wrap(const Line& line, int width) {
    std::vector<ScreenRow> rows{{"", 0}};
    for (const Sign& sign : line) {
        if (rows.back().cells > 0 && rows.back().cells + sign.cells > width) {
            rows.push_back({"", 0});
        }
        rows.back().text += sign.marks == 0 ? sign.text : ShownOf(sign.text);
        rows.back().cells += sign.cells;
    }
    return rows;
}
