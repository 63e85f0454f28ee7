#include "util/VRNLog.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

extern "C" {
int VRNlogLevel = 4;
}

namespace {

// Where the last such byte is among the first `length`, or the library's not-found value.
size_t LastOf(char wanted, const std::string& text, size_t length) {
    const void* const found = memrchr(text.data(), wanted, std::min(length, text.size()));
    return found == nullptr ? std::string::npos : static_cast<size_t>(static_cast<const char*>(found) - text.data());
}

} // namespace

// In place and by the platform's search, since every printed line pays for it.
std::string FuncName(std::string prettyFunction) {
    const size_t scope = prettyFunction.find("::");
    const size_t blank = LastOf(' ', prettyFunction, scope);
    const size_t start = (blank == std::string::npos) ? 0 : blank + 1;
    // The last "(" of the whole text can lie before `start`, and the length is then all that follows: the unsigned
    // wrap is meant.
    const size_t arguments = LastOf('(', prettyFunction, std::string::npos);
    const size_t length = std::min(arguments - start, prettyFunction.size() - start);
    prettyFunction.replace(start + length, std::string::npos, "()");
    prettyFunction.erase(0, start);
    return prettyFunction;
}

VRNLogName::VRNLogName(const char* prettyFunction) : m_nErrno(errno), m_Name(FuncName(prettyFunction)) {}

VRNLogName::~VRNLogName() {
    errno = m_nErrno;
}

std::string VRNLogText(const unsigned char* text, size_t length) {
    if (text == nullptr) {
        return std::string();
    }
    return std::string(reinterpret_cast<const char*>(text), std::min(length, VRN_LOG_TEXT_MAX));
}
