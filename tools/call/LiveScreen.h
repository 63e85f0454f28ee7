// A call on a terminal: what they type above, what you type below, how the call stands at the bottom. All that vrn-call
// knows of ncurses is in here.
#ifndef TOOLS_CALL_LIVE_SCREEN_H
#define TOOLS_CALL_LIVE_SCREEN_H

#include "call/ScreenText.h"

enum class Key { TEXT, NEW_LINE, BACKSPACE, RTCP, DIRECTION, QUIT, OTHER };

// A pane: its label and its text.
struct ScreenPane {
    std::string label;
    const ScreenText& text;
};

// Confined to one thread, one in a process. The terminal is as it was once it is destroyed.
class LiveScreen {
public:
    LiveScreen() = default;
    ~LiveScreen();
    LiveScreen(const LiveScreen&) = delete;
    LiveScreen& operator=(const LiveScreen&) = delete;

    // False when the terminal is of a kind that is not known or cannot move its cursor.
    bool Open();
    // The size of the terminal has changed.
    void FollowSize();
    int Width() const;
    // The lines below stand at the bottom and take what they need, the panes share the rest. The cursor is where the
    // next character of `yours` appears.
    void Draw(const ScreenPane& theirs, const ScreenPane& yours, const std::vector<std::string>& status,
              const std::vector<std::string>& hints);
    // Shows what is drawn from now on in reverse. ncurses' own flash is nothing in some terminals (tmux among them).
    void SetReverse(bool isReverse);
    // The next key that was pressed; `text` is its character, UTF-8, for TEXT. False when there is none.
    bool NextKey(Key& key, std::string& text);

    static constexpr int MIN_WIDTH = 40;
    static constexpr int MIN_HEIGHT = 10;

private:
    static void DrawBar(int row, const std::string& text);
    // Leaves the cursor behind the text.
    static void DrawPane(const ScreenPane& pane, int top, int height);

    void* m_pTerminal = nullptr; // ncurses' SCREEN
};

#endif
