#include "tests/windows/ProbeTest.h"

#include "foundation/support/Format.h"
#include "tradeapi/Automation.h"
#include "tradeapi/TradeEvents.h"

#include <objbase.h>
#include <olectl.h>

#include <atomic>
#include <thread>

namespace halvane {
namespace {

// Write down what arrives, and the thread that it arrives on.
struct HostNotes : HostEvents {
    void OnGeneralServiceUpdate() override { last = L"update"; }
    void OnCommandMsg(std::int32_t kind, std::int32_t subKind, TextView text) override {
        last = Format(L"command %d %d %s", kind, subKind, text);
    }
    Text last;
};

struct TradeNotes : TradeEvents {
    void OnAccountUpdate(std::int32_t kind, TextView key, std::int32_t value) override {
        last = Format(L"account %d %s %d", kind, key, value);
        thread = GetCurrentThreadId();
    }
    void OnCommandMsg(std::int32_t kind, std::int32_t subKind, TextView text) override {
        last = Format(L"command %d %d %s", kind, subKind, text);
    }
    void OnExecutionReport(TextView reportId) override {
        if (reportId == L"throw") throw std::runtime_error("a handler's fault");
        if (reportId == L"stay") {
            entered = true;
            while (!released)
                std::this_thread::yield();
            outlivedByPlatform = !ended;
        }
        last = L"report " + Text(reportId);
    }
    void OnFilledReport(TextView reportId) override { last = L"fill " + Text(reportId); }
    void OnReportReset() override { last = L"reset"; }
    void OnSetTopic(TextView topic, std::int32_t lParam, TextView strParam,
                    const std::optional<Text>& data) override {
        last = Format(L"topic %s %d %s %s", topic, lParam, strParam, data.value_or(L"(none)"));
    }
    void OnPositionTracker() override { last = L"tracker"; }
    Text last;
    DWORD thread = 0;
    std::atomic<bool> entered = false, released = false, ended = false, outlivedByPlatform = false;
};

class SinkTest : public ProbeTest {
  protected:
    void SetUp() override {
        ASSERT_TRUE(api_);
        ASSERT_TRUE(api_->Advise(host_));
        ASSERT_TRUE(api_->Advise(trade_));
    }

    // Arguments first to last.
    template <typename... Arguments>
    HRESULT Fire(const wchar_t* events, DISPID id, const Arguments&... arguments) {
        Variant list[] = {Variant(arguments)..., Variant()};
        std::vector<VARIANT> lastToFirst;
        for (std::size_t i = sizeof...(arguments); i > 0; --i)
            lastToFirst.push_back(list[i - 1].Value());
        IID interfaceId;
        EXPECT_TRUE(SUCCEEDED(IIDFromString(events, &interfaceId)));
        return probe_->fire(interfaceId, id, lastToFirst.data(),
                            static_cast<UINT>(lastToFirst.size()), DISPATCH_METHOD);
    }

