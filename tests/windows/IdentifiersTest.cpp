#include "tests/windows/ProbeTest.h"

#include "tradeapi/TradeEvents.h"
#include "tradeapi/com/ComponentLoader.h"

#include <objbase.h>

// Beside this program lies Configs\TradeApi.ini, with other identifiers than the built-in ones.

namespace halvane {
namespace {

using IdentifiersTest = ProbeTest;

TEST_F(IdentifiersTest, AConfiguredClassIsTheOneThatIsCreated) {
    ASSERT_TRUE(api_);
    const auto account = api_->CreateItem(ItemClass::Account);
    ASSERT_TRUE(account);
    account->GetText(2);
    EXPECT_EQ(probe_.TakeCalls(), L"Renamed get 2() =\n");
    const auto margin = api_->CreateItem(ItemClass::Fill); // not configured
    ASSERT_TRUE(margin);
    margin->GetText(2);
    EXPECT_EQ(probe_.TakeCalls(), L"Fill get 2() =\n");
}

TEST_F(IdentifiersTest, ATextThatIsNoIdentifierSendsToTheRegistry) {
    const wchar_t* const name = L"Ovaro.TradeDataMarginItem.1";
    EXPECT_FALSE(CreateComponentObject(name));
    const RegisteredClass registered(name, L"{7D6CE3B5-1B0B-4F5E-9E4E-6D60C2A4B903}", L"nowhere");
    EXPECT_TRUE(CreateComponentObject(name)); // identifier from the registry, object from the file
}

struct HostNotes : HostEvents {
    void OnGeneralServiceUpdate() override { ++updates; }
    void OnCommandMsg(std::int32_t, std::int32_t, TextView) override {}
    int updates = 0;
};

TEST_F(IdentifiersTest, HostEventsMayHaveOtherNumbers) {
    ASSERT_TRUE(api_);
    HostNotes notes;
    ASSERT_TRUE(api_->Advise(notes));
    IID events;
    ASSERT_EQ(IIDFromString(L"{7D6CE3B5-1B0B-4F5E-9E4E-6D60C2A4B9FF}", &events), S_OK);
    EXPECT_EQ(probe_->fire(events, 77, nullptr, 0, DISPATCH_METHOD), S_OK);
    EXPECT_EQ(notes.updates, 1);
    EXPECT_EQ(probe_->fire(events, 1, nullptr, 0, DISPATCH_METHOD), DISP_E_MEMBERNOTFOUND);
    api_.reset();
}

} // namespace
} // namespace halvane
