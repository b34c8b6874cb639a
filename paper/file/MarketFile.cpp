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
    Presence presence;
    void (*read)(const Passage& passage, const Rule& rule, Object& object);
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
bool ReadMember(const Passage& passage, Object& object, const Table& table) {
    for (const auto& row : table) {
        if (row.name != passage.value.name) continue;
        row.read(passage, row.rule, object);
        return true;
    }
    return false;
}

template <class Table> void TellMissing(const Passage& passage, const Table& table) {
    for (const auto& row : table) {
        if (row.presence == kRequired && !passage.Has(row.name))
            passage.Tell(Text(row.name) + L" is missing");
    }
}

template <class Object, class... Tables>
void ReadObject(const Passage& passage, Object& object, const Tables&... tables) {
    if (!passage.Is(JsonKind::Object)) return;
    (TellMissing(passage, tables), ...);
    std::set<TextView> seen;
    for (const LocatedValue& member : passage.value.items) {
        const Passage at = passage.Member(member);
        if (!seen.insert(member.name).second) {
            at.Tell(L"given twice");
        } else if (!(ReadMember(at, object, tables) || ...)) {
            at.Tell(L"unknown");
        }
    }
}

// The ways to read a member, by what it becomes.

template <auto member, class Object>
void Number(const Passage& passage, const Rule& rule, Object& object) {
    using Value = std::remove_reference_t<decltype(object.*member)>;
    object.*member = static_cast<Value>(ReadNumber(passage, rule));
}

template <auto member, class Object>
void String(const Passage& passage, const Rule& rule, Object& object) {
    object.*member = ReadText(passage, rule);
}

template <auto member, class Object>
void Time(const Passage& passage, const Rule& rule, Object& object) {
    object.*member = ReadTime(passage, rule);
}

// A list of objects, each of which has the members of these tables.
template <auto list, const auto&... tables> struct Objects {
    template <class Owner>
    static void Read(const Passage& passage, const Rule& rule, Owner& owner) {
        if (!IsList(passage, rule)) return;
        auto& objects = owner.*list;
        using Object = typename std::remove_reference_t<decltype(objects)>::value_type;
        for (std::size_t i = 0; i < passage.value.items.size(); ++i)
            ReadObject(passage.Item(i), objects.emplace_back(Fresh<Object>()), tables...);
    }
};

void CommissionRate(const Passage& passage, const Rule& rule, AccountSetup& account) {
    account.rates.commissionPpm = ReadNumber(passage, rule);
}

void MarginRate(const Passage& passage, const Rule& rule, AccountSetup& account) {
    account.rates.marginPpm = ReadNumber(passage, rule);
}

void Permissions(const Passage& passage, const Rule& rule, AccountSetup& account) {
    if (!IsList(passage, rule)) return;
    account.mayTrade = {};
    for (std::size_t i = 0; i < passage.value.items.size(); ++i) {
        const Passage at = passage.Item(i);
        const auto kind = ReadWord(at, {L"stocks", L"futures", L"options"}); // by InstrumentKind
        if (kind && std::exchange(account.mayTrade[*kind], true)) at.Tell(L"given twice");
    }
}

void Expiries(const Passage& passage, const Rule& rule, FuturePlan& future) {
    if (!IsList(passage, rule)) return;
    for (std::size_t i = 0; i < passage.value.items.size(); ++i)
        future.expiries.push_back(ReadDay(passage.Item(i)));
}

// Not above the highest price.
void Strikes(const Passage& passage, const Rule& rule, OptionPlan& chain) {
    if (!IsList(passage, rule)) return;
    for (std::size_t i = 0; i < passage.value.items.size(); ++i)
        chain.strikes.push_back(ReadNumber(passage.Item(i), {1, 100'000'000}));
}

void KindOfIncident(const Passage& passage, const Rule&, Incident& incident) {
    std::vector<TextView> words;
    for (const IncidentRow& row : kIncidentRows)
        words.push_back(row.name);
    if (const auto index = ReadWord(passage, words)) incident.kind = kIncidentRows[*index].kind;
}

void Seed(const Passage& passage, const Rule&, MarketPlan& plan) {
    plan.seed = ReadUnsigned(passage);
}
void Start(const Passage& passage, const Rule&, MarketPlan& plan) {
    plan.start = ReadMoment(passage);
}

