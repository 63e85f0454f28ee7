// Whether one party was shown what the other typed.
#ifndef TOOLS_VERDICT_VERDICT_H
#define TOOLS_VERDICT_VERDICT_H

#include "verdict/Results.h"

// Empty when `reader` was shown all that was typed, or all but what the link lost for good with a mark of the right
// count exactly where it was typed. Else one line that says what differs.
std::string FindDifference(const std::string& typed, const PartyResult& reader, const std::vector<LinkLoss>& lost);

#endif
