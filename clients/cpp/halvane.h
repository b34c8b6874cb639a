#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// A client of a Halvane gateway: requests with a time-out, a session that lasts, publications, and
// a book of orders, fills and positions that is the platform's. docs/cpp.md leads through it, and
// docs/protocol.md has what can be asked and what is published. All text is UTF-8.
namespace halvane::client {

using Time = std::chrono::sys_time<std::chrono::milliseconds>; // UTC
using Duration = std::chrono::milliseconds;

// A JSON object as it came over the wire. A value: copies are independent of what they came from.
class Message {
  public:
    Message() = default; // an empty object

    // Nothing when the text is not one JSON object in UTF-8. A zero byte at its end is allowed.
    static std::optional<Message> Parse(std::string json);

    // The member's text, a number or a truth value as it is written; "" when there is none, or when
    // it is an object, an array or null. Of a member that occurs twice the last one counts.
    std::string Text(std::string_view key) const;

    // The text of a member inside the member's object, the first of its name; without a copy of
    // that object.
    std::string TextIn(std::string_view object, std::string_view key) const;

    bool Has(std::string_view key) const;

    // The member's object; empty when there is none.
    Message Object(std::string_view key) const;

    // The objects in the member's array; none when there is no such array.
    std::vector<Message> Rows(std::string_view key) const;

    // The texts and numbers in the member's array.
    std::vector<std::string> Texts(std::string_view key) const;

    // The names of the members, in order.
    std::vector<std::string> Keys() const;

    // The bytes, without the zero.
    const std::string& Json() const { return json_; }

  private:
    friend class Members;
    struct Member {
        std::uint32_t key, keySize, value, valueSize; // where in the JSON
    };

    static Message OfPart(std::string_view object);
    void FindMembers(std::size_t open);
    std::string_view Find(std::string_view key) const;

    std::string json_ = "{}";
    std::vector<Member> members_;
};

// The members of a request beside its name and session key, in the order in which they were given.
class Members {
  public:
    using Texts = std::initializer_list<std::pair<std::string_view, std::string_view>>;

    Members() = default;
    Members(Texts texts); // also for a braced list as an argument

    Members& Text(std::string_view key, std::string_view value);
    Members& Object(std::string_view key, const Members& object);
    Members& Json(std::string_view key, std::string_view json); // any JSON value

    // The members of `message` as they are written there, apart from those that are named.
    Members& All(const Message& message, std::initializer_list<std::string_view> apart = {});

    const std::string& Inside() const { return inside_; } // the braces left out

  private:
    std::string inside_;
};

// The object Param of an order: client.Ask("NEWORDER", Param({{"Symbol", "OV.S.PAPX.ALFA"}, ...})).
Members Param(Members::Texts texts);

// What became of a request.
struct Answer {
    enum class Outcome {
        Ok,       // the gateway says OK
        Refused,  // it says Fail, or the platform refuses the order: `error` and `code` say why
        TimedOut, // no answer in time
        Gone,     // no gateway is connected, or the connection was lost before the answer
        Unfit,    // the request is not JSON in UTF-8; it was not sent
    };

    Outcome outcome = Outcome::Gone;
    Message message;   // the whole reply; of Ok and Refused
    std::string error; // what a person is told; "" of Ok
    std::string code;  // the platform's ErrCode, if it gave one

    // Whether the gateway may have carried the request out. Of Ok it has. Of an order that timed
    // out it may have: look for its UserKey1 in the book before it is sent again.
    bool mayHaveArrived = false;

    explicit operator bool() const { return outcome == Outcome::Ok; }
};

// How a client stands with its gateway.
struct State {
    enum class Kind {
        Connecting, // nobody answers yet; or it has answered and does not publish yet
        Refused,   // the gateway does not know the system name with the key; a starting one does so
        Connected, // logged in and subscribed
        Lost,      // was connected; it tries again by itself
    };

    enum class Step { None, Answered, LoggedIn, Subscribed };

