#pragma once

#include "foundation/support/Format.h"
#include "foundation/support/Mutex.h"
#include "foundation/support/Utf.h"
#include "tradeapi/PropertyIds.h"
#include "tradeapi/TradeApi.h"
#include "tradeapi/TradeEvents.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <set>
#include <thread>

namespace halvane {

// Notes what a platform tells as texts. Reports, fills and lists are read from inside the event, as
// the publishing side does.
class EventNotes : public HostEvents, public TradeEvents {
  public:
    void ReadFrom(TradeApi& api) { api_ = &api; }

    void OnGeneralServiceUpdate() override { Note(L"service"); }
    void OnCommandMsg(std::int32_t kind, std::int32_t subKind, TextView text) override {
        Note(Format(L"command %d %d %s", kind, subKind, text));
    }
    void OnAccountUpdate(std::int32_t kind, TextView key, std::int32_t value) override {
        Note(Format(L"count %d %s %d", kind, key, value));
    }
    void OnExecutionReport(TextView reportId) override {
        const auto item = Read(ItemClass::ExecutionReport, kOneReport, reportId);
        lastReport_ = reportId;
        Note(Format(L"report %d", item->GetInt(report_id::kExecType)));
    }
    void OnFilledReport(TextView fillId) override {
        const auto item = Read(ItemClass::Fill, kOneReport, fillId);
        Note(Format(L"fill %d", item->GetInt(fill_id::kMatchedQty)));
    }
    void OnReportReset() override {
        const auto item = Read(ItemClass::ReportList, kReports, L"");
        Note(Format(L"reset %d", item->GetInt(list_id::kCount)));
    }
    void OnSetTopic(TextView topic, std::int32_t lParam, TextView strParam,
                    const std::optional<Text>& data) override {
        Note(Format(L"%s %d %s %s", topic, lParam, strParam, data.value_or(L"none")));
    }
    void OnPositionTracker() override { Note(L"tracker"); }

    // The events since the last time, once that one has come.
    std::vector<Text> TakeUntil(const Text& last) {
        MutexLock guard(lock_);
        EXPECT_TRUE(changed_.wait_for(guard, std::chrono::seconds(60), [&] {
            return std::ranges::count(notes_, last) > 0;
        })) << ToUtf8(last);
        return std::exchange(notes_, {});
    }
    // Of the report that was told last; to be read when nothing is told any more.
    const Text& LastReport() const { return lastReport_; }
    std::set<std::thread::id> Threads() {
        const MutexLock guard(lock_);
        return threads_;
    }

  private:
    std::unique_ptr<Item> Read(ItemClass itemClass, std::int32_t kind, TextView id) {
        auto item = api_->CreateItem(itemClass);
        EXPECT_EQ(api_->QueryReport(kind, id, *item), 1);
        return item;
    }
    void Note(Text text) {
        const MutexLock guard(lock_);
        notes_.push_back(std::move(text));
        threads_.insert(std::this_thread::get_id());
        changed_.notify_all();
    }

    TradeApi* api_ = nullptr;
    Text lastReport_;
    Mutex lock_;
    std::condition_variable_any changed_;
    std::vector<Text> notes_;
    std::set<std::thread::id> threads_;
};

} // namespace halvane
