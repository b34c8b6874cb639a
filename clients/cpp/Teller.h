#pragma once

#include "foundation/support/Mutex.h"

#include <deque>
#include <functional>
#include <thread>

namespace halvane::client {

// The thread that calls what users have given to be called, one after the other. Nobody waits for
// it but who ends it or forgets an owner. Safe from any thread.
class Teller {
  public:
    Teller();
    ~Teller(); // after the last call; what may be dropped is not called any more

    // Calls it, in the order of the tellings.
    void Tell(const void* owner, std::function<void()> call);

    // The same for what may be dropped: false, and nothing kept, when too much of it waits.
    bool TellIfRoom(const void* owner, std::function<void()> call);

    // Nothing of this owner is called after that. Waits for a call of it that is under way.
    void Forget(const void* owner);

  private:
    struct Call {
        const void* owner;
        bool droppable;
        std::function<void()> work;
    };

    void Post(Call call);
    void Run();

    Mutex lock_;
    std::condition_variable_any changed_;
    std::deque<Call> calls_ GUARDED_BY(lock_);
    std::size_t droppable_ GUARDED_BY(lock_) = 0;
    const void* calling_ GUARDED_BY(lock_) = nullptr; // the owner of the call under way
    bool ending_ GUARDED_BY(lock_) = false;
    std::thread thread_;
};

} // namespace halvane::client
