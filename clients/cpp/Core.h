#pragma once

#include "clients/cpp/Lane.h"
#include "clients/cpp/Operations.h"
#include "clients/cpp/Teller.h"

namespace halvane::client {

inline constexpr Duration kStepPatience{10'000};  // for one step of coming back
inline constexpr Duration kHeavyPatience{60'000}; // for what may take the platform long

Time Now();

// Who follows a client from inside the library; called on the client's own thread and must not
// wait.
class Follower {
  public:
    virtual ~Follower() = default;

    virtual void OnConnected() = 0;
    virtual void OnLost() = 0;

    // In the order in which they came; the first of a connection proves that the subscription
    // holds.
    virtual void OnPublication(const Message& publication) = 0;

    // A connection of its own, which is waited on as well; it is read by OnReadable.
    virtual Connection* OwnConnection() { return nullptr; }
    virtual void OnReadable() {}
};

// What one log-in has. Once lost it is never used again.
struct Link {
    Link(void* context, const std::string& address, const CurveKeys& keys)
        : light(context, address, keys, 0), heavy(context, address, keys, 1) {}

    enum class Stage { Connecting, LoggingIn, Subscribing, Up };

    Stage stage = Stage::Connecting;
    Lane light, heavy;
    std::unique_ptr<Connection> feed;
    std::string sessionKey;
    int publishPort = 0;
    std::int64_t heardUs = 0;
    bool heard = false; // anything that was published
    bool renewing = false;
    int unansweredPongs = 0;
    std::vector<std::unique_ptr<Request>> awaitRenewal;
};

// The client's own thread: all sockets and timers, and the requests under way.
class Client::Core {
  public:
    Core(Options options, Handlers handlers);
    ~Core();
    Core(const Core&) = delete;
    Core& operator=(const Core&) = delete;

    // From any thread.

    State GetState() const;
    bool WaitConnected(Duration timeout) const;
    void Ask(std::unique_ptr<Request> request, Duration timeout);
    void Post(std::function<void()> work); // to be done on the client's own thread
    void PostAndWait(std::function<void()> work);
    void Follow(Follower* follower);
    void Forget(Follower* follower); // also its requests, timers and calls, whose owner it is
    Teller& GetTeller() { return teller_; }
    const Options& GetOptions() const { return options_; }

    // From the client's own thread.

    void Submit(std::unique_ptr<Request> request);
    Timers::Id After(Duration time, const void* owner, std::function<void()> work);
    void CancelAllOf(const void* owner) { timers_.CancelAllOf(owner); }
    std::unique_ptr<Connection> OpenSubscription(int port);
    bool IsUp() const { return link_ && link_->stage == Link::Stage::Up; }
    bool HasHeard() const { return link_ && link_->heard; }
    void Lose(std::string reason, bool refused = false); // and connect anew

  private:
    void Run();
    void Poll();
    void RunPosted();

    void Begin();
    void Look();
    void LookAt(Connection& connection);
    void ReadAll();
    void Advance();
    void LogIn();
    void TakeLogIn(const Answer& answer);
    void Subscribe();
    void BeUp();
    void KeepAlive();
    void Watch();
    void TearDown();
    void LogOut();

    void ReadReplies(Lane& lane);
    void ReadPublications();
    void NoteHeard();
    void NoteStep(State::Step step);
    void TakeReply(std::unique_ptr<Request> request, std::string reply);
    void Renew(std::unique_ptr<Request> request);
    void TakeRenewal(const Answer& answer);
    void Transmit(std::unique_ptr<Request> request);
    void TimeOut(const Request* request);
    void Finish(std::unique_ptr<Request> request, const Answer& answer);
    void GiveBack(Lane::Found found, const std::string& reason);
    std::unique_ptr<Request> Internal(std::string name, std::string members, Duration patience,
                                      std::function<void(const Answer&)> then);
    void SetState(State::Kind kind, std::string reason);
    std::string LogInMembers() const;
    std::string AddressOf(int port) const;

    const Options options_;
    const Handlers handlers_;
    std::string host_;
    int port_;
    CurveKeys keys_;
    ZmqContext context_ = MakeZmqContext();
    ZmqSocket wakeIn_, wakeOut_;

    mutable Mutex lock_; // of what other threads see
    mutable std::condition_variable_any changed_;
    State state_ GUARDED_BY(lock_);
    std::vector<std::function<void()>> posted_ GUARDED_BY(lock_);
    bool ended_ GUARDED_BY(lock_) = false; // nothing is taken any more

    // Of the client's own thread.
    Timers timers_;
    std::unique_ptr<Link> link_;
    std::optional<std::string> loss_; // why; to be acted on
    bool lossIsRefusal_ = false;
    std::vector<std::unique_ptr<Request>> waiting_; // for a connection
    std::vector<Follower*> followers_;
    int failures_ = 0; // in a row
    bool wasConnected_ = false;
    bool stopping_ = false;
    bool stop_ = false;

    Teller teller_;
    std::thread thread_;
};

} // namespace halvane::client