    Kind kind = Kind::Connecting;
    Step reached = Step::None; // how far this connection, or the try under way, has come
    Time since;                // when it was connected, or from when on it has not been
    std::string reason;        // of all but Connected, for a person
    int publishPort = 0;       // of Connected
    std::optional<Time> heard; // when something was last published, if ever over this connection

    bool IsConnected() const { return kind == Kind::Connected; }
};

struct Options {
    std::string systemName;
    std::string serviceKey;
    std::string host = "127.0.0.1";
    int port = 0;                // of requests; 0: the one that the system name stands for
    Duration timeout{10'000};    // of a request that is given none
    std::string pairedLine = {}; // what the gateway's owner gave for an encrypted door, "" for
                                 // none; it then says where the gateway is instead of host and port
    bool publications = true;    // false: heartbeats alone; for who only asks or follows the feed,
                                 // since a book needs them
};

// Who is told what. All are called on one thread of the client's, one after the other: they may
// take their time and may ask, and nobody but the next call waits for it. An exception from one of
// them is swallowed.
struct Handlers {
    std::function<void(const State&)> state;         // whenever its kind or reason changes
    std::function<void(const Message&)> publication; // every publication, DataType and all
    // Publications that were thrown away because 100,000 others waited for the handler. Books and
    // feeds lose nothing by that.
    std::function<void(std::size_t count)> dropped;
};

// A session with one gateway that lasts: it logs in, keeps the session alive, notices a dead
// connection, and logs in again when the gateway is back or the session has ended. Safe from any
// thread. Two threads of its own: one for sockets and time, one that calls the handlers.
class Client {
  public:
    // Begins to connect; throws std::invalid_argument for options that cannot be used.
    explicit Client(Options options, Handlers handlers = {});

    // Logs out and ends within two seconds plus the time that a handler under way still takes; what
    // was asked and not answered ends as Gone. Not from a handler. Books and feeds go first.
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    State GetState() const;

    // True once it is connected; false when the time is over before that.
    bool WaitConnected(Duration timeout) const;

    // Asks and waits. A timeout of 0 is the one of the options. What may be repeated without harm
    // waits for a connection, and is sent again when the connection was lost meanwhile; an order is
    // sent once, or not at all when nobody is connected. A session that has ended is renewed first.
    Answer Ask(std::string_view name, const Members& members = {}, Duration timeout = {});

    // The same without waiting: `then` is called exactly once, as the handlers are.
    void Ask(std::string_view name, const Members& members, Duration timeout,
             std::function<void(const Answer&)> then);

    // The rows of all pages of a list (POSITIONS, RESTOREREPORT, ...), or of its one page. `rows`
    // is left as it was when the answer is not Ok, which is that of the last page.
    Answer AskAll(std::string_view name, std::string_view list, const Members& members,
                  std::vector<Message>& rows, Duration timeout = {});

    class Core; // of the library
    Core& GetCore() { return *core_; }

  private:
    std::unique_ptr<Core> core_;
};

// One state of an order, and when the client learnt of it.
struct Report {
    Time at;
    bool restored = false; // it was asked for, not published: what came before it may be missing
    Message report;        // a record of EXECUTIONREPORT or of RESTOREREPORT
};

// What has changed in a book since the last call. An order that changed twice stands here once.
struct BookChange {
    bool reread = false;             // it was read anew: look at everything
    bool live = false;               // as Book::IsLive
    std::set<std::string> orders;    // ReportIDs
    std::set<std::string> fills;     // ReportIDs of new fills
    std::set<std::string> positions; // account masks
};

struct BookOptions {
    std::string account = {};       // account mask, "BrokerID-Account"; "" for all
    bool positions = true;          // ask for them, at first and after reports and fills
    Duration positionsGap{2'000};   // between two askings for one account, at least
    Duration positionsEvery{0};     // ask this often besides: their profit moves with the market
    std::size_t lifeLength = 1'000; // states of one order: the oldest are forgotten
    std::function<void(const BookChange&)> changed = {}; // called as the client's handlers are
};

// The orders, fills and positions that the platform knows: read at first, kept by what is
// published, and read again after every gap (docs/protocol.md, "A book without a gap or a double").
// While the gateway is away it keeps what it had. Safe from any thread; its client must outlive it.
class Book {
  public:
    explicit Book(Client& client, BookOptions options = {});
    ~Book(); // not from a handler
    Book(const Book&) = delete;
    Book& operator=(const Book&) = delete;

