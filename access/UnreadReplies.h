#pragma once

#include "foundation/support/Zmq.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <string>

namespace halvane {

// Bounds the memory of replies that clients do not read, in bytes: for each client and for all
// together. The more there is of all, the less is left to each, so that those who read find room
// whatever the others do. A reply beyond the bounds is lost, and the log says so once until that
// client has read what waits for it. Used by one thread alone; must outlive the context of
// its sockets.
class UnreadReplies {
  public:
    struct Limits {
        std::int64_t eachClient = 32 << 20;
        std::int64_t allClients = 256 << 20;
        std::int64_t shares = 4;              // of what is left for all, each may have one
        std::int64_t alwaysTaken = 256 << 10; // for each, more than any page of rows
    };
    // The log's lines begin with what the clients come by.
    explicit UnreadReplies(const wchar_t* door) : door_(door) {}
    UnreadReplies(const wchar_t* door, const Limits& limits) : door_(door), limits_(limits) {}

    // Counts a reply to the client of that identity until it is sent; `body` is its last frame.
    // False when there is no room for it: it is to be dropped.
    [[nodiscard]] bool Admit(std::string_view client, ZmqMessage& body);

    // How many replies have been lost.
    std::uint64_t Lost() const { return lost_; }

  private:
    struct Client {
        explicit Client(std::atomic<std::int64_t>& ofAll) : all(ofAll) {}

        std::atomic<std::int64_t>& all;
        std::atomic<std::int64_t> bytes = 0;
        bool told = false; // that its replies are lost
    };

    Client& ClientOf(std::string_view identity);
    bool HasRoom(const Client& client, std::int64_t bytes) const;

    const wchar_t* door_;
    Limits limits_;
    std::map<std::string, Client, std::less<>> clients_;
    std::size_t forgetAt_ = 1024; // clients, at which those with nothing unread are forgotten
    std::atomic<std::int64_t> bytes_ = 0;
    std::uint64_t lost_ = 0;
};

} // namespace halvane
