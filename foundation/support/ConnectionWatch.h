#pragma once

#include <functional>
#include <thread>

namespace halvane {

// Watches who connects to a bound socket, and keeps the last of the process's descriptors from
// strangers. Without that, when they have all, the library tries to accept the next one for ever,
// at full speed, and nothing else gets a descriptor either, the log last of all. So what connects
// when only a reserve is left is closed again at once. Windows has no such limit.
class ConnectionWatch {
  public:
    // Is told, on a thread of the watch's own, how many connections it was: half a second after the
    // first one, and then once a minute at most.
    using Tell = std::function<void(int connections)>;

    // `refused`: those for which there was no descriptor. `failed`: those that ended in the
    // handshake, because they were not let in or speak otherwise. To be destroyed before the
    // socket, by the thread that uses it.
    ConnectionWatch(void* context, void* socket, Tell refused, Tell failed = {});
    ~ConnectionWatch();
    ConnectionWatch(const ConnectionWatch&) = delete;
    ConnectionWatch& operator=(const ConnectionWatch&) = delete;

  private:
    void* socket_;
    std::thread thread_;
};

} // namespace halvane
