#pragma once

#include "app/CHalvaneDlg.h"
#include "app/QueueLoop.h"
#include "foundation/logger/ILogger.h"
#include "tests/JumpingClock.h"
#include "tests/host/ScriptedTradeApi.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

namespace halvane {

// Keeps what is logged, as "<LEVEL> <text>".
class LogKeeper {
  public:
    LogKeeper();  // takes the place of the process-wide logger
    ~LogKeeper(); // puts a closed one back

    std::vector<std::string> Lines();
    // Waits for the first line that begins so, and gives the rest of it.
    std::string WaitFor(const std::string& start);
    int Count(const std::string& line);
    // Orders what this thread did against what others do before and after their lines: sanitizers
    // do not see that a message through a socket does the same.
    void Synchronise();

  private:
    class Logger;
    struct Shared;
    static Shared& TheShared();
};

// A system name that no test of another process uses at the same time: there is one host for each.
Text OwnSystemName();

// A whole host in this process: scripted platform, jumping clock, real sockets. It is served on the
// thread of its own loop.
class TestHost {
  public:
    explicit TestHost(std::vector<Text> arguments = {L"scripted", OwnSystemName(), L"demo-key"});
    ~TestHost();

    ScriptedTradeApi& Api() { return *api_; }

    // False as OnInitDialog.
    bool Initialise();
    // Initialises, lets the platform say that it is up, and waits until all workers serve.
    void Serve();

    // The loop alone, on the caller's thread, until it is told to end.
    int Run() { return loop_.Run({}, WindowState::Minimised); }
    Text StatusText() const { return dialog_->StatusText(); }

    void* Context() { return context_.get(); }
    int RequestPort();
    // A REQ socket that is connected to the front.
    ZmqSocket Client();

    // One round trip of its own; the reply with its last byte.
    std::string Ask(const std::string& request);
    // The same with the trailing zero taken off, which must be there.
    std::string AskText(const std::string& request);
    // Logs in and gives the session key.
    std::string LogIn();

    // The next publication of that kind, without its trailing zero.
    std::string NextPublication(const std::string& dataType);

    JumpingClock clock{2000};
    ScopedClock scopedClock{clock};
    LogKeeper log;

  private:
    std::vector<Text> arguments_;
    QueueLoop loop_;
    ScriptedTradeApi* api_ = nullptr;
    std::unique_ptr<ScriptedTradeApi> created_;
    ZmqContext context_;
    ZmqSocket subscriber_;
    std::optional<CHalvaneDlg> dialog_;
    std::jthread thread_;
};

// A host that serves, and a client that is logged in.
class HostTest : public testing::Test {
  protected:
    explicit HostTest(std::vector<Text> arguments = {L"scripted", OwnSystemName(), L"demo-key"})
        : host(std::move(arguments)) {}
    void SetUp() override {
        host.Serve();
        key = host.LogIn();
    }

    // The reply to a request of this session; `members` are further ones, each after a comma.
    std::string Ask(const std::string& request, const std::string& members = "") {
        return host.AskText(R"({"Request":")" + request + R"(","SessionKey":")" + key + "\"" +
                            members + "}");
    }
    // The same with a Param of these members.
    std::string Send(const std::string& request, const std::string& param) {
        return Ask(request, R"(,"Param":{)" + param + "}");
    }
    std::string Failure(const std::string& request, const std::string& reason) const {
        return R"({"Reply":")" + request + R"(","Success":"Fail","SessionKey":")" + key +
               R"(","ErrMsg":")" + reason + "\"}";
    }

    TestHost host;
    std::string key;
};

} // namespace halvane
