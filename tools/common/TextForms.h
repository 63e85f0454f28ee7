// T.140 text in the forms the tools need: character by character, on one line of a file, on a screen.
#ifndef TOOLS_COMMON_TEXT_FORMS_H
#define TOOLS_COMMON_TEXT_FORMS_H

#include <string>
#include <string_view>

// T.140's preferred new line, LINE SEPARATOR (U+2028). CR LF is its second choice.
constexpr const char* T140_NEW_LINE = "\xE2\x80\xA8";

// Bytes of the character that starts the text, as its lead byte says (RFC 3629), never more than the text has; a byte
// that leads nothing counts as one. 0 for empty text.
size_t CharacterLength(std::string_view text);

// Characters in the text; CR LF is two.
size_t CountCharacters(std::string_view text);

// Bytes of the longest start of the text that does not cut its last character.
size_t WholeCharacters(std::string_view text);

// One line of printable text for any text, and back. \b backspace, \n CR LF, \u LINE SEPARATOR (U+2028), \\ backslash;
// any other control byte, and CR or LF alone, as \xHH.
std::string Escape(std::string_view text);
// False for an unknown or cut escape.
bool Unescape(std::string_view line, std::string& text);

// What a person sees in place of the text: a sign for each backspace and each new line, no byte order mark, a dot for
// any other control. Nothing in it moves the cursor or changes the terminal.
std::string VisibleText(std::string_view text);

#endif
