#pragma once

#include "desk/Access.h"
#include "desk/Watch.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

namespace halvane::desk {

class Connection;

// Serves the page, and what it shows, over HTTP: all on the thread that runs the context. What a
// listener is sent is bounded, and so is how many there are.
class Server {
  public:
    struct Options {
        std::string address = "127.0.0.1"; // of one interface
        int port = 0;                      // the first one that is tried
        int ports = 1;                     // so many are tried, one after the other
    };
    using Reply = std::function<void(std::string json)>;

    // Throws std::exception when it cannot listen. `watches` outlive it.
    Server(boost::asio::io_context& context, const Options& options,
           const std::vector<std::unique_ptr<Watch>>& watches);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // Where a browser finds it; the token is in the part of the address that is not sent.
    std::string Url() const;

    // For connections.

    const Access& GetAccess() const { return access_; }
    const std::vector<std::unique_ptr<Watch>>& Watches() const { return watches_; }

    // The first line that a listener is sent.
    std::string Greeting() const;

    // False when there are too many listeners already.
    bool TakesListener() const;

    // A call of the page with its body; `reply` is called once, on this thread, perhaps later.
    void Call(std::string_view target, const std::string& body, const Reply& reply);

    // Ends a connection, which is gone afterwards.
    void End(Connection& connection);

  private:
    void Accept();
    void Tick();
    std::string Life(const client::Message& call, const Watch& watch) const;
    std::string Unlock(const client::Message& call, std::size_t gateway);
    void Cancel(const client::Message& call, std::size_t gateway, const Reply& reply);

    boost::asio::io_context& context_;
    const std::vector<std::unique_ptr<Watch>>& watches_;
    std::vector<Unlocking> unlockings_; // one for each gateway
    boost::asio::ip::tcp::acceptor acceptor_;
    boost::asio::steady_timer timer_;
    Access access_;
    std::list<std::unique_ptr<Connection>> connections_;
};

} // namespace halvane::desk