    // Whether it has been read and follows the platform now.
    bool IsLive() const;

    // Whether nothing can be missing: ZeroMQ may lose what was published in the first moments of a
    // connection, so it is read again after the first publication, a heartbeat at the latest.
    bool IsComplete() const;

    bool WaitLive(Duration timeout) const;

    // In the order in which the platform took them or they came; those of one account, or all.
    std::vector<Message> Orders(std::string_view accountMask = {}) const;
    std::vector<Message> Fills(std::string_view accountMask = {}) const;
    std::vector<Message> Positions(std::string_view accountMask = {}) const;
    std::vector<Message> Accounts() const;

    std::optional<Message> Order(std::string_view reportId) const;
    std::optional<Message> Fill(std::string_view reportId) const;
    std::vector<Message> FillsOf(std::string_view orderId) const; // by OrderID
    std::vector<Message>
    WithKey(std::string_view userKey1) const;                    // orders; sliced ones are several
    std::vector<Report> LifeOf(std::string_view reportId) const; // from the first state on

    std::size_t OrderCount() const;
    std::size_t FillCount() const;
    std::optional<Time> PositionsRead(std::string_view accountMask) const; // when, if ever

    // Reads positions anew; `changed` tells of the end.
    void RefreshPositions();

    class Core;

  private:
    std::unique_ptr<Core> core_;
};

// A row of the numbered feed.
struct FeedRow {
    std::int64_t number = 0; // grows by one, over restarts of the gateway too
    std::string run;         // of the gateway
    std::int64_t timeNs = 0; // when it was published, since 1970 UTC
    bool recovered = false;  // the gateway was down when it happened
    std::string topic;       // "<kind>.<account>.<symbol>"
    std::string journal;     // whose number it is
    Message publication;
};

struct FeedState {
    bool available = false; // the gateway has a numbered feed
    bool live = false;      // rows come as they are published; not while a gap is being closed
    std::int64_t next = 0;  // the number of the row that is handed over next
    std::int64_t last = 0;  // the last that the gateway told of, each second while it is there
    std::string journal;    // whose numbers they are; another one has others
    std::string reason;     // why it is not live
};

struct FeedOptions {
    std::int64_t from = 0;    // the first number; 0: from now on
    std::string journal = {}; // to which `from` belongs; in another one it begins at 1. "" for any
    std::string run = {}; // of the row before `from`. Numbers that a power cut has taken are given
                          // again: rows of other runs are told, whatever their numbers. "" for any
    std::function<void(const FeedRow&)> row = {};
    // There will never be rows from `first` to `last`: they could not be written, their day is no
    // longer kept, or a power cut took them.
    std::function<void(std::int64_t first, std::int64_t last)> missing = {};
    std::function<void(const FeedState&)> state = {}; // not when only numbers change
};

// The numbered feed of a gateway that has one (docs/feed.md): every row exactly once and in order,
// whatever was lost on the way; who keeps the last number together with what it made of the row
// goes on from there after any end. While `row` takes long, 10,000 rows wait in memory and the
// others are asked for when it is their turn. Safe from any thread; its client must outlive it.
class Feed {
  public:
    Feed(Client& client, FeedOptions options);
    ~Feed(); // not from a handler
    Feed(const Feed&) = delete;
    Feed& operator=(const Feed&) = delete;

    FeedState GetState() const;

    class Core;

  private:
    std::unique_ptr<Core> core_;
};

// The request port that a system name stands for; a gateway whose port is taken uses the next one.
int RequestPortOf(std::string_view systemName);

// The text with which REPLACEORDER changes a price to exactly `price`, a decimal of up to ten
// places; nothing when it is not one, negative, or too large to be written exactly.
std::optional<std::string> ReplacePrice(std::string_view price);

} // namespace halvane::client
