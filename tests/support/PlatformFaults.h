// Calls to the platform that fail when a test says so: timer_create, timer_settime, socket, setsockopt, bind, sendto,
// recvfrom, pthread_create, gettimeofday and select. Linked into a test program, this takes the place of the platform's
// functions for everything in the process and hands each call on; only calls of libVRN.so are counted and can fail.
//
// Setting SO_MARK does nothing and succeeds: not every test has the right to.
#ifndef TESTS_SUPPORT_PLATFORM_FAULTS_H
#define TESTS_SUPPORT_PLATFORM_FAULTS_H

#include <atomic>
#include <functional>
#include <string>

// Thread-safe, all of it.
namespace platform_faults {

struct Fault {
    std::string function;
    unsigned first = 0; // the calls of it that fail, counted from 1; 0 to 0 for none
    unsigned last = 0;
    int error = 0; // their errno
};

// Counts from here on. `onFault` is called inside each call that fails, on its thread. A fault without a function ends
// it.
void Arm(const Fault& fault, std::function<void()> onFault);

extern std::atomic<unsigned> calls;       // of the armed function so far
extern std::atomic<bool> hasFailed;       // once a call has failed and `onFault` has returned
extern std::atomic<unsigned> wrongCloses; // of descriptors that were not open, by the engine

} // namespace platform_faults

#endif
