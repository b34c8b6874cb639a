#pragma once

#include "desk/Board.h"

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace halvane::desk {

class Server;

// One connection of a browser: answers one request after the other until it becomes a listener,
// which is sent the changes of all boards for as long as it is there. At any time one operation is
// under way, or none; the one that fails ends the connection.
class Connection {
  public:
    Connection(boost::asio::ip::tcp::socket socket, Server& server);

    void Read();

    // To a listener: what has changed since it was last sent something, unless that is under way.
    void SendChanges();

    bool IsListener() const { return isListener_; }

  private:
    using Request = boost::beast::http::request<boost::beast::http::string_body>;

    void Answer(const Request& request);
    void AnswerCall(const Request& request);
    void AnswerFile(const Request& request);
    void Send(unsigned status, std::string_view type, std::string body);
    void BeginListening();
    void SendLines();

    boost::beast::tcp_stream stream_;
    Server& server_;
    boost::beast::flat_buffer buffer_;
    std::optional<boost::beast::http::request_parser<boost::beast::http::string_body>> parser_;
    boost::beast::http::response<boost::beast::http::string_body> response_;

    boost::beast::http::response<boost::beast::http::empty_body> head_;
    std::optional<boost::beast::http::response_serializer<boost::beast::http::empty_body>>
        serializer_;
    bool isListener_ = false;
    bool isSending_ = false;
    std::int64_t sentMs_ = 0;           // when it was last sent anything
    std::vector<Board::Places> places_; // how far it has come, for each gateway
    std::string lines_;
};

} // namespace halvane::desk
