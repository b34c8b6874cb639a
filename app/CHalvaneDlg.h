#pragma once

#include "access/AccessDoor.h"
#include "app/FeedService.h"
#include "app/RequestBroker.h"
#include "foundation/support/InstanceGuard.h"
#include "publish/PublishWorker.h"
#include "request/Sessions.h"
#include "tradeapi/TradeApi.h"
#include "tradeapi/TradeEvents.h"

#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

namespace halvane {

class HostLoop;

// The last line of a start that ends at once, behind the one that says why.
void LogWhereHelpIs();

// How the dialog comes by its platform; null when it cannot be created.
using TradeApiMaker = std::function<std::unique_ptr<TradeApi>(TextView hostAddress)>;

// The main dialog: brings everything up in order and holds it together. It lives on the host's
// thread, to which the platform's host events are handed over, so that none is handled before the
// initialisation is done or from inside a call to the platform.
class CHalvaneDlg : public HostEvents {
  public:
    CHalvaneDlg(HostLoop& loop, TradeApiMaker makeTradeApi);

    // `arguments` do not include the program. False when the host cannot start: the log says why,
    // and the process is to end.
    [[nodiscard]] bool OnInitDialog(const std::vector<Text>& arguments);

    // Ends all that uses the platform and lets go of it. May take as long as the platform keeps one
    // of our calls; nothing but the end of the process may follow.
    void LetGoOfPlatform();

    // What a person wants to know who looks at the program, line by line.
    Text StatusText() const;

    // From the platform, on any thread.
    void OnGeneralServiceUpdate() override;
    void OnCommandMsg(std::int32_t kind, std::int32_t subKind, TextView text) override;

  private:
    bool Connect();
    void SubscribeTopics();
    void TakeServices();
    void StartBroker();
    void ObeyCommand(std::int32_t kind, std::int32_t subKind, const Text& text);
    void StartPublishing();
    void FinishPublishing(bool started);
    void Post(const wchar_t* event, std::function<void()> work);

    // Destroyed from the last to the first: those who use stop before what they use.
    HostLoop& loop_;
    TradeApiMaker makeTradeApi_;
    std::optional<InstanceGuard> instance_;
    std::optional<LoginInfoTable> loginInfo_;
    FeedService feed_;
    PublishWorker publishWorker_;
    std::unique_ptr<TradeApi> tradeApi_;
    std::unique_ptr<RequestBroker> broker_; // once started
    std::unique_ptr<AccessDoor> door_;      // beside it, where Access.ini wants one
    AccessConfig access_;
    Text loginType_;
    std::jthread supervision_;
    std::jthread recovery_;   // of the feed, when it is on
    std::jthread publishing_; // once started: looks for a port, which may take for ever
    bool connected_ = false;
    bool served_ = false;         // the platform is ready for requests
    bool lookingForPort_ = false; // clients are told the port: they are served afterwards
};

} // namespace halvane
