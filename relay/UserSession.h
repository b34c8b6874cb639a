#pragma once

#include "foundation/support/Mutex.h"
#include "relay/Requests.h"

#include <deque>

namespace halvane::relay {

// A request as it came, and where its reply goes.
struct Asked {
    std::string name;
    client::Members members; // all but the name and a session key
    std::string replyTo;
    std::int64_t atUs = 0;
};

// One user's session with one gateway. While it is not connected requests wait for it, two seconds
// at most; the client sends none twice that may have been carried out.
class UserSession {
  public:
    UserSession(const client::Options& gateway, std::size_t desk, client::Duration patience,
                Requests& requests);
    ~UserSession() = default;
    UserSession(const UserSession&) = delete;
    UserSession& operator=(const UserSession&) = delete;

    // Safe from any thread, as all that follows.
    void Ask(Asked asked);
    void GiveUpLate(); // what has waited too long for a connection

    static std::string Failure(const std::string& request, const std::string& why);

  private:
    void Send(Asked asked) REQUIRES(lock_);
    void SendHeld();
    void Refuse(const Asked& asked, const std::string& why);

    const std::size_t desk_;
    const client::Duration patience_;
    Requests& requests_;
    std::atomic<int> underWay_ = 0;
    Mutex lock_;
    std::deque<Asked> held_ GUARDED_BY(lock_);
    client::Client client_; // last: its handlers use what stands above
};

} // namespace halvane::relay
