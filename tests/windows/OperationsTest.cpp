#include "tests/windows/ProbeTest.h"

#include "tradeapi/Automation.h"

#include <functional>

namespace halvane {
namespace {

using OperationsTest = ProbeTest;

TEST_F(OperationsTest, EveryOperationIsOneCallWithItsArgumentTypes) {
    ASSERT_TRUE(api_);
    const auto account = api_->CreateItem(ItemClass::Account);
    const auto report = api_->CreateItem(ItemClass::ExecutionReport);
    const auto stock = api_->CreateParameters(ItemClass::StockOrder);
    const auto replace = api_->CreateParameters(ItemClass::ReplaceOrder);
    const auto tracker = api_->CreatePositionTracker();
    ASSERT_TRUE(account && report && stock && replace && tracker);
    std::optional<Text> key = L"key";
    std::optional<Text> none;

    const struct {
        std::function<void()> operation;
        const wchar_t* call;
    } kCases[] = {
        {[&] { api_->Connect(L"host", L"sys", L"key", 1); },
         LR"(TradeAPI method 1(BSTR "host", BSTR "sys", BSTR "key", I4 1) =)"},
        {[&] { api_->GeneralCommand(3, 0, L"COM", key); },
         LR"(TradeAPI method 3(I4 3, I4 0, BSTR "COM", &BSTR "key"))"},
        {[&] { api_->GeneralCommand(2, 0, L"COM", none); },
         LR"(TradeAPI method 3(I4 2, I4 0, BSTR "COM", &EMPTY))"},
        {[&] { api_->GetDataItem(1, 5, L"", *account); },
         LR"(TradeAPI method 4(I4 1, I4 5, BSTR "", DISPATCH Account) =)"},
        {[&] { api_->ReplaceOrder(*replace); }, L"TradeAPI method 6(DISPATCH Replace) ="},
        {[&] { api_->CancelOrder(L"R1", L"k"); }, LR"(TradeAPI method 7(BSTR "R1", BSTR "k") =)"},
        {[&] { api_->QueryReport(0, L"R1", *report); },
         LR"(TradeAPI method 8(I4 0, BSTR "R1", DISPATCH Report) =)"},
        {[&] { api_->GetPlatformValue(L"ModulePath"); },
         LR"(TradeAPI method 11(BSTR "ModulePath") =)"},
        {[&] { api_->SubscribeTopic(L"T"); }, LR"(TradeAPI method 12(BSTR "T"))"},
        {[&] { api_->SendTopicCommand(L"MSG2LINE.UD", 1, L"id", L"message"); },
         LR"(TradeAPI method 14(BSTR "MSG2LINE.UD", I4 1, BSTR "id", &BSTR "message"))"},
        {[&] { api_->SendTopicCommand(L"VANTOR.RECOVER", 20240105, L"a", std::nullopt); },
         LR"(TradeAPI method 14(BSTR "VANTOR.RECOVER", I4 20240105, BSTR "a", &EMPTY))"},
        {[&] { api_->SendRequest(1, L"OPTCOMB", L"VOLUME=1", 1, L"B-A"); },
         LR"(TradeAPI method 15(I4 1, BSTR "OPTCOMB", BSTR "VOLUME=1", I4 1, BSTR "B-A"))"},
        {[&] { api_->GetInstrumentData(L"ALL", L"OV.S.X"); },
         LR"(TradeAPI method 16(BSTR "ALL", BSTR "OV.S.X") =)"},
        {[&] { api_->SetMode(3); }, L"TradeAPI method 19(I4 3)"},
        {[&] { api_->NewOrder(8, *stock); }, L"TradeAPI method 22(I4 8, DISPATCH Stock) ="},
        {[&] { api_->GetExpirationDate(L"OV.F.X"); }, LR"(TradeAPI method 35(BSTR "OV.F.X") =)"},
        {[&] { api_->AttachPositionTracker(*tracker); }, L"TradeAPI method 38(DISPATCH Tracker)"},
        {[&] { api_->GetTradingDays(L"OV.F.X", -1); },
         LR"(TradeAPI method 39(BSTR "OV.F.X", I4 -1) =)"},
        {[&] { api_->NewStrategyOrder(L"{}"); }, LR"(TradeAPI method 44(BSTR "{}"))"},
        {[&] { tracker->Entries(); }, L"Tracker method 2() ="},
        {[&] { tracker->Instruments(L"e"); }, LR"(Tracker method 3(BSTR "e") =)"},
        {[&] { tracker->Figure(L"e", L"i", L"f"); },
         LR"(Tracker method 4(BSTR "e", BSTR "i", BSTR "f") =)"},
        {[&] { report->GetText(5); }, L"Report get 5() ="},
        {[&] { report->GetInt(17); }, L"Report get 17() ="},
        {[&] { report->GetInt64(21); }, L"Report get 21() ="},
        {[&] { report->GetIndexed(3, 7); }, L"Report method 3(I4 7) ="},
        {[&] { stock->PutText(17, L"OV.S.X"); }, LR"(Stock put 17(BSTR "OV.S.X") named -3)"},
        {[&] { stock->PutInt(7, -2); }, L"Stock put 7(I4 -2) named -3"},
        {[&] { replace->PutInt64(4, 5); }, L"Replace put 4(I8 5) named -3"},
    };
    probe_->reset();
    for (const auto& [operation, call] : kCases) {
        operation();
        EXPECT_EQ(Shown(probe_.TakeCalls()), Shown(Text(call) + L"\n"));
    }
}

TEST_F(OperationsTest, TheReadByNameHasAnIdOfItsOwnInEveryClass) {
    ASSERT_TRUE(api_);
    const struct {
        ItemClass itemClass;
        const wchar_t* call;
    } kCases[] = {
        {ItemClass::Account, L"Account method 11(BSTR \"Level\") =\n"},
        {ItemClass::Margin, L"Margin method 2(BSTR \"Level\") =\n"},
        {ItemClass::Position, L"Position method 2(BSTR \"Level\") =\n"},
        {ItemClass::CombinationOrder, L"Combination method 2(BSTR \"Level\") =\n"},
        {ItemClass::ExecutionReport, L"Report method 40(BSTR \"Level\") =\n"},
        {ItemClass::Fill, L""},
        {ItemClass::ReportList, L""},
    };
    for (const auto& [itemClass, call] : kCases) {
        const auto item = api_->CreateItem(itemClass);
        ASSERT_TRUE(item);
        EXPECT_EQ(item->GetNamed(L"Level"), L"");
        EXPECT_EQ(Shown(probe_.TakeCalls()), Shown(call));
    }
}

TEST_F(OperationsTest, TheAnswerInTheVariantComesBackAsTextOrNotAtAll) {
    ASSERT_TRUE(api_);
    const struct {
        Variant told;
        std::optional<Text> answer;
    } kCases[] = {{Variant(Text(L"DEMO\0x", 6)), Text(L"DEMO\0x", 6)},
                  {Variant(Text()), L""},
                  {Variant(std::int32_t{1}), std::nullopt},
                  {Variant(), std::nullopt}};
    for (const auto& [told, answer] : kCases) {
        probe_->answerByReference(3, told.Value());
        std::optional<Text> inOut = L"key";
        api_->GeneralCommand(3, 0, L"COM", inOut);
        EXPECT_EQ(inOut, answer);
    }
}

Variant Typed(VARTYPE type, std::int64_t value) {
    Variant made(value);
    VariantChangeTypeEx(made.Raw(), made.Raw(), LOCALE_INVARIANT, 0, type);
    return made;
}

TEST_F(OperationsTest, ResultsOfOtherTypesConvert) {
    ASSERT_TRUE(api_);
    const auto item = api_->CreateItem(ItemClass::Fill);
    ASSERT_TRUE(item);
    for (const VARTYPE type :
         {VT_I1, VT_I2, VT_I4, VT_I8, VT_UI1, VT_UI4, VT_R4, VT_R8, VT_BSTR, VT_DECIMAL, VT_CY}) {
        probe_->answer(1, Typed(type, 42).Value());
        EXPECT_EQ(item->GetInt(1), 42) << type;
        EXPECT_EQ(item->GetInt64(1), 42) << type;
        EXPECT_EQ(item->GetText(1), L"42") << type;
    }
    Variant null;
    null.Raw()->vt = VT_NULL;
    probe_->answer(1, null.Value());
    EXPECT_EQ(item->GetInt(1), 0);
    EXPECT_EQ(item->GetText(1), L"");
    probe_->reset(); // no result at all
    EXPECT_EQ(item->GetInt64(1), 0);
    EXPECT_EQ(item->GetText(1), L"");
    probe_->answer(1, Variant(Text()).Value());
    EXPECT_EQ(item->GetInt(1), 0);
    Variant half;
    half.Raw()->vt = VT_R8;
    half.Raw()->dblVal = 0.5;
    probe_->answer(1, half.Value());
    EXPECT_EQ(item->GetText(1), L"0.5"); // a point everywhere
}

TEST_F(OperationsTest, FailuresCarryCodeAndText) {
    ASSERT_TRUE(api_);
    const struct {
        HRESULT code;
        SCODE exceptionCode;
        const wchar_t* description;
        std::int32_t expectedCode;
        const wchar_t* expectedText; // none: whatever the system says
    } kCases[] = {
        {DISP_E_EXCEPTION, 1234, L"no such order", 1234, L"no such order"},
        {DISP_E_EXCEPTION, E_ACCESSDENIED, L"", E_ACCESSDENIED, nullptr},
        {DISP_E_EXCEPTION, 0, L"because", DISP_E_EXCEPTION, L"because"},
        {DISP_E_MEMBERNOTFOUND, 0, L"", DISP_E_MEMBERNOTFOUND, nullptr},
        {E_FAIL, 0, L"", E_FAIL, nullptr},
    };
    for (const auto& row : kCases) {
        for (const DISPID id : {7, 44}) { // given at once, given when asked
            probe_->fail(id, row.code, row.exceptionCode, row.description);
            try {
                id == 7 ? static_cast<void>(api_->CancelOrder(L"", L""))
                        : api_->NewStrategyOrder(L"");
                ADD_FAILURE() << "no error";
            } catch (const TradeApiError& error) {
                EXPECT_EQ(error.Code(), row.expectedCode);
                EXPECT_FALSE(error.Description().empty());
                if (row.expectedText == nullptr) continue;
                EXPECT_EQ(error.Description(), row.expectedText);
            }
        }
    }
    probe_->reset();
    probe_->answer(7, Variant(Text(L"accepted")).Value());
    EXPECT_THROW(api_->CancelOrder(L"", L""), TradeApiError); // a text where a number belongs
}

TEST_F(OperationsTest, NoReferenceStays) {
    ASSERT_TRUE(api_);
    const int before = probe_->liveObjects();
    for (int i = 0; i < 100; ++i) {
        const auto item = api_->CreateItem(ItemClass::Position);
        const auto replace = api_->CreateParameters(ItemClass::ReplaceOrder);
        ASSERT_TRUE(item && replace);
        api_->GetDataItem(7, i, L"", *item);
        api_->ReplaceOrder(*replace);
    }
    EXPECT_EQ(probe_->liveObjects(), before);
    api_.reset();
    EXPECT_EQ(probe_->liveObjects(), 0);
}

} // namespace
} // namespace halvane
