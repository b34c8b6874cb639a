#pragma once

#include "tradeapi/TradeApi.h"

#include <string>

namespace halvane::bench {

inline constexpr std::int32_t kRows = 50; // of every list: one page

// How often properties were read, by their type.
struct Reads {
    int texts = 0, ints = 0, int64s = 0, named = 0;
    int All() const { return texts + ints + int64s + named; }
};

// An item that costs next to nothing: every property has the same value.
class FixedItem : public Item {
  public:
    explicit FixedItem(Reads& reads) : reads_(reads) {}

    Text reportId;

    TextView GetText(std::int32_t id) override {
        ++reads_.texts;
        constexpr std::int32_t kReportId = 5;
        return id == kReportId ? TextView(reportId) : L"PAPER-1000001";
    }
    std::int32_t GetInt(std::int32_t) override { return ++reads_.ints, 20261120; }
    std::int64_t GetInt64(std::int32_t) override { return ++reads_.int64s, 1'105'000'000'000; }
    TextView GetNamed(TextView) override { return ++reads_.named, L"1105000000000"; }
    TextView GetIndexed(std::int32_t, std::int32_t) override { return L"R1"; }

  private:
    Reads& reads_;
};

class FixedTracker : public PositionTracker {
  public:
    explicit FixedTracker(Reads& reads) : reads_(reads) {}

    Text Entries() override { return L"PAPER-1000001:A"; }
    Text Instruments(TextView) override {
        Text all;
        for (int n = 0; n < kRows; ++n)
            all += L"OV.S.PAPX.ALFA;";
        return all;
    }
    std::int64_t Figure(TextView, TextView, TextView) override {
        return ++reads_.int64s, 1'105'000'000'000;
    }

  private:
    Reads& reads_;
};

// A platform that has a page of everything, takes every order and does nothing. What it costs is
// left out of what is measured, as far as that goes.
class FixedPlatform : public TradeApi {
  public:
    Reads reads;

    std::unique_ptr<Item> CreateItem(ItemClass) override {
        return std::make_unique<FixedItem>(reads);
    }
    std::unique_ptr<OrderParameters> CreateParameters(ItemClass) override { return nullptr; }
    std::unique_ptr<PositionTracker> CreatePositionTracker() override {
        return std::make_unique<FixedTracker>(reads);
    }
    bool Advise(HostEvents&) override { return true; }
    bool Advise(TradeEvents&) override { return true; }
    std::int32_t Connect(TextView, TextView, TextView, std::int32_t) override { return 1; }
    void GeneralCommand(std::int32_t, std::int32_t, TextView, std::optional<Text>&) override {}
    std::int32_t GetDataItem(std::int32_t, std::int32_t, TextView, Item&) override { return 1; }
    std::int32_t ReplaceOrder(OrderParameters&) override { return 1; }
    std::int32_t CancelOrder(TextView, TextView) override { return 1; }
    std::int32_t QueryReport(std::int32_t, TextView id, Item& item) override {
        static_cast<FixedItem&>(item).reportId = id;
        return 1;
    }
    Text GetPlatformValue(TextView) override { return {}; }
    void SubscribeTopic(TextView) override {}
    void SendTopicCommand(TextView, std::int32_t, TextView, std::optional<Text>) override {}
    void SendRequest(std::int32_t, TextView, TextView, std::int32_t, TextView) override {}
    Text GetInstrumentData(TextView, TextView) override { return {}; }
    void SetMode(std::int32_t) override {}
    std::int32_t NewOrder(std::int32_t, OrderParameters&) override { return 1; }
    Text GetExpirationDate(TextView) override { return {}; }
    void AttachPositionTracker(PositionTracker&) override {}
    std::int32_t GetTradingDays(TextView, std::int32_t) override { return 0; }
    void NewStrategyOrder(TextView) override {}
    std::optional<IdentifierPage> QueryPage(std::int32_t, std::int32_t, std::int32_t) override {
        return IdentifierPage{std::vector<Text>(kRows, L"R1795255936897-4"), kRows};
    }
};

} // namespace halvane::bench
