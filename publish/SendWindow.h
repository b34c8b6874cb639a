#pragma once

#include "foundation/support/Zmq.h"

namespace halvane {

// Keeps the publish socket from dropping what it is given. The library queues a thousand messages
// for each subscriber and silently drops the next; a platform that calls fast enough gets there
// before the library's own thread has sent them. So the publisher listens to itself: every few
// dozen messages it waits until its own subscription has heard them, and then the other
// subscribers' queues have been emptied too, but for those that do not read.
//
// Used under the lock of the sends.
class SendWindow {
  public:
    // Listens on the port that a publish socket of the context is bound to.
    void Open(const ZmqContext& context, TextView ip, int port);

    // To be called after each send. Waits when the window is full, and no longer than it takes for
    // everything on its way to arrive: silence ends the wait.
    void CountSent();

  private:
    int HearUpTo(int count);

    ZmqSocket ear_;
    int unheard_ = 0;
    int deafWaits_ = 0; // one after the other, in which nothing was heard
};

} // namespace halvane
