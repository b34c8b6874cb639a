#include "desk/Connection.h"

#include "desk/Page.h"
#include "desk/Server.h"
#include "foundation/support/Clock.h"

#include <boost/asio/write.hpp>

#include <chrono>
#include <utility>

namespace halvane::desk {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;

constexpr std::chrono::seconds kPatience{30}; // with a browser that neither reads nor writes
constexpr std::size_t kLargestBody = 64 << 10;
constexpr std::size_t kMostAtOnce = 256 << 10; // bytes that wait for a listener
constexpr std::int64_t kPauseMs = 50;          // at least, between two pieces
constexpr std::int64_t kSilenceMs = 2'000;     // then an empty line says that we are there

std::string_view View(beast::string_view text) { return {text.data(), text.size()}; }

Caller CallerOf(const http::request<http::string_body>& request) {
    return {View(request[http::field::host]), View(request[http::field::origin]),
            View(request["Sec-Fetch-Site"]), View(request[http::field::authorization])};
}

// What is shown may not load, send or embed anything that is not ours, nor become markup.
template <class Response> void SetCommonFields(Response& response) {
    response.set("Content-Security-Policy",
                 "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; "
                 "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'; "
                 "require-trusted-types-for 'script'; trusted-types 'none'");
    response.set(http::field::cache_control, "no-store");
    response.set("Referrer-Policy", "no-referrer");
    response.set("X-Content-Type-Options", "nosniff");
    response.set("X-Frame-Options", "DENY");
    response.set("Cross-Origin-Opener-Policy", "same-origin");
    response.set("Cross-Origin-Resource-Policy", "same-origin");
}

} // namespace

Connection::Connection(asio::ip::tcp::socket socket, Server& server)
    : stream_(std::move(socket)), server_(server) {}

void Connection::Read() {
    parser_.emplace();
    parser_->body_limit(kLargestBody);
    stream_.expires_after(kPatience);
    http::async_read(stream_, buffer_, *parser_, [this](beast::error_code error, std::size_t) {
        if (error) return server_.End(*this);
        Answer(parser_->release());
    });
}

void Connection::Answer(const Request& request) {
    response_ = {};
    response_.version(request.version());
    response_.keep_alive(request.keep_alive());
    const Caller caller = CallerOf(request);
    const bool isCall = request.method() == http::verb::post;
    const bool isLive = request.target() == "/live";
    if (!isCall && request.method() != http::verb::get)
        return Send(405, "text/plain", "This is not done here.");
    if (!isCall && !isLive) {
        if (server_.GetAccess().IsOurName(caller)) return AnswerFile(request);
        return Send(403, "text/plain", "The desk page is not served under this name.");
    }
    if (const int refusal = server_.GetAccess().Refusal(caller, isCall); refusal != 0)
        return Send(static_cast<unsigned>(refusal), "text/plain",
                    "Open the address that the program prints.");
    if (isCall) return AnswerCall(request);
    if (!server_.TakesListener())
        return Send(503, "text/plain", "Too many pages are open already.");
    BeginListening();
}

void Connection::AnswerFile(const Request& request) {
    const PageFile* file = FindPageFile(View(request.target()));
    if (file == nullptr) return Send(404, "text/plain", "There is no such page.");
    Send(200, file->type, std::string(file->bytes));
}

// The page waits for the reply, so nothing else is under way meanwhile.
void Connection::AnswerCall(const Request& request) {
    stream_.expires_never();
    server_.Call(View(request.target()), request.body(), [this](std::string json) {
        const bool isKnown = !json.empty();
        Send(isKnown ? 200 : 404, "application/json", std::move(json));
    });
}

void Connection::Send(unsigned status, std::string_view type, std::string body) {
    response_.result(status);
    SetCommonFields(response_);
    response_.set(http::field::content_type, beast::string_view(type.data(), type.size()));
    response_.body() = std::move(body);
    response_.prepare_payload();
    stream_.expires_after(kPatience);
    http::async_write(stream_, response_, [this](beast::error_code error, std::size_t) {
        if (error || !response_.keep_alive()) return server_.End(*this);
        Read();
    });
}

void Connection::BeginListening() {
    isListener_ = true;
    isSending_ = true;
    head_.result(http::status::ok);
    SetCommonFields(head_);
    head_.set(http::field::content_type, "application/x-ndjson");
    head_.chunked(true);
    serializer_.emplace(head_);
    stream_.socket().set_option(asio::ip::tcp::no_delay(true));
    places_.resize(server_.Watches().size());
    stream_.expires_after(kPatience);
    http::async_write_header(stream_, *serializer_, [this](beast::error_code error, std::size_t) {
        if (error) return server_.End(*this);
        lines_ = server_.Greeting();
        SendLines();
    });
}

void Connection::SendChanges() {
    const std::int64_t silentMs = TheClock().UnixTimeMs() - sentMs_;
    if (isSending_ || (silentMs >= 0 && silentMs < kPauseMs)) return;
    lines_.clear();
    for (std::size_t i = 0; i < places_.size() && lines_.size() < kMostAtOnce; ++i)
        server_.Watches()[i]->GetBoard().AppendChanges(places_[i], kMostAtOnce - lines_.size(),
                                                       lines_);
    if (lines_.empty() && silentMs >= kSilenceMs) lines_ = "{}\n";
    if (!lines_.empty()) SendLines();
}

void Connection::SendLines() {
    isSending_ = true;
    sentMs_ = TheClock().UnixTimeMs();
    stream_.expires_after(kPatience);
    asio::async_write(stream_, http::make_chunk(asio::buffer(lines_)),
                      [this](beast::error_code error, std::size_t) {
                          if (error) return server_.End(*this);
                          isSending_ = false;
                      });
}

} // namespace halvane::desk
