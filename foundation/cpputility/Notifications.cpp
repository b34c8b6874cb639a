#include "foundation/cpputility/Notifications.h"

#include "foundation/support/Mutex.h"
#include "foundation/support/Text.h"
#include "foundation/support/WorkQueue.h"

#include <algorithm>
#include <map>
#include <thread>
#include <vector>

namespace CppUtility {
namespace {

using halvane::Text;
using halvane::TextView;

class NotificationHub {
  public:
    void Register(TextView name, ReceiveNotification* receiver);
    void Unregister(TextView name, ReceiveNotification* receiver);
    void Send(TextView name, TextView param);

  private:
    struct Notification {
        Text name;
        Text param;
    };
    using Receivers = std::vector<ReceiveNotification*>;

    void Dispatch(const std::stop_token& stop);
    void Deliver(const Notification& notification);
    Receivers ReceiversOf(TextView name) REQUIRES(receiversLock_);

    halvane::RecursiveMutex receiversLock_; // also held while receivers are called
    std::map<Text, Receivers, std::less<>> receivers_ GUARDED_BY(receiversLock_);
    halvane::WorkQueue<Notification> queue_;
    std::jthread thread_{[this](const std::stop_token& stop) { Dispatch(stop); }}; // ends first
};

void NotificationHub::Register(TextView name, ReceiveNotification* receiver) {
    const halvane::MutexLock guard(receiversLock_);
    receivers_[Text(name)].push_back(receiver);
}

void NotificationHub::Unregister(TextView name, ReceiveNotification* receiver) {
    const halvane::MutexLock guard(receiversLock_);
    const auto found = receivers_.find(name);
    if (found == receivers_.end()) return;
    Receivers& list = found->second;
    for (std::size_t i = 0; i < list.size(); ++i) // steps on after a removal as well
        if (list[i] == receiver) list.erase(list.begin() + static_cast<std::ptrdiff_t>(i));
    if (list.empty()) receivers_.erase(found);
}

void NotificationHub::Send(TextView name, TextView param) {
    queue_.Post({Text(name), Text(param)});
}

void NotificationHub::Dispatch(const std::stop_token& stop) {
    while (const auto notification = queue_.Next(stop))
        Deliver(*notification);
}

// Goes through a copy of the list, because receivers may change it; whoever has left it meanwhile
// may be gone and is not called.
void NotificationHub::Deliver(const Notification& notification) {
    const halvane::MutexLock guard(receiversLock_);
    for (ReceiveNotification* receiver : ReceiversOf(notification.name)) {
        if (std::ranges::count(ReceiversOf(notification.name), receiver) == 0) continue;
        try {
            receiver->OnNotification(notification.name.c_str(), notification.param.c_str());
        } catch (...) {
            // Whatever a receiver does wrong, the others are to hear of this and of what follows.
        }
    }
}

NotificationHub::Receivers NotificationHub::ReceiversOf(TextView name) {
    const auto found = receivers_.find(name);
    return found == receivers_.end() ? Receivers() : found->second;
}

NotificationHub& TheHub() {
    static NotificationHub hub;
    return hub;
}

[[maybe_unused]] const NotificationHub& createdAtStartUp = TheHub();

} // namespace

void RegisterNotification(const wchar_t* name, ReceiveNotification* receiver) {
    TheHub().Register(name, receiver);
}

void UnregisterNotification(const wchar_t* name, ReceiveNotification* receiver) {
    TheHub().Unregister(name, receiver);
}

void SendNotification(const wchar_t* name, const wchar_t* param) { TheHub().Send(name, param); }

} // namespace CppUtility
