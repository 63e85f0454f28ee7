#include "call/LiveScreen.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cwchar>
#include <sys/ioctl.h>
#include <unistd.h>

#define NCURSES_NOMACROS // functions, not macros named as half of all methods are
#include <curses.h>

namespace {

constexpr int ESCAPE_WAIT_MS = 25; // how long after ESC the rest of a key's sequence may come
constexpr wint_t ESCAPE = 0x1B;
constexpr const char* LABEL_LINE = "─";
constexpr const char* LABEL_START = "── ";

// In raw mode the control keys come as their characters.
constexpr wint_t Control(char letter) {
    return static_cast<wint_t>(letter & 0x1F);
}

Key KeyOf(wint_t code) {
    switch (code) {
    case Control('C'):
    case Control('Q'):
        return Key::QUIT;
    case Control('R'):
        return Key::RTCP;
    case Control('T'):
        return Key::DIRECTION;
    case Control('M'):
    case Control('J'):
        return Key::NEW_LINE;
    case Control('H'):
    case 0x7F:
        return Key::BACKSPACE;
    case Control('G'):
        return Key::TEXT; // T.140's alert
    default:
        return code >= ' ' ? Key::TEXT : Key::OTHER;
    }
}

Key FunctionKeyOf(wint_t code) {
    if (code == KEY_ENTER) {
        return Key::NEW_LINE;
    }
    return code == KEY_BACKSPACE ? Key::BACKSPACE : Key::OTHER;
}

std::string Utf8(wint_t code) {
    char bytes[MB_LEN_MAX];
    mbstate_t state = {};
    const size_t length = wcrtomb(bytes, static_cast<wchar_t>(code), &state);
    return length == static_cast<size_t>(-1) ? "" : std::string(bytes, length);
}

// The rest of a key that this terminal's description does not list, so that it is not typed: after ESC, O and one more,
// or [ and parameters up to a final byte (ECMA-48, 5.4).
void SkipUnknownKey() {
    wint_t code = 0;
    const int kind = wget_wch(stdscr, &code);
    if (kind == OK && code == '[') {
        while (wget_wch(stdscr, &code) == OK && (code < '@' || code > '~')) {
        }
    } else if (kind == OK && code == 'O') {
        wget_wch(stdscr, &code);
    } else if (kind != ERR) {
        kind == OK ? unget_wch(static_cast<wchar_t>(code)) : ungetch(static_cast<int>(code));
    }
}

} // namespace

LiveScreen::~LiveScreen() {
    if (m_pTerminal != nullptr) {
        endwin();
        delscreen(static_cast<SCREEN*>(m_pTerminal));
    }
}

bool LiveScreen::Open() {
    SCREEN* const terminal = newterm(nullptr, stdout, stdin);
    if (terminal == nullptr) {
        return false;
    }
    m_pTerminal = terminal;
    if (tigetstr("cup") == nullptr) { // cannot move its cursor
        return false;
    }
    raw(); // Ctrl-C is a key like others, and no key stops the output
    noecho();
    nonl();
    keypad(stdscr, TRUE);
    nodelay(stdscr, TRUE);
    set_escdelay(ESCAPE_WAIT_MS);
    return true;
}

void LiveScreen::FollowSize() {
    winsize size = {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0 && size.ws_col > 0) {
        resizeterm(size.ws_row, size.ws_col);
        wclear(stdscr); // a terminal moves text about when its size changes: all of it is drawn anew
    }
}

int LiveScreen::Width() const {
    return COLS;
}

void LiveScreen::Draw(const ScreenPane& theirs, const ScreenPane& yours, const std::vector<std::string>& status,
                      const std::vector<std::string>& hints) {
    werase(stdscr);
    if (COLS < MIN_WIDTH || LINES < MIN_HEIGHT) {
        mvwaddstr(stdscr, 0, 0, "too small: 40x10");
        wrefresh(stdscr);
        return;
    }
    const int bottom = static_cast<int>(status.size() + hints.size());
    const int theirHeight = (LINES - bottom + 1) / 2;
    int row = LINES - bottom;
    for (const std::string& line : status) {
        DrawBar(row++, line);
    }
    for (const std::string& line : hints) {
        mvwaddnstr(stdscr, row++, 0, line.c_str(), COLS - 1);
    }
    DrawPane(theirs, 0, theirHeight);
    DrawPane(yours, theirHeight, LINES - bottom - theirHeight);
    wrefresh(stdscr);
}

void LiveScreen::DrawBar(int row, const std::string& text) {
    std::string line = " " + text;
    line.resize(static_cast<size_t>(COLS), ' ');
    wattron(stdscr, A_REVERSE);
    mvwaddstr(stdscr, row, 0, line.c_str());
    wattroff(stdscr, A_REVERSE);
}

void LiveScreen::DrawPane(const ScreenPane& pane, int top, int height) {
    for (int column = 0; column < COLS; ++column) {
        mvwaddstr(stdscr, top, column, LABEL_LINE);
    }
    wattron(stdscr, A_BOLD);
    mvwaddnstr(stdscr, top, 0, (LABEL_START + pane.label + " ").c_str(), -1);
    wattroff(stdscr, A_BOLD);
    const std::vector<ScreenRow> rows = pane.text.Rows(COLS, height - 1);
    int row = top;
    for (const ScreenRow& each : rows) {
        mvwaddstr(stdscr, ++row, 0, each.text.c_str());
    }
    wmove(stdscr, row, std::min(rows.back().cells, COLS - 1));
}

void LiveScreen::SetReverse(bool isReverse) {
    wbkgd(stdscr, isReverse ? A_REVERSE | ' ' : ' ');
}

bool LiveScreen::NextKey(Key& key, std::string& text) {
    wint_t code = 0;
    const int kind = wget_wch(stdscr, &code);
    if (kind == ERR) {
        return false;
    }
    if (kind == OK && code == ESCAPE) {
        SkipUnknownKey();
    }
    key = kind == KEY_CODE_YES ? FunctionKeyOf(code) : KeyOf(code);
    text = key == Key::TEXT ? Utf8(code) : "";
    return true;
}
