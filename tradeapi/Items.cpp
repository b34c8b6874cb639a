#include "tradeapi/Items.h"

namespace halvane {

const wchar_t* ProgIdOf(ItemClass itemClass) {
    switch (itemClass) {
    case ItemClass::Account: return L"Ovaro.TradeDataAccount.1";
    case ItemClass::Margin: return L"Ovaro.TradeDataMarginItem.1";
    case ItemClass::Position: return L"Ovaro.TradeDataPositionItem.1";
    case ItemClass::ExecutionReport: return L"Ovaro.TradeRptExecutionReportItem.1";
    case ItemClass::Fill: return L"Ovaro.TradeFilledOrderItem.1";
    case ItemClass::CombinationOrder: return L"Ovaro.adiCombinationOrderItem.1";
    case ItemClass::ReportList: return L"Ovaro.TradeRptReportItem.1";
    case ItemClass::StockOrder: return L"Ovaro.TradeNewOrderParametersStock.1";
    case ItemClass::FutOptOrder: return L"Ovaro.TradeNewOrderParametersFutOpt.1";
    case ItemClass::ReplaceOrder: return L"Ovaro.TradeReplaceOrderParameters.1";
    case ItemClass::PositionTracker: return L"Ovaro.PositionTracker.1";
    }
    return L"";
}

} // namespace halvane