bool IsCapital(wchar_t c) { return c >= L'A' && c <= L'Z'; }
bool IsOfCode(wchar_t c) {
    return IsCapital(c) || (c >= L'a' && c <= L'z') || (c >= L'0' && c <= L'9') || c == L'_';
}
bool IsOfSecurity(wchar_t c) { return IsOfCode(c) || c == L'-'; }
bool IsPrintable(wchar_t c) { return c >= 0x20 && (c < 0x7F || c >= 0xA0); }

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
    {L"key",              kRequired, String<&ServiceKey::key>,              kWords},
    {L"systemName",       kRequired, String<&ServiceKey::systemName>,       kWords},
};
constexpr Row<AccountSetup> kAccount[] = {
    {L"brokerId",         kRequired, String<&AccountSetup::brokerId>,       kCode},
    {L"account",          kRequired, String<&AccountSetup::account>,        kCode},
    {L"brokerName",       kOptional, String<&AccountSetup::brokerName>,     kWords},
    {L"accountName",      kOptional, String<&AccountSetup::accountName>,    kWords},
    {L"loginId",          kOptional, String<&AccountSetup::loginId>,        kWords},
    {L"userName",         kOptional, String<&AccountSetup::userName>,       kWords},
    {L"balance",          kRequired, Number<&AccountSetup::balanceE6>,      kBalance},
    {L"commissionRate",   kOptional, CommissionRate,                        kFactor},
    {L"marginRate",       kOptional, MarginRate,                            kFactor},
    {L"permissions",      kOptional, Permissions},
};
constexpr Row<Session> kSession[] = {
    {L"opens",            kRequired, Time<&Session::opensMs>,               kWithinDay},
    {L"closes",           kRequired, Time<&Session::closesMs>,              kDayEnd},
};
constexpr Row<ExchangePlan> kExchange[] = {
    {L"exchange",         kRequired, String<&ExchangePlan::exchange>,       kCode},
    {L"sessions",         kOptional, Objects<&ExchangePlan::sessions, kSession>::Read},
};
constexpr Row<ProductPlan> kProduct[] = {
    {L"tick",             kRequired, Number<&ProductPlan::tickE10>,         kTick},
    {L"quoteSize",        kOptional, Number<&ProductPlan::quoteSize>,       kSize},
    {L"maxQuantity",      kOptional, Number<&ProductPlan::maxQuantity>,     kSize},
    {L"limit",            kOptional, Number<&ProductPlan::limitPpm>,        kLimit},
    {L"margin",           kOptional, Number<&ProductPlan::marginPpm>,       kShare},
    {L"commission",       kOptional, Number<&ProductPlan::commissionPpm>,   kCommission},
    {L"commissionPerLot", kOptional, Number<&ProductPlan::commissionLotE6>, kLotAmount},
};
constexpr Row<StockPlan> kStock[] = {
    {L"security",         kRequired, String<&StockPlan::security>,          kSecurity},
    {L"exchange",         kRequired, String<&StockPlan::exchange>,          kCode},
    {L"name",             kOptional, String<&StockPlan::name>,              kWords},
    {L"price",            kRequired, Number<&StockPlan::priceE10>,          kPrice},
    {L"volatility",       kOptional, Number<&StockPlan::volatilityPpm>,     kVolatility},
};
constexpr Row<FuturePlan> kFuture[] = {
    {L"multiplier",       kRequired, Number<&FuturePlan::multiplier>,       {1, 1'000'000}},
    {L"carry",            kOptional, Number<&FuturePlan::carryPpm>,         kCarry},
    {L"quarters",         kOptional, Number<&FuturePlan::quarters>,         {1, 8}},
    {L"expiries",         kOptional, Expiries,                              {1, 24}},
};
constexpr Row<OptionPlan> kOption[] = {
    {L"future",           kRequired, String<&OptionPlan::security>,         kSecurity},
    {L"months",           kOptional, Number<&OptionPlan::months>,           {1, 8}},
    {L"strikes",          kRequired, Strikes,                               {1, 200}},
};
constexpr Row<Incident> kIncident[] = {
    {L"kind",             kRequired, KindOfIncident},
    {L"after",            kOptional, Number<&Incident::afterMs>,            kAfter},
    {L"at",               kOptional, Time<&Incident::atMs>,                 kWithinDay},
    {L"for",              kOptional, Number<&Incident::forMs>,              kFor},
    {L"delayMs",          kOptional, Number<&Incident::delayMs>,            {1, 10'000}},
    {L"every",            kOptional, Number<&Incident::every>,              {1, 1'000'000}},
    {L"exchange",         kOptional, String<&Incident::exchange>,           kCode},
};
constexpr Row<MarketPlan> kMarket[] = {
    {L"seed",             kOptional, Seed},
    {L"speed",            kOptional, Number<&MarketPlan::speed>,            {1, 10'000}},
    {L"tickMs",           kOptional, Number<&MarketPlan::stepMs>,           {10, 60'000}},
    {L"start",            kOptional, Start},
    {L"currency",         kOptional, String<&MarketPlan::currency>,         kCurrency},
    {L"serviceKeys",      kOptional, Objects<&MarketPlan::serviceKeys, kServiceKey>::Read},
    {L"accounts",         kRequired, Objects<&MarketPlan::accounts, kAccount>::Read,   kNotEmpty},
    {L"exchanges",        kRequired, Objects<&MarketPlan::exchanges, kExchange>::Read, kNotEmpty},
    {L"stocks",           kOptional, Objects<&MarketPlan::stocks, kStock, kProduct>::Read},
    {L"futures",          kOptional, Objects<&MarketPlan::futures, kStock, kProduct, kFuture>::Read},
    {L"options",          kOptional, Objects<&MarketPlan::options, kOption, kProduct>::Read},
    {L"incidents",        kOptional, Objects<&MarketPlan::incidents, kIncident>::Read},
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
        const Passage root{*json.root, L"", mistakes};
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
