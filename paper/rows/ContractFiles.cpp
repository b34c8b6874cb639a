#include "paper/rows/ContractFiles.h"

#include "foundation/support/Json.h"
#include "foundation/support/JsonWriter.h"
#include "foundation/support/Numbers.h"
#include "foundation/support/Process.h"
#include "foundation/support/Utf.h"
#include "paper/market/Market.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <vector>

namespace halvane::paper {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kMark = "{\"WrittenBy\":\"paper platform\"";
constexpr std::int32_t kFirstDate = 20000101;

struct ListRow {
    TextView alias;
    InstrumentKind kind;
    Text Instrument::*group;
    Text Instrument::*subGroup; // nullptr: the groups hold the symbols themselves
};

// clang-format off
constexpr ListRow kLists[] = {
    {L"PaperStk", InstrumentKind::Stock,  &Instrument::exchange, nullptr},
    {L"PaperFut", InstrumentKind::Future, &Instrument::security, nullptr},
    {L"PaperOpt", InstrumentKind::Option, &Instrument::security, &Instrument::month},
};
// clang-format on

const ListRow* FindList(TextView alias) {
    for (const ListRow& row : kLists) {
        if (row.alias == alias) return &row;
    }
    return nullptr;
}

using Contracts = std::vector<const Instrument*>;

// In the order in which the groups first occur.
std::vector<std::pair<Text, Contracts>> Grouped(const Contracts& contracts,
                                                Text Instrument::*group) {
    std::vector<std::pair<Text, Contracts>> groups;
    for (const Instrument* contract : contracts) {
        const auto found = std::find_if(groups.begin(), groups.end(), [&](const auto& each) {
            return each.first == contract->*group;
        });
        if (found == groups.end()) {
            groups.push_back({contract->*group, {contract}});
        } else {
            found->second.push_back(contract);
        }
    }
    return groups;
}

// They live as long as the contracts.
JsonValue SymbolsOf(const Contracts& contracts, JsonDocument& document) {
    JsonValue symbols(rapidjson::kArrayType);
    for (const Instrument* contract : contracts) {
        const Text& symbol = contract->symbol;
        const auto size = static_cast<rapidjson::SizeType>(symbol.size());
        symbols.PushBack(JsonValue::StringRefType(symbol.c_str(), size), document.GetAllocator());
    }
    return symbols;
}

void WriteNodes(JsonWriter& json, const Contracts& contracts, Text Instrument::*group,
                Text Instrument::*subGroup) {
    JsonDocument document;
    json.BeginArray(L"Node");
    for (const auto& [name, members] : Grouped(contracts, group)) {
        json.BeginObject();
        json.Member(L"Name", name);
        if (subGroup != nullptr) {
            WriteNodes(json, members, subGroup, nullptr);
        } else {
            json.MemberJson(L"Contracts", WriteJson(SymbolsOf(members, document)));
        }
        json.EndObject();
    }
    json.EndArray();
}

// At most so many bytes of the file's beginning; "" for what cannot be read.
std::string ReadStart(const fs::path& path, std::size_t most) {
    std::ifstream file(path, std::ios::binary);
    std::string bytes(most, '\0');
    file.read(bytes.data(), static_cast<std::streamsize>(most));
    bytes.resize(static_cast<std::size_t>(file.gcount()));
    return bytes;
}

// Whoever reads the file at this moment, a gateway beside this one perhaps, sees the old list or
// the new one.
void Replace(const fs::path& path, const std::string& bytes) {
    fs::path draft = path;
    draft += ToPath(L"." + DecimalText(CurrentProcessId()) + L"-" + DecimalText(CurrentThreadId()) +
                    L".tmp");
    std::error_code failure;
    std::ofstream file(draft, std::ios::binary);
    file << bytes;
    file.close();
    if (file) fs::rename(draft, path, failure);
    if (!file || failure) fs::remove(draft, failure);
}

void WriteOwn(const fs::path& path, const std::string& wanted) {
    std::error_code ignored;
    fs::create_directories(path.parent_path(), ignored);
    const std::string there = ReadStart(path, wanted.size() + 1);
    const bool ours = there.starts_with(kMark) || !fs::exists(path, ignored);
    if (ours && there != wanted) Replace(path, wanted);
}

Text FolderText(const Text& module) { return module + L"Configs" + kPathSeparator; }

} // namespace

std::string ContractListText(TextView alias, const Market& market, Day day) {
    const ListRow* list = FindList(alias);
    if (list == nullptr) return {};
    Contracts contracts;
    for (const Instrument& instrument : market.instruments) {
        const bool alive = !instrument.expiry.ok() || instrument.expiry >= day;
        if (instrument.kind == list->kind && alive) contracts.push_back(&instrument);
    }
    JsonWriter json;
    json.Member(L"WrittenBy", L"paper platform"); // kMark
    json.Member(L"Date", DateText(day));
    WriteNodes(json, contracts, list->group, list->subGroup);
    return json.Finish();
}

void WriteContractLists(const Text& module, const Market& market, Day today) {
    for (const ListRow& list : kLists) {
        const std::string text = ContractListText(list.alias, market, today);
        for (const TextView prefix : {L"ContractList_", L"RepContractList_"}) {
            const Text name = Text(prefix).append(list.alias).append(L".ini");
            WriteOwn(ToPath(FolderText(module) + name), text);
        }
    }
}

Text RecoverContractList(const Text& module, TextView alias, std::int32_t date,
                         const MarketPlan& plan, Day today) {
    const Day day = DayOf(date);
    if (FindList(alias) == nullptr || date < kFirstDate || !day.ok() || day > today) return {};
    const Text path = (FolderText(module) + L"Recover" + kPathSeparator)
                          .append(alias)
                          .append(L"_" + DecimalText(date) + L".ini");
    WriteOwn(ToPath(path), ContractListText(alias, BuildMarket(plan, day), day));
    std::error_code ignored;
    return fs::exists(ToPath(path), ignored) ? path : Text();
}

} // namespace halvane::paper
