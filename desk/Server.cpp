#include "desk/Server.h"

#include "desk/Connection.h"
#include "desk/JsonText.h"
#include "desk/System.h"
#include "foundation/support/Clock.h"

#include <boost/asio/post.hpp>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <stdexcept>
#include <utility>

namespace halvane::desk {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;

constexpr std::chrono::milliseconds kTick{20}; // between two looks for what has changed
constexpr std::ptrdiff_t kMostListeners = 16;
constexpr std::size_t kMostConnections = 64;

tcp::acceptor Listen(asio::io_context& context, const Server::Options& options) {
    const auto address = asio::ip::make_address(options.address);
    if (address.is_unspecified())
        throw std::invalid_argument("the address must be that of one interface");
    for (int port = options.port;; ++port) {
        try {
            return {context, {address, static_cast<unsigned short>(port)}, kReuseAddress};
        } catch (const boost::system::system_error& error) {
            if (error.code() != asio::error::address_in_use ||
                port + 1 >= options.port + options.ports)
                throw;
        }
    }
}

std::vector<std::string> NamesOf(const tcp::endpoint& endpoint) {
    const std::string address = endpoint.address().to_string();
    std::vector<std::string> names{endpoint.address().is_v6() ? "[" + address + "]" : address};
    if (endpoint.address().is_loopback()) names.emplace_back("localhost");
    return names;
}

// Beyond all gateways when the call does not say it.
std::size_t GatewayOf(const client::Message& call) {
    const std::string text = call.Text("gateway");
    std::size_t number = std::string::npos;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

} // namespace

Server::Server(asio::io_context& context, const Options& options,
               const std::vector<std::unique_ptr<Watch>>& watches)
    : context_(context), watches_(watches), acceptor_(Listen(context, options)), timer_(context),
      access_(NamesOf(acceptor_.local_endpoint()), acceptor_.local_endpoint().port()) {
    for (const auto& watch : watches)
        unlockings_.emplace_back(watch->Gateway().serviceKey);
    Accept();
    Tick();
}

Server::~Server() = default;

std::string Server::Url() const {
    return "http://" + NamesOf(acceptor_.local_endpoint()).front() + ":" +
           std::to_string(acceptor_.local_endpoint().port()) + "/#" + access_.Token();
}

std::string Server::Greeting() const {
    JsonText line;
    line.Member("version", HALVANE_VERSION).Number("nowMs", TheClock().UnixTimeMs());
    line.BeginArray("gateways");
    for (const auto& watch : watches_) {
        const client::Options& gateway = watch->Gateway();
        const int port =
            gateway.port != 0 ? gateway.port : client::RequestPortOf(gateway.systemName);
        JsonText each;
        each.Member("system", gateway.systemName);
        each.Member("address", gateway.host + ":" + std::to_string(port));
        line.Raw(each.Finish());
    }
    line.EndArray();
    return line.Finish() + "\n";
}

void Server::Accept() {
    acceptor_.async_accept([this](boost::system::error_code error, tcp::socket socket) {
        if (error == asio::error::operation_aborted) return;
        if (!error && connections_.size() < kMostConnections) {
            connections_.push_back(std::make_unique<Connection>(std::move(socket), *this));
            connections_.back()->Read();
        }
        Accept();
    });
}

void Server::Tick() {
    timer_.expires_after(kTick);
    timer_.async_wait([this](boost::system::error_code error) {
        if (error) return;
        for (const auto& connection : connections_)
            if (connection->IsListener()) connection->SendChanges();
        Tick();
    });
}

bool Server::TakesListener() const {
    return std::count_if(connections_.begin(), connections_.end(),
                         [](const auto& each) { return each->IsListener(); }) < kMostListeners;
}

void Server::End(Connection& connection) {
    connections_.remove_if([&](const auto& each) { return each.get() == &connection; });
}

void Server::Call(std::string_view target, const std::string& body, const Reply& reply) {
    const auto call = client::Message::Parse(body);
    const std::size_t gateway = call ? GatewayOf(*call) : watches_.size();
    if (gateway >= watches_.size()) return reply("");
    if (target == "/life") return reply(Life(*call, *watches_[gateway]));
    if (target == "/unlock") return reply(Unlock(*call, gateway));
    if (target == "/cancel") return Cancel(*call, gateway, reply);
    reply("");
}

std::string Server::Life(const client::Message& call, const Watch& watch) const {
    return watch.LifeOf(call.Text("ReportID")).value_or("{}");
}

std::string Server::Unlock(const client::Message& call, std::size_t gateway) {
    const auto word = unlockings_[gateway].Unlock(call.Text("key"), TheClock().UnixTimeMs());
    JsonText result;
    result.Member("word", word.value_or("")).Number("forMs", Unlocking::kGoodForMs);
    return result.Finish();
}

// The orders of an account are those that work now, whatever the page shows.
void Server::Cancel(const client::Message& call, std::size_t gateway, const Reply& reply) {
    if (!unlockings_[gateway].IsUnlocked(call.Text("word"), TheClock().UnixTimeMs()))
        return reply("{\"locked\":true}");
    std::vector<std::string> orders = call.Texts("orders");
    if (const std::string account = call.Text("account"); !account.empty())
        orders = watches_[gateway]->WorkingOf(account);
    watches_[gateway]->Cancel(std::move(orders), [this, reply](std::string result) {
        asio::post(context_,
                   [reply, result = std::move(result)]() mutable { reply(std::move(result)); });
    });
}

} // namespace halvane::desk
