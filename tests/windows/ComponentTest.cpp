#include "tests/EventNotes.h"
#include "tests/windows/Registry.h"

#include "foundation/support/Process.h"
#include "foundation/support/Strings.h"
#include "tradeapi/Automation.h"
#include "tradeapi/com/Com.h"
#include "tradeapi/com/ComponentLoader.h"

#include <gtest/gtest.h>

#include <objbase.h>

// The paper platform's own component, driven through the binding that drives the platform's.

namespace halvane {
namespace {

Text ComponentFile() { return ExecutableFolder() + L"..\\Components\\OVTradeAPI64.dll"; }

HRESULT CallExport(const char* name) {
    const HMODULE module = LoadLibraryW(ComponentFile().c_str());
    const auto function = reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(
        reinterpret_cast<void*>(GetProcAddress(module, name)));
    const HRESULT result = function != nullptr ? function() : E_NOTIMPL;
    FreeLibrary(module);
    return result;
}

class ComponentTest : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(CallExport("DllRegisterServer"), S_OK);
        ASSERT_TRUE(api_ = MakeComTradeApi());
        notes_.ReadFrom(*api_);
        ASSERT_TRUE(api_->Advise(static_cast<HostEvents&>(notes_)));
        ASSERT_TRUE(api_->Advise(static_cast<TradeEvents&>(notes_)));
        ASSERT_EQ(api_->Connect(L"10.0.0.1:8000", L"DEMO", L"demo-key", 1), 1);
        EXPECT_EQ(std::ranges::count(notes_.TakeUntil(L"count 100  1"), L"service"), 1);
    }
    ~ComponentTest() override {
        api_.reset();
        CallExport("DllUnregisterServer");
    }

    std::int32_t BuyAtMarket(std::int32_t quantity) {
        const auto order = api_->CreateParameters(ItemClass::StockOrder);
        order->PutText(1, L"PAPER");
        order->PutText(2, L"1000001");
        order->PutText(17, L"OV.S.PAPX.ALFA");
        order->PutInt(7, 1);
        order->PutInt(10, 1);
        order->PutInt(11, quantity);
        return api_->NewOrder(8, *order);
    }

    EventNotes notes_;
    std::unique_ptr<TradeApi> api_;
};

TEST_F(ComponentTest, KeysAreCheckedInTheVariant) {
    std::optional<Text> key = L"demo-key";
    api_->GeneralCommand(3, 0, L"COM", key);
    EXPECT_EQ(key, L"DEMO");
    key = L"no such key";
    api_->GeneralCommand(3, 0, L"COM", key);
    EXPECT_EQ(key, std::nullopt);
}

TEST_F(ComponentTest, AnOrderGoesThereAndComesBackAsReportFillAndPosition) {
    ASSERT_EQ(BuyAtMarket(2), 1);
    EXPECT_EQ(std::ranges::count(notes_.TakeUntil(L"count 7 PAPER-1000001 1"), L"fill 2"), 1);

    const auto report = api_->CreateItem(ItemClass::ExecutionReport);
    ASSERT_EQ(api_->QueryReport(kOneReport, notes_.LastReport(), *report), 1);
    EXPECT_EQ(report->GetText(43), L"OV.S.PAPX.ALFA");
    EXPECT_EQ(report->GetInt(31), 2);
    EXPECT_GT(report->GetInt64(36), 0);
    EXPECT_NE(report->GetIndexed(3, 0), L"");
    EXPECT_EQ(report->GetIndexed(3, 99), L"");

    const auto list = api_->CreateItem(ItemClass::ReportList);
    ASSERT_EQ(api_->QueryReport(kReports, L"", *list), 1);
    EXPECT_EQ(list->GetInt(2), 1);
    EXPECT_EQ(list->GetIndexed(4, 0), notes_.LastReport());

    const auto position = api_->CreateItem(ItemClass::Position);
    ASSERT_EQ(api_->GetDataItem(kPositions, 0, L"PAPER-1000001", *position), 1);
    EXPECT_EQ(api_->GetDataItem(kPositions, 1, L"PAPER-1000001", *position), 0);

    const auto tracker = api_->CreatePositionTracker();
    api_->AttachPositionTracker(*tracker);
    const Text entry(Split(tracker->Entries(), L';').front());
    EXPECT_EQ(entry.substr(0, 13), L"PAPER-1000001");
    EXPECT_NE(tracker->Instruments(entry), L"");
}