    HostNotes host_;
    TradeNotes trade_;
};

const wchar_t* const kHost = L"{34DBB30A-5EEC-4F17-B62F-95D47EFCA465}";
const wchar_t* const kTrade = L"{485C6CCF-70AE-4CAD-810F-9B67B9BD135E}";
const std::int32_t kSeven = 7;
const std::int32_t kMinus = -100;

TEST_F(SinkTest, EveryEventReachesItsMember) {
    EXPECT_EQ(Fire(kHost, 1), S_OK);
    EXPECT_EQ(host_.last, L"update");
    EXPECT_EQ(Fire(kHost, 2, kSeven, kMinus, Text(L"x")), S_OK);
    EXPECT_EQ(host_.last, L"command 7 -100 x");

    EXPECT_EQ(Fire(kTrade, 1, kSeven, Text(L"A1"), kMinus), S_OK);
    EXPECT_EQ(trade_.last, L"account 7 A1 -100");
    EXPECT_NE(trade_.thread, GetCurrentThreadId());
    EXPECT_EQ(Fire(kTrade, 2, kSeven, kMinus, Text(L"x")), S_OK);
    EXPECT_EQ(trade_.last, L"command 7 -100 x");
    EXPECT_EQ(Fire(kTrade, 3, Text(L"R1")), S_OK);
    EXPECT_EQ(trade_.last, L"report R1");
    EXPECT_EQ(Fire(kTrade, 12, Text(L"F1")), S_OK);
    EXPECT_EQ(trade_.last, L"fill F1");
    EXPECT_EQ(Fire(kTrade, 5), S_OK);
    EXPECT_EQ(trade_.last, L"reset");
    EXPECT_EQ(Fire(kTrade, 19), S_OK);
    EXPECT_EQ(trade_.last, L"tracker");
    Variant file(Text(L"file"));
    EXPECT_EQ(Fire(kTrade, 9, Text(L"t"), kSeven, Text(L"s"), &file), S_OK);
    EXPECT_EQ(trade_.last, L"topic t 7 s file");
    EXPECT_EQ(host_.last, L"command 7 -100 x"); // each sink has its own
}

TEST_F(SinkTest, ArgumentsByReferenceAndOfOtherTypesAreTaken) {
    Variant kind(kSeven);
    Variant text(Text(L"12"));
    Variant byReference;
    byReference.Raw()->vt = VT_BYREF | VT_I4;
    byReference.Raw()->plVal = &kind.Raw()->lVal;
    Variant textByReference;
    textByReference.Raw()->vt = VT_BYREF | VT_BSTR;
    textByReference.Raw()->pbstrVal = &text.Raw()->bstrVal;
    EXPECT_EQ(Fire(kTrade, 1, &kind, &textByReference, &byReference), S_OK);
    EXPECT_EQ(trade_.last, L"account 7 12 7");
    EXPECT_EQ(Fire(kTrade, 1, Text(L"7"), kMinus, std::int64_t{3}), S_OK);
    EXPECT_EQ(trade_.last, L"account 7 -100 3");
    EXPECT_EQ(Fire(kTrade, 9, Text(L"t"), kSeven, Text(L"s"), Text(L"direct")), S_OK);
    EXPECT_EQ(trade_.last, L"topic t 7 s direct");
    const auto typed = [](VARTYPE type, Variant* target) {
        Variant made(target);
        made.Raw()->vt = type;
        return made;
    };
    Variant once(&text), nowhere = typed(VT_BYREF | VT_BSTR, &text), unknown = typed(77, &text);
    nowhere.Raw()->byref = nullptr;
    for (Variant* noText : {&kind, &once, &nowhere, &unknown}) {
        trade_.last.clear();
        EXPECT_EQ(Fire(kTrade, 9, Text(L"t"), kSeven, Text(L"s"), noText), S_OK);
        EXPECT_EQ(trade_.last, L"topic t 7 s (none)");
    }
    EXPECT_NE(Fire(kTrade, 9, Text(L"t"), kSeven, &once, Text(L"file")), S_OK); // no data: dropped
}

TEST_F(SinkTest, WhatIsNotInTheTableIsRefused) {
    EXPECT_EQ(Fire(kTrade, 4), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(Fire(kHost, 12, Text(L"F1")), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(Fire(kTrade, 3), DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(Fire(kTrade, 1, Text(L"seven"), Text(L"A1"), kSeven), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(trade_.last, L"");
}

TEST_F(SinkTest, AHandlerThatThrowsLosesItsEventAlone) {
    EXPECT_EQ(Fire(kTrade, 3, Text(L"throw")), S_OK);
    EXPECT_EQ(Fire(kTrade, 3, Text(L"R2")), S_OK);
    EXPECT_EQ(trade_.last, L"report R2");
}

TEST_F(SinkTest, NoEventArrivesAfterTheEnd) {
    api_.reset();
    EXPECT_EQ(Fire(kTrade, 5), CONNECT_E_NOCONNECTION);
    EXPECT_EQ(Fire(kHost, 1), CONNECT_E_NOCONNECTION);
    EXPECT_EQ(probe_->liveObjects(), 0);
}

TEST_F(SinkTest, TheEndWaitsForTheEventThatIsRunning) {
    std::jthread component([this] { Fire(kTrade, 3, Text(L"stay")); });
    while (!trade_.entered)
        std::this_thread::yield();
    std::jthread program([this] {
        api_.reset();
        trade_.ended = true;
    });
    while (Fire(kTrade, 5) != CONNECT_E_NOCONNECTION)
        std::this_thread::yield();
    trade_.released = true;
    component.join();
    program.join();
    EXPECT_TRUE(trade_.outlivedByPlatform);
}

} // namespace
} // namespace halvane
