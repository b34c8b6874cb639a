#include "paper/rows/InstrumentInfo.h"

#include "foundation/support/JsonWriter.h"
#include "foundation/support/Utf.h"
#include "paper/base/Units.h"
#include "paper/market/MarketClock.h"
#include "paper/orders/Book.h"

namespace halvane::paper {

Text InstrumentJson(const Book& book) {
    const Instrument& instrument = book.TheInstrument();
    const Quote& quote = book.CurrentQuote();
    const bool option = instrument.kind == InstrumentKind::Option;
    JsonWriter json;
    json.Member(L"Symbol", instrument.symbol);
    json.Member(L"Instrument", instrument.shortId);
    json.Member(L"Name", instrument.name);
    json.Member(L"Exchange", instrument.exchange);
    json.Member(L"Security", instrument.security);
    json.Member(L"Month", instrument.month);
    json.Member(L"CallPut", instrument.callPut);
    json.Member(L"StrikePrice", option ? PriceText(instrument.strikeE10) : Text());
    json.Member(L"ExpirationDate", ExpirationText(book));
    json.Member(L"TickSize", PriceText(instrument.tickE10));
    json.Member(L"Multiplier", DecimalDigits(instrument.multiplier));
    json.Member(L"MaxOrderQty", DecimalDigits(instrument.maxQuantity));
    json.Member(L"ReferencePrice", PriceText(instrument.referenceE10));
    json.Member(L"LowerLimit", PriceText(instrument.lowerE10));
    json.Member(L"UpperLimit", PriceText(instrument.upperE10));
    json.Member(L"Bid", PriceText(quote.bidE10));
    json.Member(L"BidSize", DecimalDigits(quote.bidSize));
    json.Member(L"Ask", PriceText(quote.askE10));
    json.Member(L"AskSize", DecimalDigits(quote.askSize));
    json.Member(L"Last", PriceText(book.LastE10()));
    return *FromUtf8(json.Finish());
}

Text ExpirationText(const Book& book) {
    const Day expiry = book.TheInstrument().expiry;
    return expiry.ok() ? DateText(expiry) : Text();
}

std::int32_t TradingDaysLeft(const Book& book, std::int32_t expiration) {
    const Day asked = DayOf(expiration);
    const Day until = asked.ok() ? asked : book.TheInstrument().expiry;
    return until.ok() ? TradingDaysBetween(book.Clock().Today(), until) : 0;
}

} // namespace halvane::paper
