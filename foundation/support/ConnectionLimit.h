#pragma once

#include <functional>
#include <thread>

namespace halvane {

// Keeps the last of the process's descriptors from strangers. Without it, when they have all, the
// library tries to accept the next one for ever, at full speed, and nothing else gets a descriptor
// either, the log last of all. So what connects when only a reserve is left is closed again at
// once. Windows has no such limit, and there this does nothing.
class ConnectionLimit {
  public:
    // Watches a bound socket, on a thread of its own, where `refused` is told how many connections
    // were refused: half a second after the first one, and then once a minute at most. To be
    // destroyed before the socket, by the thread that uses it.
    ConnectionLimit(void* context, void* socket, std::function<void(int)> refused);
    ~ConnectionLimit();
    ConnectionLimit(const ConnectionLimit&) = delete;
    ConnectionLimit& operator=(const ConnectionLimit&) = delete;

  private:
    void* socket_;
    std::thread thread_;
};

// Allows the process as many descriptors as the system grants it.
void RaiseDescriptorLimit();

} // namespace halvane
