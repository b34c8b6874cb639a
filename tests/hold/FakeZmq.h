#pragma once

#include <functional>

namespace halvane::fake_zmq {

// The calls of ZeroMQ that Halvane makes, in memory: a program that is linked with this has neither
// sockets nor threads of the library. What is sent has arrived when the call returns; queues have
// the library's limits. A wait in a poll ends at once when there is nothing, since nothing is on
// its way. Waiting is done with the standard's conditions.

// Asked before each call that the real library may fail, with its name: true lets it fail. To be
// set while no other thread is in the library.
extern std::function<bool(const char* call)> fails;

// Called where a receive or a poll would have to wait, instead of waiting: it sends something, or
// ends the context.
extern std::function<void()> whenIdle;

// Whether this thread is inside, where the real library would not use our operators.
extern thread_local int inside;

// As long as it lives this thread does a test's own work, in which nothing fails.
struct TestsWork {
    TestsWork() { inside += kTests; }
    ~TestsWork() { inside -= kTests; }
    static constexpr int kTests = 1000;
};

// Contexts, sockets and contents of messages that nobody has closed.
int OpenHandles();

} // namespace halvane::fake_zmq
