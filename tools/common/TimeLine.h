// The one form of line on which everything that happens in a call is told, by whichever program saw it.
#ifndef TOOLS_COMMON_TIME_LINE_H
#define TOOLS_COMMON_TIME_LINE_H

#include <cstdint>
#include <string>

constexpr const char* COLOUR_TYPED = "\033[1m";
constexpr const char* COLOUR_SHOWN = "\033[32m";
constexpr const char* COLOUR_LOSS = "\033[31m";
constexpr const char* COLOUR_LINK = "\033[2m";

// Whether standard output is a terminal that may be coloured (NO_COLOR unset).
bool ColourWanted();

// The text in the colour, or as it is when the colour is "".
std::string Coloured(const char* colour, const std::string& text);

// Prints "   1.00 –   3.92 what          text" to standard output; a moment where `untilMs` is negative. A line goes out
// whole, so that several programs can tell theirs on one terminal.
void PrintTimeLine(int64_t fromMs, int64_t untilMs, const std::string& what, const std::string& text);

#endif
