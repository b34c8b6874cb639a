#pragma once

#include "foundation/support/AddressGuard.h"
#include "foundation/support/ConnectionWatch.h"
#include "foundation/support/Mutex.h"
#include "foundation/support/Zmq.h"
#include "publish/SendWindow.h"
#include "tradeapi/Items.h"
#include "tradeapi/TradeEvents.h"

#include <atomic>
#include <functional>
#include <optional>
#include <thread>
#include <vector>

namespace halvane {

class TradeApi;

// The push channel: takes the platform's trade events, turns each into one JSON document and
// publishes it to every subscriber, and sends a heartbeat every 20 s from a thread of its own.
// Events come on the platform's thread; whatever goes wrong in one is logged and drops that event.
class PublishWorker : public TradeEvents {
  public:
    PublishWorker() = default;
    ~PublishWorker() override; // ends the heartbeat

    // Is given every publication but the heartbeats, in UTF-8, right before it is sent and in the
    // same order. It is called under the lock of the sends and may not wait. Before StartService.
    using Tap = std::function<void(std::string_view json)>;
    void SetTap(Tap tap) { tap_ = std::move(tap); }

    // Binds the socket to a port that is drawn at random (setting "PublishPort"), attaches itself
    // to the platform's trade events and starts the heartbeat. Called once. False when the platform
    // does not take the sink, or when a stop was requested while no port was free.
    [[nodiscard]] bool StartService(TradeApi& tradeApi, std::stop_token stop = {});

    // Publishes one document as one frame: UTF-8 and a zero byte. Safe from any thread.
    void SendData(std::string text, bool log);

    // How many publications have been sent. Safe from any thread.
    std::uint64_t Sent() const { return sent_; }

    void OnAccountUpdate(std::int32_t kind, TextView key, std::int32_t value) override;
    void OnCommandMsg(std::int32_t kind, std::int32_t subKind, TextView text) override;
    void OnExecutionReport(TextView reportId) override;
    void OnFilledReport(TextView reportId) override;
    void OnReportReset() override;
    void OnSetTopic(TextView topic, std::int32_t lParam, TextView strParam,
                    const std::optional<Text>& data) override;
    void OnPositionTracker() override;

  private:
    enum class Taps { None, All };
    void Send(std::string text, bool log, Taps taps);
    void GuardAddresses();
    bool BindToFreePort(std::stop_token stop);
    void SendHeartbeats(std::stop_token stop);
    void PublishAccounts(std::int32_t kind, std::int32_t count);
    void PublishReport(ItemClass itemClass, TextView reportId);
    void PublishEmpty(const wchar_t* dataType, bool log, Taps taps = Taps::All);
    void PublishSignal(TextView signal);
    void TakeRecoveredFile(std::int32_t date, TextView alias, const Text& file);

    ZmqContext context_;
    std::optional<AddressGuard> guard_;
    std::optional<ZapThread> zap_;   // where not everybody may come
    std::vector<ZmqSocket> refused_; // their ports were taken; left open
    ZmqSocket socket_;
    std::optional<ConnectionWatch> watch_;
    SendWindow window_; // under sendLock_
    TradeApi* tradeApi_ = nullptr;
    Tap tap_;        // null when nobody listens
    Mutex sendLock_; // around each send and its log line
    std::atomic<std::uint64_t> sent_ = 0;
    std::jthread heartbeat_;
};

} // namespace halvane
