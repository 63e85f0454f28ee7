#include "call/ConversationPrinter.h"

#include "common/TextForms.h"
#include "common/TimeLine.h"

namespace {

// A phrase that has had no new character for so long is printed as it is.
constexpr int64_t STALE_MS = 1500;

bool EndsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

bool EndsLine(std::string_view text) {
    return EndsWith(text, "\r\n") || EndsWith(text, "\xE2\x80\xA8");
}

} // namespace

ConversationPrinter::ConversationPrinter(const std::string& name)
    : m_bColour(ColourWanted()),
      m_Name(name), m_Typed{name + " typed", COLOUR_TYPED, "", ""}, m_Shown{name + " saw", COLOUR_SHOWN, "", ""} {}

void ConversationPrinter::Typed(int64_t atMs, std::string_view text, bool endsPhrase) {
    Add(m_Typed, atMs, text);
    if (endsPhrase) {
        Print(m_Typed);
    }
}

void ConversationPrinter::Shown(int64_t atMs, std::string_view text) {
    Add(m_Shown, atMs, text);
    if (EndsLine(m_Shown.text)) {
        Print(m_Shown);
    }
}

void ConversationPrinter::Lost(int64_t atMs, int packets) {
    Add(m_Shown, atMs, "");
    const std::string mark = "[" + std::to_string(packets) + (packets == 1 ? " packet" : " packets") + " lost]";
    m_Shown.visible = Visible(m_Shown) + Coloured(m_bColour ? COLOUR_LOSS : "", mark);
    m_Shown.text.clear();
}

void ConversationPrinter::RtcpTimeout(int64_t atMs) {
    PrintTimeLine(atMs, -1, m_Name, "hears no more RTCP from the far end");
}

void ConversationPrinter::PrintStale(int64_t nowMs) {
    for (Phrase* phrase : {&m_Typed, &m_Shown}) {
        if (nowMs - phrase->lastMs >= STALE_MS) {
            Print(*phrase);
        }
    }
}

void ConversationPrinter::PrintAll() {
    Print(m_Typed);
    Print(m_Shown);
}

void ConversationPrinter::Add(Phrase& phrase, int64_t atMs, std::string_view text) {
    if (phrase.visible.empty() && phrase.text.empty()) {
        phrase.firstMs = atMs;
    }
    phrase.lastMs = atMs;
    phrase.text += text;
}

std::string ConversationPrinter::Visible(const Phrase& phrase) const {
    return phrase.visible + Coloured(m_bColour ? phrase.colour : "", VisibleText(phrase.text));
}

void ConversationPrinter::Print(Phrase& phrase) {
    if (phrase.visible.empty() && phrase.text.empty()) {
        return;
    }
    PrintTimeLine(phrase.firstMs, phrase.lastMs, phrase.what, Visible(phrase));
    phrase.visible.clear();
    phrase.text.clear();
}
