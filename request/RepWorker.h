#pragma once

#include "foundation/cpputility/Notifications.h"
#include "foundation/support/Mutex.h"
#include "foundation/support/Zmq.h"
#include "request/Activity.h"
#include "request/Envelope.h"
#include "request/WorkDone.h"

#include <cstdint>
#include <map>
#include <stop_token>

namespace halvane {

class Feed;
struct Operation;
class TradeApi;

// How many requests have been answered in this process. Safe from any thread.
std::uint64_t RequestsServed();

// A request worker: receives one JSON request at a time from the broker, runs the handler that its
// name chooses, and sends exactly one reply, whatever the client sent and whatever the handler or
// the platform does. Four of them run, each with a thread, a context and a socket of its own; from
// StartService on a worker is used by its own thread alone, but for OnNotification.
class RepWorker final : public CppUtility::ReceiveNotification {
  public:
    // The login type is the platform's, as the host read it, the secret the one that the broker's
    // back socket asks for; the feed is null when it is off. Takes the descriptors that the library
    // cannot do without.
    RepWorker(Text loginType, const std::string& relaySecret, Feed* feed = nullptr);
    ~RepWorker();

    // Counts there what it serves. To be called before the service is started.
    void CountServed(WorkDone& done) { done_ = &done; }

    // Serves until a stop is requested; returns at once when the socket cannot connect.
    void StartService(TradeApi& tradeApi, std::stop_token stop);

    // Handles one request, UTF-8 up to its first zero byte.
    void DoWork(std::string_view bytes);

    // The two ways to reply. Every reply leaves through SendData, as UTF-8 and a zero byte.
    void ReplyFail(TextView request, TextView errMsg, TextView sessionKey);
    void SendData(std::string json, bool log);
    // Sends the reply to an order that the platform took, or did not, with this result.
    void SendOrderReply(std::string json, std::int32_t result);
    // The failure reply to a request that was understood.
    void Refuse(const Request& request, TextView reason);

    // "RemoveLoginInfo": a session has timed out. Called on the notification thread.
    void OnNotification(const wchar_t* name, const wchar_t* param) override;

    // For the handlers.
    TradeApi& Platform() { return *tradeApi_; }
    Feed* TheFeed() { return feed_; }                         // null when it is off
    bool HasPlatform() const { return tradeApi_ != nullptr; } // from StartService on
    // Sleeps; false when the worker is to stop, and the handler to give up.
    bool Pause(std::uint32_t timeMs);
    // The same between two tries of a request that may be tried for ever; false, too, when its
    // session has ended and the option "EndRetriesWithSession" is on: it has been answered then.
    bool PauseForRetry(const Request& request, std::uint32_t timeMs);
    std::stop_token StopToken() const { return stop_; }
    // The mode that this worker has brought the platform into; 0 before its first log-in.
    std::int32_t LoginMode() const { return loginMode_; }
    void SetLoginMode(std::int32_t mode);
    std::uint32_t ProcessId() const { return processId_; }
    const Text& ServiceKey() const { return serviceKey_; }
    const Text& LoginType() const { return loginType_; }
    // The alias of a contract list's type; "" when there is none.
    Text ContractAlias(TextView type) const;

  private:
    void ServeNext();
    void Count();
    void AnswerTheBroker();
    void Run(const Operation& operation, const JsonValue& root);
    bool Admit(const Operation& operation, const Request& request);
    void WaitForTradeData();

    ZmqContext context_;
    ZmqSocket socket_;
    std::string relaySecret_;
    TradeApi* tradeApi_ = nullptr;
    Mutex sendLock_;                                  // around each reply
    std::map<Text, Text, std::less<>> contractNames_; // list type to alias
    std::uint32_t processId_;
    Text serviceKey_;
    std::int32_t loginMode_ = 0;
    Text loginType_;
    Feed* feed_;
    std::stop_token stop_;
    WorkDone* done_ = nullptr;
    std::uint64_t bytes_ = 0; // of the request at hand, until it is served
    bool replied_ = false;    // to the request at hand
    bool failed_ = false;     // and it was, or will be, a failure
    WorkerActivity activity_;
};

} // namespace halvane
