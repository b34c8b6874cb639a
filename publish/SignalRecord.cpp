#include "publish/SignalRecord.h"

#include "foundation/support/JsonWriter.h"
#include "foundation/support/Strings.h"

namespace halvane {
namespace {

constexpr JsonKey kSignalKeys[] = {
    L"Symbol", L"Account",  L"ReferenceVolume", L"TotalScore", L"TotalScoreChange", L"FloatProfit",
    L"Inc",    L"RiskTake", L"NewOrderQty",     L"TotalN",     L"SumChannel",       L"SpreadType",
};

} // namespace

void WriteSignal(JsonWriter& out, TextView signal) {
    std::size_t index = 0;
    for (const JsonKey& key : kSignalKeys)
        out.Member(key, SplitField(signal, L'|', index++).value_or(TextView()));
}

} // namespace halvane
