#undef _FORTIFY_SOURCE // whose inline functions have the names of those defined here

#include "tests/support/PlatformFaults.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <mutex>
#include <pthread.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace platform_faults {

std::atomic<unsigned> calls{0}, wrongCloses{0};
std::atomic<bool> hasFailed{false};

} // namespace platform_faults

namespace {

using namespace platform_faults;

std::mutex s_Mutex;
Fault s_Fault;
std::function<void()> s_OnFault;

bool IsEngine(const void* caller) {
    Dl_info info{};
    return dladdr(caller, &info) != 0 && strstr(info.dli_fname, "libVRN.so") != nullptr;
}

// True, with errno set, for a call that is to fail.
bool Fails(const char* function, const void* caller) {
    std::unique_lock<std::mutex> lock(s_Mutex);
    if (s_Fault.function != function || !IsEngine(caller) || ++calls < s_Fault.first || calls > s_Fault.last) {
        return false;
    }
    const auto onFault = s_OnFault;
    const int error = s_Fault.error;
    lock.unlock();
    onFault();
    hasFailed = true;
    errno = error;
    return true;
}

// A sanitizer's function where it has one: what goes past it, it does not know of.
void* Next(const std::string& function) {
    void* const intercepted = dlsym(RTLD_DEFAULT, ("__interceptor_" + function).c_str());
    return intercepted != nullptr ? intercepted : dlsym(RTLD_NEXT, function.c_str());
}

} // namespace

void platform_faults::Arm(const Fault& fault, std::function<void()> onFault) {
    std::lock_guard<std::mutex> lock(s_Mutex);
    s_Fault = fault;
    s_OnFault = std::move(onFault);
    calls = 0;
    hasFailed = false;
}

#define NEXT(name) reinterpret_cast<decltype(&(name))>(Next(#name))
#define FUNCTION(type, name, parameters, failure, otherwise)                                                           \
    extern "C" __attribute__((visibility("default"))) type name parameters {                                           \
        return Fails(#name, __builtin_return_address(0)) ? failure : otherwise;                                        \
    }
#define PASSED_ON(type, name, parameters, arguments) FUNCTION(type, name, parameters, -1, NEXT(name) arguments)

PASSED_ON(int, timer_create, (clockid_t clock, sigevent* event, timer_t* id) noexcept, (clock, event, id))
PASSED_ON(int, timer_settime, (timer_t id, int flags, const itimerspec* value, itimerspec* old) noexcept,
          (id, flags, value, old))
PASSED_ON(int, socket, (int domain, int type, int protocol) noexcept, (domain, type, protocol))
FUNCTION(int, setsockopt, (int fd, int level, int name, const void* value, socklen_t length) noexcept, -1,
         level == SOL_SOCKET && name == SO_MARK ? 0 : NEXT(setsockopt)(fd, level, name, value, length))
PASSED_ON(int, bind, (int fd, const sockaddr* address, socklen_t length) noexcept, (fd, address, length))
PASSED_ON(ssize_t, sendto, (int fd, const void* data, size_t size, int flags, const sockaddr* to, socklen_t length),
          (fd, data, size, flags, to, length))
PASSED_ON(ssize_t, recvfrom, (int fd, void* data, size_t size, int flags, sockaddr* from, socklen_t* length),
          (fd, data, size, flags, from, length))
FUNCTION(int, pthread_create,
         (pthread_t * id, const pthread_attr_t* how, void* (*entry)(void*), void* argument) noexcept, errno,
         NEXT(pthread_create)(id, how, entry, argument))
PASSED_ON(int, gettimeofday, (timeval * time, void* zone) noexcept, (time, zone))
PASSED_ON(int, select, (int count, fd_set* read, fd_set* write, fd_set* except, timeval* timeout),
          (count, read, write, except, timeout))

extern "C" __attribute__((visibility("default"))) int close(int fd) {
    const int result = NEXT(close)(fd);
    if (result != 0 && fd >= 0 && IsEngine(__builtin_return_address(0))) {
        ++wrongCloses;
    }
    return result;
}
