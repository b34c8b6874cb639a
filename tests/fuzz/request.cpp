#include "foundation/cpputility/TopicBoard.h"
#include "foundation/support/Json.h"
#include "request/Operations.h"
#include "request/Sessions.h"
#include "tests/JumpingClock.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/hold/OneWorker.h"
#include "tests/host/ScriptedTradeApi.h"
#include "tradeapi/TradeData.h"

namespace halvane {
namespace {

constexpr const wchar_t* kKnownKey = L"k";

struct World {
    World() {
        SetSetting(L"ContractName", L"a:b,c");
        for (const std::int32_t kind : {kPositions, kMargins, kDetailPositions, kCombinationOrders})
            StoreRowCount(kind, L"m", 3);
        StoreRowCount(kAccounts, L"", 2);
        SetTradeDataReady();
    }

    JumpingClock clock{60'000};
    ScopedClock scoped{clock};
    LoginInfoTable sessions;
    CppUtility::BaseData* table = CppUtility::GetDataFromTopic(L"LoginInfo"); // which is never lost
    ScriptedTradeApi platform;
    OneWorker worker{platform};
};

// What the platform is like, and what it says where it tells texts of its own.
void Draw(ScriptedTradeApi& platform, FuzzedDataProvider& input) {
    const auto kind = input.ConsumeIntegral<std::uint8_t>();
    platform.missingValues = (kind & 1) != 0;
    platform.orderResult = (kind & 2) != 0 ? -7 : 1;
    platform.throwing =
        (kind & 4) != 0 ? std::set<std::string>{"data", "order", "topic"} : std::set<std::string>{};
    platform.uncreatable = (kind & 8) != 0 ? std::set{ItemClass::Margin, ItemClass::ReportList}
                                           : std::set<ItemClass>{};
    platform.noteReads = false;
    const auto text = FromUtf8(input.ConsumeRandomLengthString(200)).value_or(L"[{}]");
    platform.instrumentData[L"ALL s"] = text;
    platform.queryReport = [text](std::int32_t, const Text& id, ProbeItem& item) {
        item.texts[29] = text; // packed user keys
        item.ints[2] = id.empty() ? 60 : 1;
        return 1;
    };
}

void CheckReply(const std::string& request, const std::string& reply) {
    Keep(reply.ends_with('\0') && reply.find('\0') == reply.size() - 1, "a zero ends the reply");
    const auto text = FromUtf8(std::string_view(reply).substr(0, reply.size() - 1));
    Keep(text.has_value(), "a reply is UTF-8");
    JsonDocument answer, asked;
    Keep(ParseJson(*text, answer), "a reply is JSON");
    const auto question = FromUtf8(request.substr(0, request.find('\0')));
    const bool isJson = question && ParseJson(*question, asked);
    const Text name(isJson ? StringMember(asked, L"Request") : L"");
    Keep(StringMember(answer, L"Reply") == (FindOperation(name) != nullptr ? name : L"Req"),
         "a reply names its request");
    const TextView success = StringMember(answer, L"Success");
    Keep(success == L"OK" || success == L"Fail", "a reply says whether it worked");
    if (FindMember(answer, L"ErrMsg") == nullptr) return;
    Keep(answer.MemberCount() == 4, "a failure has four members");
    const bool silent = name == L"LOGIN" || FindOperation(name) == nullptr;
    const TextView key = silent ? TextView() : StringMember(asked, L"SessionKey");
    Keep(StringMember(answer, L"SessionKey") == key, "a failure names the session");
}

} // namespace
} // namespace halvane

using namespace halvane;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static World& world = *new World; // outlives what it uses
    FuzzedDataProvider input(data, size);
    Draw(world.platform, input);
    OpenSession(kKnownKey);
    const std::string request = input.ConsumeRemainingBytesAsString();
    const std::string pong = R"({"Request":"PONG","SessionKey":"k"})";
    const auto replies = world.worker.Ask({request, pong}, [](std::size_t asked) {
        if (asked == 1) OpenSession(kKnownKey); // it may have left
    });
    Keep(replies[0].size() == 1, "a request has one reply");
    CheckReply(request, replies[0][0]);
    Keep(replies[1] == std::vector{std::string(R"({"Reply":"PONG","Success":"OK"})") + '\0'},
         "the next is served");
    world.platform.TakeCalls();
    return 0;
}
