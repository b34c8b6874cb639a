// Buys ten shares on the paper platform and tells what becomes of the order.
#include <halvane.h>

#include <iostream>

int main() {
    using namespace halvane::client;
    Client client({.systemName = "DEMO", .serviceKey = "demo-key"});
    Book book(client);
    if (!client.WaitConnected(Duration{10'000}) || !book.WaitLive(Duration{10'000})) {
        std::cerr << client.GetState().reason << "\n";
        return 1;
    }
    Members order{{"BrokerID", "PAPER"}, {"Account", "1000001"}, {"Symbol", "OV.S.PAPX.ALFA"}};
    order.Text("Side", "1").Text("OrderType", "1").Text("OrderQty", "10").Text("UserKey1", "mine");
    const Answer answer = client.Ask("NEWORDER", Members().Object("Param", order));
    if (!answer) std::cerr << answer.error << "\n";
    while (answer && book.WithKey("mine").empty())
        client.Ask("PONG"); // until the report is there
    for (const Message& report : book.WithKey("mine")) {
        std::cout << report.Text("OrderID") << ": " << report.Text("ExecTypeText") << ", filled "
                  << report.Text("CumQty") << " at " << report.Text("AvgPrice") << "\n";
    }
    return answer ? 0 : 1;
}
