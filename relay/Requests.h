#pragma once

#include "foundation/support/Mutex.h"
#include "relay/Desk.h"
#include "relay/Nats.h"

#include <atomic>
#include <map>
#include <thread>
#include <vector>

namespace halvane::relay {

class UserSession;

// The requests that come through the engine, halvane.request.<desk> and
// halvane.request.<desk>.<user>: each goes to the gateway with a session of that user's, and the
// gateway's reply goes back. What cannot be carried out is answered with the failure envelope. No
// request is sent twice that may have been carried out. Threads of its own, and the library's.
class Requests {
  public:
    Requests(const Engine& engine, std::vector<DeskOptions> desks, client::Duration patience);
    ~Requests();
    Requests(const Requests&) = delete;
    Requests& operator=(const Requests&) = delete;

    struct Counts {
        std::int64_t asked = 0, failed = 0; // failed: had no answer of the gateway's
    };

    // Safe from any thread, as all that follows.
    Counts CountsOf(std::size_t desk) const;
    bool IsConnected() const;
    void Publish(const std::string& subject, const std::string& json);
    std::size_t LargestReply() const { return largest_; }
    void Reply(std::size_t desk, const std::string& to, const std::string& json, bool failed);

  private:
    struct Place; // a subject that is subscribed to

    void Run(const std::stop_token& stop);
    void Serve(const std::stop_token& stop);
    void Close(natsConnection* connection);
    void Subscribe(Place& place, natsConnection* connection);
    void Take(const Place& place, natsMsg* message);
    UserSession* SessionOf(std::size_t desk, const std::string& user);
    void LookAtSessions();

    const Engine engine_;
    const std::vector<DeskOptions> desks_;
    const client::Duration patience_;
    std::atomic<std::size_t> largest_ = 0;                  // that the engine takes
    std::vector<std::atomic<std::int64_t>> asked_, failed_; // of each desk

    mutable Mutex connectionLock_;
    natsConnection* connection_ GUARDED_BY(connectionLock_) = nullptr; // while there is one

    Mutex lock_;
    std::map<std::pair<std::size_t, std::string>, std::unique_ptr<UserSession>>
        sessions_ GUARDED_BY(lock_);
    std::atomic<int> deliverers_ = 0; // the library's threads that may still call us
    std::jthread thread_;
};

} // namespace halvane::relay
