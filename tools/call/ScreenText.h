// What one side of a call has typed, as a person reads it: T.140's controls carried out, lines broken at the width of a
// screen. Knows no terminal.
#ifndef TOOLS_CALL_SCREEN_TEXT_H
#define TOOLS_CALL_SCREEN_TEXT_H

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// One row of a screen.
struct ScreenRow {
    std::string text; // UTF-8, nothing in it moves a cursor
    int cells;        // that it takes
};

// Confined to one thread. The process's locale has UTF-8 characters.
//
//   U+0008                           erases the character before it with its combining marks, or the new line before it
//   CR LF, CR, LF, U+2028, U+2029    a new line; CR LF once
//   U+0007                           a bell
//   U+FEFF, other controls           nothing
//   ESC and U+009B sequences (SGR), control strings (SOS to ST): nothing
//   tab                              a blank
//   no character                     U+FFFD
//   joiners, variation selectors, bidirectional controls: kept as marks, not shown
class ScreenText {
public:
    // Takes whole characters as they come.
    void Put(std::string_view text);
    // Takes a loss mark: one U+FFFD for each packet, or above MAX_SIGNS one with the count. A count below 1, which a
    // stream that starts with number 0 can have, is one sign.
    void PutLoss(int packets);

    // The last rows that fit, oldest first; there is at least one. A character is never split: a wide one that does
    // not fit goes to the next row whole.
    std::vector<ScreenRow> Rows(int width, int height) const;
    // Whether a bell came since the last call.
    bool TakeBell();
    // Takes the first line off if another has begun after it.
    std::optional<std::string> TakeLine();

    static constexpr int MAX_SIGNS = 8;
    // What is kept, in characters and lines together; the oldest goes.
    static constexpr size_t MAX_KEPT = 50000;

private:
    // What is erased as one: a character with its marks, or the sign of a loss.
    struct Sign {
        std::string text;
        int cells;
        int marks;
    };
    using Line = std::vector<Sign>;
    // Where in a control sequence the text is.
    enum Sequence { NO_SEQUENCE, AFTER_ESCAPE, IN_PARAMETERS, IN_STRING };

    void Take(wchar_t code, std::string_view character);
    bool ContinuesSequence(wchar_t code);
    bool ContinuesString(wchar_t code);
    bool BeginsSequence(wchar_t code);
    bool Begin(Sequence sequence);
    // True for a control, which is then done.
    bool CarriesOutControl(wchar_t code);
    void AddCharacter(wchar_t code, std::string_view character);
    void AddMark(std::string_view mark);
    void Add(Sign sign);
    void NewLine();
    void Erase();
    void ForgetOldest();
    static std::vector<ScreenRow> Wrap(const Line& line, int width);

    std::deque<Line> m_Lines{1};
    size_t m_nKept = 1;
    Sequence m_Sequence = NO_SEQUENCE;
    int m_nSequenceLength = 0;
    bool m_bAfterCr = false;
    bool m_bBell = false;
};

#endif
