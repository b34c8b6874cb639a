#include "paper/file/MarketFile.h"

#include "foundation/support/Utf.h"
#include "paper/base/Units.h"
#include "paper/file/MarketChecks.h"
#include "paper/file/MarketValues.h"

#include <algorithm>
#include <fstream>
#include <set>
#include <utility>

namespace halvane::paper {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostBytes = std::size_t{16} * 1024 * 1024;

// A member of an object of the file: how it is read into an object of the plan, by which rule.
template <class Object> struct Row {
    TextView name;
    Need need;
    void (*read)(const Place& place, const Rule& rule, Object& object);
    Rule rule{};
};

// What an object is before it is read, where that is not what the plan says.
template <class Object> Object Fresh() { return {}; }
template <> Session Fresh() { return {-1, -1}; }
template <> StockPlan Fresh() {
    StockPlan stock;
    stock.quoteSize = 1'000;
    stock.maxQuantity = 1'000'000;
    stock.marginPpm = 400'000;
    return stock;
}
template <> AccountSetup Fresh() {
    AccountSetup account;
    account.loginId = L"paper";
    account.userName = L"PAPER user";
    return account;
}

template <class Object, class Table>
bool ReadMember(const Place& place, Object& object, const Table& table) {
    for (const auto& row : table) {
        if (row.name != place.value.name) continue;
        row.read(place, row.rule, object);
        return true;
    }
    return false;
}

template <class Table> void TellMissing(const Place& place, const Table& table) {
    for (const auto& row : table) {
        if (row.need == Need::Needed && !place.Has(row.name))
            place.Tell(Text(row.name) + L" is missing");
    }
}

template <class Object, class... Tables>
void ReadObject(const Place& place, Object& object, const Tables&... tables) {
    if (!place.Is(JsonKind::Object)) return;
    (TellMissing(place, tables), ...);
    std::set<TextView> seen;
    for (const LocatedValue& member : place.value.items) {
        const Place at = place.Member(member);
        if (!seen.insert(member.name).second) {
            at.Tell(L"given twice");
        } else if (!(ReadMember(at, object, tables) || ...)) {
            at.Tell(L"unknown");
        }
    }
}

// The ways to read a member, by what it becomes.

template <auto member, class Object>
void Number(const Place& place, const Rule& rule, Object& object) {
    using Value = std::remove_reference_t<decltype(object.*member)>;
    object.*member = static_cast<Value>(ReadNumber(place, rule));
}

template <auto member, class Object>
void String(const Place& place, const Rule& rule, Object& object) {
    object.*member = ReadText(place, rule);
}

template <auto member, class Object>
void Time(const Place& place, const Rule& rule, Object& object) {
    object.*member = ReadTime(place, rule);
}

// A list of objects, each of which has the members of these tables.
template <auto list, const auto&... tables> struct Objects {
    template <class Owner> static void Read(const Place& place, const Rule& rule, Owner& owner) {
        if (!IsList(place, rule)) return;
        auto& objects = owner.*list;
        using Object = typename std::remove_reference_t<decltype(objects)>::value_type;
        for (std::size_t i = 0; i < place.value.items.size(); ++i)
            ReadObject(place.Item(i), objects.emplace_back(Fresh<Object>()), tables...);
    }
};

void CommissionRate(const Place& place, const Rule& rule, AccountSetup& account) {
    account.rates.commissionPpm = ReadNumber(place, rule);
}

void MarginRate(const Place& place, const Rule& rule, AccountSetup& account) {
    account.rates.marginPpm = ReadNumber(place, rule);
}

void Permissions(const Place& place, const Rule& rule, AccountSetup& account) {
    if (!IsList(place, rule)) return;
    account.mayTrade = {};
    for (std::size_t i = 0; i < place.value.items.size(); ++i) {
        const Place at = place.Item(i);
        const auto kind = ReadWord(at, {L"stocks", L"futures", L"options"}); // by InstrumentKind
        if (kind && std::exchange(account.mayTrade[*kind], true)) at.Tell(L"given twice");
    }
}

void Expiries(const Place& place, const Rule& rule, FuturePlan& future) {
    if (!IsList(place, rule)) return;
    for (std::size_t i = 0; i < place.value.items.size(); ++i)
        future.expiries.push_back(ReadDay(place.Item(i)));
}

// Not above the highest price.
void Strikes(const Place& place, const Rule& rule, OptionPlan& chain) {
    if (!IsList(place, rule)) return;
    for (std::size_t i = 0; i < place.value.items.size(); ++i)
        chain.strikes.push_back(ReadNumber(place.Item(i), {1, 100'000'000}));
}

void KindOfIncident(const Place& place, const Rule&, Incident& incident) {
    std::vector<TextView> words;
    for (const IncidentRow& row : kIncidentRows)
        words.push_back(row.name);
    if (const auto index = ReadWord(place, words)) incident.kind = kIncidentRows[*index].kind;
}

void Seed(const Place& place, const Rule&, MarketPlan& plan) { plan.seed = ReadUnsigned(place); }
void Start(const Place& place, const Rule&, MarketPlan& plan) { plan.start = ReadMoment(place); }

bool IsCapital(wchar_t c) { return c >= L'A' && c <= L'Z'; }
bool IsOfCode(wchar_t c) {
    return IsCapital(c) || (c >= L'a' && c <= L'z') || (c >= L'0' && c <= L'9') || c == L'_';
}
bool IsOfSecurity(wchar_t c) { return IsOfCode(c) || c == L'-'; }
bool IsPrintable(wchar_t c) { return c >= 0x20 && (c < 0x7F || c >= 0xA0); }

constexpr Need kNeeded = Need::Needed;
constexpr Need kFree = Need::Free;

// clang-format off
constexpr Alphabet kCapitals{L"capital letters", IsCapital};
constexpr Alphabet kOfCode{L"letters, digits and \"_\"", IsOfCode};
constexpr Alphabet kOfSecurity{L"letters, digits, \"_\" and \"-\"", IsOfSecurity};
constexpr Alphabet kAny{L"printable characters", IsPrintable};

constexpr Rule kCurrency{3, 3, 0, 1, &kCapitals};
constexpr Rule kCode{1, 16, 0, 1, &kOfCode};
constexpr Rule kSecurity{1, 16, 0, 1, &kOfSecurity};
constexpr Rule kWords{1, 100, 0, 1, &kAny};
constexpr Rule kSize{1, 10'000'000};
constexpr Rule kPrice{1, 100'000'000 * kE10, 10, kE10};
constexpr Rule kTick{1, 100'000'000 * kE10, 6, kE10};
constexpr Rule kBalance{0, 1'000'000'000'000 * kE6, 6, kE6};
constexpr Rule kLotAmount{0, 1'000'000 * kE6, 6, kE6};
constexpr Rule kFactor{0, 100 * kE6, 6, kE6};
constexpr Rule kShare{0, kE6, 6, kE6};
constexpr Rule kCommission{0, kE6 / 10, 6, kE6};
constexpr Rule kCarry{-kE6 / 10, kE6 / 10, 6, kE6};
constexpr Rule kLimit{kE6 / 1000, kE6 / 2, 6, kE6};
constexpr Rule kVolatility{0, 5 * kE6, 6, kE6};
constexpr Rule kAfter{0, 10'000'000'000, 3, 1000};
constexpr Rule kFor{1, 10'000'000'000, 3, 1000};
constexpr Rule kNotEmpty{1};
constexpr Rule kDayEnd{0, kDayMs};
constexpr Rule kWithinDay{0, kDayMs - 1};

constexpr Row<ServiceKey> kServiceKey[] = {
    {L"key",              kNeeded, String<&ServiceKey::key>,              kWords},
    {L"systemName",       kNeeded, String<&ServiceKey::systemName>,       kWords},
};
constexpr Row<AccountSetup> kAccount[] = {
    {L"brokerId",         kNeeded, String<&AccountSetup::brokerId>,       kCode},
    {L"account",          kNeeded, String<&AccountSetup::account>,        kCode},
    {L"brokerName",       kFree,   String<&AccountSetup::brokerName>,     kWords},
    {L"accountName",      kFree,   String<&AccountSetup::accountName>,    kWords},
    {L"loginId",          kFree,   String<&AccountSetup::loginId>,        kWords},
    {L"userName",         kFree,   String<&AccountSetup::userName>,       kWords},
    {L"balance",          kNeeded, Number<&AccountSetup::balanceE6>,      kBalance},
    {L"commissionRate",   kFree,   CommissionRate,                        kFactor},
    {L"marginRate",       kFree,   MarginRate,                            kFactor},
    {L"permissions",      kFree,   Permissions},
};
constexpr Row<Session> kSession[] = {
    {L"opens",            kNeeded, Time<&Session::opensMs>,               kWithinDay},
    {L"closes",           kNeeded, Time<&Session::closesMs>,              kDayEnd},
};
constexpr Row<ExchangePlan> kExchange[] = {
    {L"exchange",         kNeeded, String<&ExchangePlan::exchange>,       kCode},
    {L"sessions",         kFree,   Objects<&ExchangePlan::sessions, kSession>::Read},
};
constexpr Row<ProductPlan> kProduct[] = {
    {L"tick",             kNeeded, Number<&ProductPlan::tickE10>,         kTick},
    {L"quoteSize",        kFree,   Number<&ProductPlan::quoteSize>,       kSize},
    {L"maxQuantity",      kFree,   Number<&ProductPlan::maxQuantity>,     kSize},
    {L"limit",            kFree,   Number<&ProductPlan::limitPpm>,        kLimit},
    {L"margin",           kFree,   Number<&ProductPlan::marginPpm>,       kShare},
    {L"commission",       kFree,   Number<&ProductPlan::commissionPpm>,   kCommission},
    {L"commissionPerLot", kFree,   Number<&ProductPlan::commissionLotE6>, kLotAmount},
};
constexpr Row<StockPlan> kStock[] = {
    {L"security",         kNeeded, String<&StockPlan::security>,          kSecurity},
    {L"exchange",         kNeeded, String<&StockPlan::exchange>,          kCode},
    {L"name",             kFree,   String<&StockPlan::name>,              kWords},
    {L"price",            kNeeded, Number<&StockPlan::priceE10>,          kPrice},
    {L"volatility",       kFree,   Number<&StockPlan::volatilityPpm>,     kVolatility},
};
constexpr Row<FuturePlan> kFuture[] = {
    {L"multiplier",       kNeeded, Number<&FuturePlan::multiplier>,       {1, 1'000'000}},
    {L"carry",            kFree,   Number<&FuturePlan::carryPpm>,         kCarry},
    {L"quarters",         kFree,   Number<&FuturePlan::quarters>,         {1, 8}},
    {L"expiries",         kFree,   Expiries,                              {1, 24}},
};
constexpr Row<OptionPlan> kOption[] = {
    {L"future",           kNeeded, String<&OptionPlan::security>,         kSecurity},
    {L"months",           kFree,   Number<&OptionPlan::months>,           {1, 8}},
    {L"strikes",          kNeeded, Strikes,                               {1, 200}},
};
constexpr Row<Incident> kIncident[] = {
    {L"kind",             kNeeded, KindOfIncident},
    {L"after",            kFree,   Number<&Incident::afterMs>,            kAfter},
    {L"at",               kFree,   Time<&Incident::atMs>,                 kWithinDay},
    {L"for",              kFree,   Number<&Incident::forMs>,              kFor},
    {L"delayMs",          kFree,   Number<&Incident::delayMs>,            {1, 10'000}},
    {L"every",            kFree,   Number<&Incident::every>,              {1, 1'000'000}},
    {L"exchange",         kFree,   String<&Incident::exchange>,           kCode},
};
constexpr Row<MarketPlan> kMarket[] = {
    {L"seed",             kFree,   Seed},
    {L"speed",            kFree,   Number<&MarketPlan::speed>,            {1, 10'000}},
    {L"tickMs",           kFree,   Number<&MarketPlan::tickMs>,           {10, 60'000}},
    {L"start",            kFree,   Start},
    {L"currency",         kFree,   String<&MarketPlan::currency>,         kCurrency},
    {L"serviceKeys",      kFree,   Objects<&MarketPlan::serviceKeys, kServiceKey>::Read},
    {L"accounts",         kNeeded, Objects<&MarketPlan::accounts, kAccount>::Read,   kNotEmpty},
    {L"exchanges",        kNeeded, Objects<&MarketPlan::exchanges, kExchange>::Read, kNotEmpty},
    {L"stocks",           kFree,   Objects<&MarketPlan::stocks, kStock, kProduct>::Read},
    {L"futures",          kFree,   Objects<&MarketPlan::futures, kStock, kProduct, kFuture>::Read},
    {L"options",          kFree,   Objects<&MarketPlan::options, kOption, kProduct>::Read},
    {L"incidents",        kFree,   Objects<&MarketPlan::incidents, kIncident>::Read},
};
// clang-format on

// What the plan of a file without mistakes takes from elsewhere in it.
void FillIn(MarketPlan& plan) {
    for (AccountSetup& account : plan.accounts) {
        if (account.brokerName.empty()) account.brokerName = account.brokerId;
        if (account.accountName.empty()) account.accountName = account.account;
    }
    for (OptionPlan& chain : plan.options)
        chain.exchange =
            std::ranges::find(plan.futures, chain.security, &FuturePlan::security)->exchange;
}

MarketReading Refusal(const wchar_t* why) { return {std::nullopt, {why}}; }

} // namespace

MarketReading ReadMarketFile(const fs::path& path, LocalMs now) {
    std::error_code ignored;
    if (!fs::exists(path, ignored)) return Refusal(L"the file is missing");
    std::ifstream file(path, std::ios::binary);
    std::string bytes(kMostBytes + 1, '\0');
    file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!file.is_open() || file.bad()) return Refusal(L"the file cannot be read");
    bytes.resize(static_cast<std::size_t>(file.gcount()));
    return ReadMarketText(bytes, now);
}

MarketReading ReadMarketText(const std::string& utf8, LocalMs now) {
    if (utf8.size() > kMostBytes) return Refusal(L"the file has more than 16 MiB");
    if (!FromUtf8(utf8)) return Refusal(L"the file is not UTF-8");
    const LocatedJson json = ReadLocatedJson(utf8);
    Mistakes mistakes;
    MarketPlan plan;
    if (json.root) {
        const Place root{*json.root, L"", mistakes};
        ReadObject(root, plan, kMarket);
        CheckMarket(root, plan, now);
    } else {
        mistakes.Add(json.line, json.mistake);
    }
    if (!mistakes.None()) return {std::nullopt, mistakes.Texts()};
    FillIn(plan);
    return {std::move(plan), {}};
}

} // namespace halvane::paper