TEST_F(ComponentTest, TheTwoRegistryClassesWork) {
    const auto replace = api_->CreateParameters(ItemClass::ReplaceOrder);
    ASSERT_TRUE(replace);
    replace->PutText(1, L"no such report");
    replace->PutInt(3, 5);
    replace->PutInt64(4, 1'000'000'000'000);
    EXPECT_GT(api_->ReplaceOrder(*replace), 1);
    const auto combination = api_->CreateItem(ItemClass::CombinationOrder);
    ASSERT_TRUE(combination);
    EXPECT_EQ(combination->GetNamed(L"OrderID"), L"");
}

TEST_F(ComponentTest, TopicsAndInstruments) {
    api_->SubscribeTopic(L"VANTOR.RETURN");
    api_->SendTopicCommand(L"VANTOR.RECOVER", 20240105, L"alias", std::nullopt);
    notes_.TakeUntil(L"VANTOR.RETURN 20240105 alias ");
    EXPECT_NE(api_->GetInstrumentData(L"ALL", L"OV.S.PAPX.ALFA"), L"");
    EXPECT_EQ(api_->GetPlatformValue(L"PERMISSIONS.General.LoginType"), L"1");
    EXPECT_GT(api_->GetTradingDays(L"OV.F.PAPF.IDX.202612", 0), -1);
    api_->SetMode(3);
    api_->SendRequest(1, L"OPTCOMB", L"", 1, L"");
    api_->NewStrategyOrder(L"{}");
}

TEST_F(ComponentTest, ObjectsOfOthersAreRefused) {
    const auto item = api_->CreateItem(ItemClass::Margin);
    const auto root = CreateComponentObject(L"Ovaro.TradeAPI.1");
    ASSERT_TRUE(root);
    VARIANT arguments[4] = {};
    arguments[0].vt = VT_DISPATCH; // an object of the component, but no item
    arguments[0].pdispVal = root.get();
    DISPPARAMS parameters{arguments, nullptr, 4, 0};
    EXCEPINFO exception{};
    EXPECT_EQ(
        root->Invoke(4, IID_NULL, 0, DISPATCH_METHOD, &parameters, nullptr, &exception, nullptr),
        DISP_E_EXCEPTION);
    EXPECT_EQ(exception.scode, DISP_E_TYPEMISMATCH);
    SysFreeString(exception.bstrDescription);
    SysFreeString(exception.bstrSource);
    parameters.cArgs = 2;
    EXPECT_EQ(root->Invoke(4, IID_NULL, 0, DISPATCH_METHOD, &parameters, nullptr, nullptr, nullptr),
              DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(root->Invoke(5, IID_NULL, 0, DISPATCH_METHOD, &parameters, nullptr, nullptr, nullptr),
              DISP_E_MEMBERNOTFOUND);
}

TEST_F(ComponentTest, UnloadingDoesNotPullTheCodeFromUnderItsThreads) {
    UnloadComponentModules();
    ASSERT_EQ(BuyAtMarket(1), 1);
    notes_.TakeUntil(L"fill 1");
}

bool IsRegistered(const wchar_t* progId) {
    CLSID id;
    return SUCCEEDED(CLSIDFromProgID(progId, &id));
}

TEST(RegistrationTest, EveryClassComesAndGoes) {
    const wchar_t* const names[] = {L"Ovaro.TradeAPI.1", L"Ovaro.PositionTracker.1",
                                    L"Ovaro.TradeReplaceOrderParameters.1",
                                    L"Ovaro.adiCombinationOrderItem.1"};
    EXPECT_EQ(CallExport("DllRegisterServer"), S_OK);
    EXPECT_EQ(CallExport("DllRegisterServer"), S_OK); // again does no harm
    for (const wchar_t* name : names)
        EXPECT_TRUE(IsRegistered(name));
    EXPECT_EQ(CallExport("DllUnregisterServer"), S_OK);
    for (const wchar_t* name : names)
        EXPECT_FALSE(IsRegistered(name));
}

TEST(RegistrationTest, ThePlatformsOwnClassesStay) {
    const RegisteredClass platform(L"Ovaro.TradeDataAccount.1",
                                   L"{B323E7F5-5455-42FD-9CB6-2FB71E6B7516}", L"C:\\theirs.dll");
    EXPECT_NE(CallExport("DllRegisterServer"), S_OK);
    EXPECT_FALSE(IsRegistered(L"Ovaro.TradeAPI.1"));
    EXPECT_EQ(CallExport("DllUnregisterServer"), S_OK);
    EXPECT_TRUE(IsRegistered(L"Ovaro.TradeDataAccount.1"));
}

} // namespace
} // namespace halvane
