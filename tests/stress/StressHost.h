// A host that does anything to the engine at any time: its operations, its event handler, and the packets that arrive
// meanwhile. Thread-safe; each thread brings its own random numbers.
#ifndef TESTS_STRESS_STRESS_HOST_H
#define TESTS_STRESS_STRESS_HOST_H

#include <atomic>
#include <chrono>
#include <random>

constexpr int CHANNELS = 3;
constexpr std::chrono::milliseconds SEND_TICK{300};
constexpr short REPORT_INTERVAL_MS = 2000;

using Random = std::mt19937;
using TimePoint = std::chrono::steady_clock::time_point;

// Makes the engine ready; once a process. The seed is the handler's.
void StartHost(unsigned seed);

// Opens three channels, when there are none, and sees that each sends; then packets begin to arrive, and the handler
// begins to act. The end stops that, and deletes whatever channels there are.
void BeginCall(Random& random);
void EndCall();

// While set, nobody stops, restarts or deletes a channel.
inline std::atomic<bool> s_bGentle{false};

// One random operation on the channel.
void Operate(Random& random, int channel);
// Starts the channel anew, created if there is room.
void Restart(Random& random, int channel);
void Delete(int channel);

// Each sets a timer of the channel going, and returns when that will expire: the send tick of a text, which unless
// gently is typed from idle; and the time-out, which then raises event 2.
TimePoint ArmTick(Random& random, int channel);
TimePoint ArmTimeout(int channel, short ms);

// How often the handler has acted, by event.
inline std::atomic<unsigned> s_nHandled[3] = {};

#endif
