#include "foundation/support/Json.h"
#include "foundation/support/Process.h"
#include "paper/market/Market.h"
#include "paper/rows/ContractFiles.h"
#include "tests/TempFolder.h"

#include <gtest/gtest.h>

namespace halvane::paper {
namespace {

namespace fs = std::filesystem;

constexpr std::int32_t kDate = 20261106;
const char* const kStocks =
    R"({"WrittenBy":"paper platform","Date":"20261106","Node":[{"Name":"PAPX","Contracts":[)"
    R"("OV.S.PAPX.ALFA","OV.S.PAPX.BETU","OV.S.PAPX.CERU","OV.S.PAPX.DOLI","OV.S.PAPX.EMBO"]}]})";

class ContractFiles : public ::testing::Test {
  protected:
    void Write(std::int32_t date = kDate) {
        WriteContractLists(module_, BuildMarket(BuiltInPlan(), DayOf(kDate)), DayOf(date));
    }
    std::string Read(const std::string& name) { return ReadFile(folder_ / "Configs" / name); }
    std::size_t Count() {
        const fs::directory_iterator files(folder_ / "Configs");
        return static_cast<std::size_t>(std::distance(begin(files), end(files)));
    }

    TempFolder folder_;
    const Text module_ = FromPath(folder_.Path()) + kPathSeparator;
};

TEST_F(ContractFiles, ListWhatIsAliveByKind) {
    Write();
    EXPECT_EQ(Count(), 6u); // and no draft
    EXPECT_EQ(Read("ContractList_PaperStk.ini"), kStocks);
    EXPECT_EQ(Read("RepContractList_PaperStk.ini"), kStocks);
    const std::string futures = Read("ContractList_PaperFut.ini");
    EXPECT_NE(futures.find(R"({"Name":"ORE","Contracts":["OV.F.PAPF.ORE.202612",)"
                           R"("OV.F.PAPF.ORE.202703"]})"),
              std::string::npos);
    const std::string options = Read("ContractList_PaperOpt.ini");
    EXPECT_NE(options.find(R"("Node":[{"Name":"IDX","Node":[{"Name":"202612","Contracts":[)"
                           R"("OV.O.PAPF.IDX.202612.C.18000")"),
              std::string::npos);

    Write(20261216); // the last day of the first month, and the day after
    EXPECT_NE(Read("ContractList_PaperFut.ini").find("ORE.202612"), std::string::npos);
    Write(20261217);
    EXPECT_EQ(Read("ContractList_PaperFut.ini").find("ORE.202612"), std::string::npos);
    EXPECT_NE(Read("ContractList_PaperOpt.ini").find(R"("Node":[])"), std::string::npos);
}

TEST_F(ContractFiles, LeaveAloneWhatTheyHaveNotWritten) {
    fs::create_directories(folder_ / "Configs" / "RepContractList_PaperFut.ini"); // no file at all
    const struct {
        const char *name, *before, *after;
    } kCases[] = {
        {"ContractList_PaperStk.ini", "{\"Node\":[]}", "{\"Node\":[]}"},
        {"RepContractList_PaperStk.ini", "{\"WrittenBy\":\"paper platform\",", kStocks},
        {"ContractList_PaperFut.ini", " {\"WrittenBy\":\"paper platform\"}",
         " {\"WrittenBy\":\"paper platform\"}"},
        {"ContractList_PaperOpt.ini", "", ""},
    };
    for (const auto& each : kCases)
        WriteFile(folder_ / "Configs" / each.name, each.before);
    Write();
    for (const auto& each : kCases)
        EXPECT_EQ(Read(each.name), each.after) << each.name;
    EXPECT_EQ(Count(), 6u);
}

TEST_F(ContractFiles, AreLeftOutWhereNothingCanBeWritten) {
    WriteFile(folder_ / "Configs", "a file");
    Write();
    EXPECT_EQ(ReadFile(folder_ / "Configs"), "a file");
    EXPECT_EQ(RecoverContractList(module_, L"PaperStk", kDate, BuiltInPlan(), DayOf(kDate)), L"");
}

TEST_F(ContractFiles, RecoverTheListsOfDaysPast) {
    const struct {
        const wchar_t* alias;
        std::int32_t date;
        const wchar_t* contract; // nullptr: no list
    } kCases[] = {
        {L"PaperStk", kDate, L"OV.S.PAPX.ALFA"},
        {L"PaperFut", 20240320, L"OV.F.PAPF.IDX.202403"},
        {L"PaperFut", 20240321, L"OV.F.PAPF.IDX.202406"},
        {L"PaperOpt", 20000101, L"OV.O.PAPF.IDX.200003.P.22000"},
        {L"PaperStk", kDate + 1, nullptr},
        {L"PaperStk", 20240230, nullptr},
        {L"PaperStk", 19991231, nullptr},
        {L"PaperStk", -5, nullptr},
        {L"paperstk", kDate, nullptr},
        {L"../PaperStk", kDate, nullptr},
        {L"", kDate, nullptr},
    };
    for (const auto& each : kCases) {
        const Text path =
            RecoverContractList(module_, each.alias, each.date, BuiltInPlan(), DayOf(kDate));
        ASSERT_EQ(path.empty(), each.contract == nullptr) << each.date;
        if (path.empty()) continue;
        const std::string list = ReadFile(ToPath(path));
        EXPECT_NE(list.find(ToUtf8(each.contract)), std::string::npos) << list;
        JsonDocument document;
        EXPECT_TRUE(ParseJson(*FromUtf8(list), document));
        if (each.date == 20240321) {
            EXPECT_EQ(list.find("IDX.202403"), std::string::npos);
        }
    }
}

TEST_F(ContractFiles, TakeSomebodysOwnPastListAsItIs) {
    fs::create_directories(folder_ / "Configs" / "Recover");
    const fs::path own = folder_ / "Configs" / "Recover" / "PaperStk_20240105.ini";
    WriteFile(own, "[]");
    EXPECT_EQ(
        ToPath(RecoverContractList(module_, L"PaperStk", 20240105, BuiltInPlan(), DayOf(kDate))),
        own);
    EXPECT_EQ(ReadFile(own), "[]");
}

} // namespace
} // namespace halvane::paper
