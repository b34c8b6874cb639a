"""Accounts, reports, fills, combinations, and what else is published. The field lists are the wire's."""

from __future__ import annotations

from .fields import SIX, WHOLE, Average, Integer, Price, PublishedText, Record, RestoredText, Text, UserKeys


class Keyed(Record):
    """A record that carries the keys of its order."""

    @property
    def user_key1(self) -> str:
        """The client's own name for the order: its id in this package."""
        return str(self.raw.get("UserKey1", ""))


class ExecutionReport(Keyed):
    """The state of one order, as it was published or restored."""

    report_id = Text("ReportID")
    account = Text("Account")
    broker_id = Text("BrokerID")
    symbol = Text("Symbol")
    side = Integer("Side", restored=WHOLE)
    order_id = Text("OrderID")
    original_qty = Integer("OriginalQty", restored=WHOLE)
    order_qty = Integer("OrderQty", restored=WHOLE)
    price = Price("Price", restored=SIX)
    stop_price = Price("StopPrice", restored=SIX)
    order_type = Integer("OrderType", restored=WHOLE)
    trade_type = Integer("TradeType", restored=WHOLE)
    ex_code = Integer("ExCode", restored=WHOLE)
    position_effect = Integer("PositionEffect", restored=WHOLE)
    day_trade = Integer("DayTrade", restored=WHOLE)
    time_in_force = Integer("TimeInForce", restored=WHOLE)
    trailing_amount = Text("TrailingAmount")
    touch_condition = Text("TouchCondition")
    group = Text("Group")
    user_keys = UserKeys("UserKey1")
    strategy = PublishedText("Strategy")
    cum_qty = Integer("CumQty", restored=WHOLE)
    leaves_qty = Integer("LeavesQty", restored=WHOLE)
    exec_type = Integer("ExecType", restored=WHOLE)
    error_code = Integer("ErrorCode", restored=WHOLE)
    triggered_price = Price("TriggeredPrice", restored=SIX)
    transact_date = Integer("TransactDate", restored=WHOLE)
    transact_time = Integer("TransactTime", restored=WHOLE)
    avg_price = Average("AvgPrice", restored=SIX)
    exec_type_text = Text("ExecTypeText")
    filled_orders_count = Integer("FilledOrdersCount", restored=WHOLE)
    is_restore_data = Integer("IsRestoreData", restored=WHOLE)
    hedge_flag = Text("HedgeFlag")
    org_source = Text("OrgSource")
    trade_date = Integer("TradeDate", restored=WHOLE)
    set_priadj = Text("SetPRIADJ")
    rec_fill_qty = PublishedText("RecFillQty")
    delay_trans_position = PublishedText("DelayTransPosition")
    sliced_type = PublishedText("SlicedType")
    slice_id = PublishedText("SliceID")
    exec_his = PublishedText("ExecHis")
    qry_index = RestoredText("QryIndex")

    @property
    def restored(self) -> bool:
        """Whether it was restored: then it lacks some members, and two of the average's places."""
        return "QryIndex" in self.raw

    @property
    def works(self) -> bool:
        return (self.leaves_qty or 0) > 0

    @property
    def filled(self) -> bool:
        return not self.works and bool(self.cum_qty) and self.cum_qty == self.order_qty


class FillReport(Keyed):
    """One trade of an order. It never changes."""

    report_id = Text("ReportID")
    account = Text("Account")
    broker_id = Text("BrokerID")
    symbol = Text("Symbol")
    side = Integer("Side")
    order_id = Text("OrderID")
    matched_price = Average("MatchedPrice")
    matched_qty = Integer("MatchedQty", WHOLE, restored=WHOLE)
    position_effect = Integer("PositionEffect")
    transact_date = Integer("TransactDate")
    transact_time = Integer("TransactTime")
    user_keys = UserKeys("UserKey1")
    qry_index = RestoredText("QryIndex")


class Account(Record):
    """An account that may be traded; its `account_mask` is what queries and orders name."""

    broker_id = Text("BrokerID")
    account = Text("Account")
    user_name = Text("UserName")
    account_mask = Text("AccountMask")
    account_name = Text("AccountName")
    broker_name = Text("BrokerName")
    status = Integer("Status", restored=WHOLE)
    account_type = Text("AccountType")
    order_exchange = Text("OrderExchange")
    level = Text("Level")
    account_releated = Text("AccountReleated")
    region = Text("Region")


class CombinationOrder(Record):
    """A request to combine two option positions or to split a combination."""

    account = Text("Account")
    broker_id = Text("BrokerID")
    order_id = Text("OrderID")
    filled_id = Text("FilledID")
    symbol = Text("Symbol")
    quantity = Text("Quantity")
    opt_comb_code = Text("OptCombCode")
    side = Text("Side")
    comb_side = Text("CombSide")
    exec_type = Text("ExecType")
    qry_index = Text("QryIndex")


class DetailPosition(Record):
    """A position in detail, combinations apart."""

    login_id = Text("LoginID")
    user_name = Text("UserName")
    broker_id = Text("BrokerID")
    broker_name = Text("BrokerName")
    account = Text("Account")
    account_name = Text("AccountName")
    security_type = Text("SecurityType")
    symbol = Text("Symbol")
    symbol_a = Text("SymbolA")
    symbol_b = Text("SymbolB")
    currency_to_system = Text("CurrencyToSystem")
    combination_type = Text("CombinationType")
    transact_date = Integer("TransactDate")
    transact_time = Integer("TransactTime")
    spread_type = Integer("SpreadType")
    side = Integer("Side")
    side1 = Integer("Side1")
    side2 = Integer("Side2")
    quantity = Integer("Quantity")
    opt_comb_id = Text("OptCombID")
    comb_long_position = Integer("CombLongPosition")
    comb_short_position = Integer("CombShortPosition")
    used_margin = Price("UsedMargin")
    qry_index = Text("QryIndex")


class Signal(Record):
    """A trading signal, handed through."""

    symbol = Text("Symbol")
    account = Text("Account")
    reference_volume = Text("ReferenceVolume")
    total_score = Text("TotalScore")
    total_score_change = Text("TotalScoreChange")
    float_profit = Text("FloatProfit")
    inc = Text("Inc")
    risk_take = Text("RiskTake")
    new_order_qty = Text("NewOrderQty")
    total_n = Text("TotalN")
    sum_channel = Text("SumChannel")
    spread_type = Text("SpreadType")


class SymbolClear(Record):
    """A symbol that the platform has cleared."""

    symbol = Text("Symbol")
