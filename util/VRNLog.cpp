#include "util/VRNLog.h"

#include <algorithm>
#include <cerrno>

extern "C" {
int VRNlogLevel = 4;
}

std::string FuncName(std::string prettyFunction) {
    const size_t scope = prettyFunction.find("::");
    const size_t blank = prettyFunction.substr(0, scope).rfind(' ');
    const size_t start = (blank == std::string::npos) ? 0 : blank + 1;
    // The last "(" of the whole text can lie before `start`, and the length is then all that follows: the unsigned
    // wrap is meant.
    const size_t arguments = prettyFunction.rfind('(');
    return prettyFunction.substr(start, arguments - start) + "()";
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
