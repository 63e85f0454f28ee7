// Prints a scripted call so that a person can follow it: not a line a character but a line a phrase, with the times
// of its first and its last character.
#ifndef TOOLS_CALL_CONVERSATION_PRINTER_H
#define TOOLS_CALL_CONVERSATION_PRINTER_H

#include <cstdint>
#include <string>
#include <string_view>

// Confined to one thread.
class ConversationPrinter {
public:
    // The name of this side.
    explicit ConversationPrinter(const std::string& name);

    void Typed(int64_t atMs, std::string_view text, bool endsPhrase);
    void Shown(int64_t atMs, std::string_view text);
    void Lost(int64_t atMs, int packets);
    void RtcpTimeout(int64_t atMs);
    // Prints what has waited too long for more of its phrase.
    void PrintStale(int64_t nowMs);
    void PrintAll();

private:
    // A phrase in the making.
    struct Phrase {
        const std::string what; // "Ana typed"
        const char* const colour;
        std::string visible; // ready for the screen
        std::string text;    // follows it, as it came: the two bytes of a CR LF come one by one
        int64_t firstMs = 0;
        int64_t lastMs = 0;
    };

    void Add(Phrase& phrase, int64_t atMs, std::string_view text);
    std::string Visible(const Phrase& phrase) const;
    void Print(Phrase& phrase);

    const bool m_bColour;
    const std::string m_Name;
    Phrase m_Typed;
    Phrase m_Shown;
};

#endif
