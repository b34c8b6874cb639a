#pragma once

#include "foundation/support/Export.h"

namespace CppUtility {

class ReceiveNotification {
  public:
    // Runs on the dispatch thread, one notification at a time, in the order of their sending. It
    // may send, register and unregister. An exception ends this call and nothing else.
    virtual void OnNotification(const wchar_t* name, const wchar_t* param) = 0;

  protected:
    ~ReceiveNotification() = default;
};

// Named notifications, delivered by a thread of their own. Safe from any thread.
extern "C" {

// Adds a receiver at the end of the name's list; who is registered twice is called twice.
HALVANE_EXPORT void RegisterNotification(const wchar_t* name, ReceiveNotification* receiver);

// Removes the receiver, but of two entries next to each other only the first. Waits until a
// notification that is being delivered is through (unless it comes from within), so that the
// receiver is not called after the return: the caller may hold no lock that a receiver takes.
HALVANE_EXPORT void UnregisterNotification(const wchar_t* name, ReceiveNotification* receiver);

// Queues a copy and returns at once. What nobody is registered for is dropped.
HALVANE_EXPORT void SendNotification(const wchar_t* name, const wchar_t* param);
}

} // namespace CppUtility
