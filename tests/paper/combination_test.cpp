#include "paper/rows/CombinationItems.h"
#include "tests/paper/PaperTests.h"

namespace halvane::paper {
namespace {

const Text kMask = L"PAPER-1000001";
const Text kLegs = L"SYMBOLA=OV.O.PAPF.IDX.202612.C.20000&SYMBOLB=OV.O.PAPF.IDX.202612.C.21000&";
const Text kPair = L"SYMBOL=OV.O2.PAPF.IDX.202612.C.20000^IDX.202612.C.21000&";

// The account is long 5 of the one call and short 5 of the other.
class CombinationTest : public ExchangeTest {
  protected:
    CombinationTest() : ExchangeTest(LegMarket()) {
        Trade(kCall, kBuy, 5);
        Trade(kHighCall, kSell, 5);
    }

    void Trade(const wchar_t* symbol, std::int32_t side, std::int32_t quantity) {
        Send(exchange_, {symbol, side, kMarket, kDay, quantity});
        for (int tick = 0; tick < quantity; ++tick)
            exchange_.Step();
        exchange_.TakeNotices();
    }

    const CombinationRows& Rows() const { return TheAccount().Combinations(); }

    const CombinationAction& Act(const Text& command) {
        exchange_.ActOnCombination(kMask, command);
        return Rows().actions.back();
    }

