#include "tests/host/ScriptedTradeApi.h"

#include "foundation/support/Numbers.h"
#include "foundation/support/Utf.h"

#include <utility>

namespace halvane {
namespace {

class NotedParameters : public OrderParameters {
  public:
    explicit NotedParameters(ScriptedTradeApi& api) : api_(api) {}

    void PutText(std::int32_t id, TextView value) override {
        api_.Note("put", DecimalText(id) + L" string " + Text(value));
    }
    void PutInt(std::int32_t id, std::int32_t value) override {
        api_.Note("put", DecimalText(id) + L" int " + DecimalText(value));
    }
    void PutInt64(std::int32_t id, std::int64_t value) override {
        api_.Note("put", DecimalText(id) + L" int64 " + DecimalText(value));
    }

  private:
    ScriptedTradeApi& api_;
};

// Two entries with one and two instruments; a figure is made from the letters of its name.
class NotedTracker : public PositionTracker {
  public:
    explicit NotedTracker(bool missing) : missing_(missing) {}

    Text Entries() override { return L"F001-12345:K1;;F002-9:K2"; }
    Text Instruments(TextView entry) override {
        return entry.starts_with(L"F001") ? L"OV.O.X.A" : L"OV.F.X.B;OV.F.X.C";
    }
    std::int64_t Figure(TextView, TextView, TextView name) override {
        if (missing_) return kNoInt64;
        std::int64_t sum = 0;
        for (const wchar_t letter : name)
            sum += static_cast<std::int64_t>(letter);
        return sum * 12'345'678'901;
    }

  private:
    bool missing_;
};

} // namespace

void ProbeItem::Note(const Text& read) {
    if (notes_ != nullptr) notes_->Note("read", read);
}

std::vector<std::string> ScriptedTradeApi::TakeCalls() {
    const MutexLock guard(lock_);
    return std::exchange(calls_, {});
}

void ScriptedTradeApi::Note(const std::string& operation, const Text& arguments) {
    if (onCall) onCall();
    const MutexLock guard(lock_);
    calls_.push_back(operation + " " + ToUtf8(arguments));
    if (throwing.contains(operation))
        throw TradeApiError(-2147352567, L"the platform is out of order");
}

std::unique_ptr<Item> ScriptedTradeApi::CreateItem(ItemClass itemClass) {
    if (uncreatable.contains(itemClass)) return nullptr;
    if (noteReads) Note("create", ProgIdOf(itemClass));
    return std::make_unique<ProbeItem>(missingValues, noteReads ? this : nullptr);
}

std::unique_ptr<OrderParameters> ScriptedTradeApi::CreateParameters(ItemClass itemClass) {
    if (uncreatable.contains(itemClass)) return nullptr;
    Note("create", ProgIdOf(itemClass));
    return std::make_unique<NotedParameters>(*this);
}

std::unique_ptr<PositionTracker> ScriptedTradeApi::CreatePositionTracker() {
    if (uncreatable.contains(ItemClass::PositionTracker)) return nullptr;
    return std::make_unique<NotedTracker>(missingValues);
}

} // namespace halvane
