#include "publish/ReportDocument.h"

#include "foundation/logger/Log.h"
#include "foundation/support/JsonWriter.h"
#include "publish/ExecutionReportRecord.h"
#include "publish/FillReportRecord.h"
#include "tradeapi/TradeApi.h"

namespace halvane {

bool DescribeReport(TradeApi& tradeApi, ItemClass itemClass, TextView identifier,
                    const std::function<void(std::string json)>& take) {
    const auto item = tradeApi.CreateItem(itemClass);
    if (item == nullptr) {
        Log().Fatal(L"[PublishWorker]create %s failed", ProgIdOf(itemClass));
        return false;
    }
    const bool fill = itemClass == ItemClass::Fill;
    const bool known = tradeApi.QueryReport(kOneReport, identifier, *item) != 0;
    JsonWriter document;
    document.Member(L"DataType", fill ? L"FILLEDREPORT" : L"EXECUTIONREPORT");
    document.BeginObject(L"Report");
    WriteRecord(document, fill ? FillReportFields() : ExecutionReportFields(), Form::Published,
                *item);
    document.EndObject();
    take(document.Finish());
    return known;
}

} // namespace halvane