    std::int64_t Combined(const wchar_t* symbol) const {
        return TheAccount().Positions().at(exchange_.FindBook(symbol)).combined;
    }
};

TEST_F(CombinationTest, ActionsAreDoneWholeOrRefused) {
    const struct {
        const char* name;
        Text command;
        bool done;
        std::int64_t combined; // of both legs, after it
    } kCases[] = {
        // clang-format off
        {"nothing",          L"", false, 0},
        {"no action",        kLegs + L"VOLUME=1&SIDEA=1&SIDEB=2", false, 0},
        {"other action",     kLegs + L"VOLUME=1&ACTIONTYPE=3&SIDEA=1&SIDEB=2", false, 0},
        {"no volume",        kLegs + L"VOLUME=&ACTIONTYPE=1&SIDEA=1&SIDEB=2", false, 0},
        {"volume below 0",   kLegs + L"VOLUME=-1&ACTIONTYPE=1&SIDEA=1&SIDEB=2", false, 0},
        {"volume and more",  kLegs + L"VOLUME=1x&ACTIONTYPE=1&SIDEA=1&SIDEB=2", false, 0},
        {"huge volume",      kLegs + L"VOLUME=99999999999&ACTIONTYPE=1&SIDEA=1&SIDEB=2", false, 0},
        {"more than held",   kLegs + L"VOLUME=6&ACTIONTYPE=1&SIDEA=1&SIDEB=2", false, 0},
        {"wrong sides",      kLegs + L"VOLUME=1&ACTIONTYPE=1&SIDEA=2&SIDEB=1", false, 0},
        {"wrong second",     kLegs + L"VOLUME=1&ACTIONTYPE=1&SIDEA=1&SIDEB=1", false, 0},
        {"no second side",   kLegs + L"VOLUME=1&ACTIONTYPE=1&SIDEA=1&SIDEB=", false, 0},
        {"no second leg",    Text(L"SYMBOLA=") + kCall + L"&SYMBOLB=&VOLUME=1&ACTIONTYPE=1&SIDEA=1&SIDEB=2", false, 0},
        {"one leg twice",    Text(L"SYMBOLA=") + kCall + L"&SYMBOLB=" + kCall + L"&VOLUME=1&ACTIONTYPE=1&SIDEA=1&SIDEB=1", false, 0},
        {"unknown leg",      Text(L"SYMBOLA=") + kCall + L"&SYMBOLB=OV.O.PAPF.X&VOLUME=1&ACTIONTYPE=1&SIDEA=1&SIDEB=2", false, 0},
        {"nothing to split", kPair + L"VOLUME=1&ACTIONTYPE=2", false, 0},
        {"combine",          kLegs + L"VOLUME=2&ACTIONTYPE=1&SIDEA=1&SIDEB=2&OPTCOMB_CODE=9&OPTCOMB_ID=mine", true, 2},
        {"twice as well",    kLegs + L"VOLUME=1&ACTIONTYPE=1&SIDEA=1&SIDEB=2&OPTCOMB_CODE=9&OPTCOMB_ID=mine", true, 3},
        {"the rest",         kLegs + L"VOLUME=2&ACTIONTYPE=1&SIDEA=1&SIDEB=2&OPTCOMB_CODE=1&OPTCOMB_ID=", true, 5},
        {"nothing left",     kLegs + L"VOLUME=1&ACTIONTYPE=1&SIDEA=1&SIDEB=2&OPTCOMB_CODE=9", false, 5},
        {"split too much",   kPair + L"VOLUME=4&ACTIONTYPE=2&SIDE=1", false, 5},
        {"split other side", kPair + L"VOLUME=1&ACTIONTYPE=2&SIDE=2", false, 5},
        {"split other code", kPair + L"VOLUME=1&ACTIONTYPE=2&SIDE=1&OPTCOMB_CODE=4", false, 5},
        {"split other id",   kPair + L"VOLUME=1&ACTIONTYPE=2&SIDE=1&OPTCOMB_CODE=9&OPTCOMB_ID=theirs", false, 5},
        {"split",            kPair + L"VOLUME=1&ACTIONTYPE=2&SIDE=1&OPTCOMB_CODE=9&OPTCOMB_ID=mine", true, 4},
        {"first name wins",  kPair + L"VOLUME=2&VOLUME=1&ACTIONTYPE=2&ACTIONTYPE=1", true, 2},
        {"split by code",    kPair + L"VOLUME=2&ACTIONTYPE=2&OPTCOMB_CODE=1", true, 0},
        // clang-format on
    };
    for (const auto& each : kCases) {
        const CombinationAction& action = Act(each.command);
        EXPECT_EQ(action.execType, each.done ? kFilled : kRejected) << each.name;
        EXPECT_EQ(action.filledId.empty(), !each.done) << each.name;
        EXPECT_EQ(Combined(kCall), each.combined) << each.name;
        EXPECT_EQ(Combined(kHighCall), each.combined) << each.name;
    }
    EXPECT_EQ(Rows().actions.size(), std::size(kCases));
    EXPECT_EQ(Rows().held.size(), 2u); // rows stay
    EXPECT_EQ(Rows().held[0].quantity + Rows().held[1].quantity, 0);
}

TEST_F(CombinationTest, EachActionAnnouncesTheCountsAndNobodyElsesDoes) {
    exchange_.ActOnCombination(L"PAPER-1", L"");
    exchange_.ActOnCombination(L"", kLegs);
    EXPECT_TRUE(exchange_.TakeNotices().empty());
    Act(kLegs + L"VOLUME=2&ACTIONTYPE=1&SIDEA=1&SIDEB=2");
    Act(L"nonsense");
    const std::vector<Notice> notices = exchange_.TakeNotices();
    ASSERT_EQ(notices.size(), 2u);
    for (std::size_t at = 0; at < 2; ++at) {
        const auto& counts = std::get<CombinationNotice>(notices[at]);
        EXPECT_EQ(counts.account, exchange_.Accounts()[0].get());
        EXPECT_EQ(counts.positions, 2u);
        EXPECT_EQ(counts.combinations, 1u);
        EXPECT_EQ(counts.actions, at + 1);
    }
}

TEST_F(CombinationTest, RowsShowWhatWasDone) {
    const CombinationAction action =
        Act(kLegs + L"VOLUME=2&ACTIONTYPE=1&SIDEA=1&SIDEB=2&OPTCOMB_CODE=9&OPTCOMB_ID=mine");
    PaperItem order(ItemClass::CombinationOrder), row(ItemClass::Position), leg = Row();
    PutCombinationAction(order, TheAccount(), action);
    PutCombination(row, TheAccount(), Rows().held[0], L"XTS");
    const std::pair<const wchar_t*, Text> kOrder[] = {
        {L"Account", L"1000001"},
        {L"BrokerID", L"PAPER"},
        {L"Quantity", L"2"},
        {L"OptCombCode", L"9"},
        {L"Side", L"1"},
        {L"CombSide", L"1"},
        {L"ExecType", L"2"},
        {L"OrderID", action.orderId},
        {L"FilledID", action.filledId},
        {L"Symbol", kPair.substr(7, kPair.size() - 8)},
    };
    for (const auto& [name, text] : kOrder)
        EXPECT_EQ(order.GetNamed(name), text);
    const std::pair<std::int32_t, Text> kRow[] = {
        {8, L"1000001"}, {12, L"O2"},     {13, kPair.substr(7, kPair.size() - 8)},
        {14, kCall},     {15, kHighCall}, {25, L"1"},
        {26, L"1"},      {27, L"2"},      {28, L"2"},
    };
    for (const auto& [id, text] : kRow)
        EXPECT_EQ(row.GetText(id), text) << id;
    EXPECT_EQ(row.GetNamed(L"OptCombID"), L"mine");
    EXPECT_EQ(row.GetNamed(L"CombLongPosition"), L"2");
    EXPECT_EQ(row.GetNamed(L"CombShortPosition"), L"2");
    EXPECT_EQ(row.GetInt64(position_id::kUsedMargin),
              AmountE10(TheAccount().Held()[1]->MarginE6() * 2 / 5));
    EXPECT_EQ(leg.GetInt(position_id::kQuantity), 5);
    EXPECT_EQ(leg.GetInt(position_id::kCombPosition), 2);
    EXPECT_EQ(leg.GetInt(position_id::kLongAvailable), 3);
}

TEST_F(CombinationTest, WhatIsCombinedCannotBeClosed) {
    Act(kLegs + L"VOLUME=3&ACTIONTYPE=1&SIDEA=1&SIDEB=2");
    const auto send = [&](const wchar_t* symbol, std::int32_t side, std::int32_t quantity) {
        const Instrument& terms = exchange_.FindBook(symbol)->TheInstrument();
        const std::int64_t farE10 = side == kBuy ? terms.lowerE10 : terms.upperE10;
        return ErrorOf({symbol, side, kLimit, kDay, quantity, farE10});
    };
    EXPECT_EQ(send(kCall, kSell, 3), kPositionCombined);
    EXPECT_EQ(send(kHighCall, kBuy, 3), kPositionCombined);
    EXPECT_EQ(send(kCall, kSell, 2), 0);
    const Text working = lastReport_.order->ReportId();
    EXPECT_EQ(send(kCall, kSell, 1), kPositionCombined); // with the one that works already
    EXPECT_EQ(Replace(working, 3), kPositionCombined);
    EXPECT_EQ(Act(kLegs + L"VOLUME=1&ACTIONTYPE=1&SIDEA=1&SIDEB=2").execType, kRejected);
    exchange_.CancelOrder(working);
    EXPECT_EQ(Act(kLegs + L"VOLUME=1&ACTIONTYPE=1&SIDEA=1&SIDEB=2").execType, kFilled);
    EXPECT_EQ(send(kCall, kBuy, 1), 0);
    Act(kPair + L"VOLUME=4&ACTIONTYPE=2");
    EXPECT_EQ(send(kCall, kSell, 5), 0);
}

TEST_F(CombinationTest, EndsWithItsContract) {
    Act(kLegs + L"VOLUME=3&ACTIONTYPE=1&SIDEA=1&SIDEB=2");
    while (!exchange_.Hours().HasExpired(*exchange_.FindBook(kCall))) {
        clock_.Advance(24 * 3600 * 1000);
        exchange_.EndDayIfOver();
    }
    EXPECT_EQ(Combined(kCall), 0);
    EXPECT_EQ(Rows().held[0].quantity, 0);
    EXPECT_TRUE(Rows().actions.empty());
    EXPECT_EQ(Act(kLegs + L"VOLUME=1&ACTIONTYPE=1&SIDEA=1&SIDEB=2").execType, kRejected);
}

} // namespace
} // namespace halvane::paper
