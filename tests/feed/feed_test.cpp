#include "feed/FeedRecovery.h"
#include "feed/Sqlite.h"
#include "foundation/support/Process.h"
#include "foundation/support/Utf.h"
#include "publish/ReportWalk.h"
#include "tests/feed/FeedTests.h"

#include <algorithm>
#include <atomic>

namespace halvane {
namespace {

constexpr std::int64_t kDayMs = 86'400'000;

TEST(Publication, SaysWhereItBelongs) {
    const struct {
        const char* json;
        const char* topic;
    } cases[] = {
        {R"({"DataType":"REPORTRESET"})", "REPORTRESET.."},
        {R"({"DataType":"ACCOUNTS","Accounts":[{"Account":"A1"}]})", "ACCOUNTS.."},
        {R"({"DataType":"SYMBOLCLEAR","Data":{"Symbol":"OV.S.X.A"}})", "SYMBOLCLEAR..OV.S.X.A"},
        {R"({"DataType":"CorvintaSignal","Data":{"Symbol":"S","Account":"A"}})",
         "CorvintaSignal.A.S"},
        {R"({"DataType":"FILLEDREPORT","Report":{"ReportID":",\"Account\":\"no","Account":"a.b%",)"
         R"("Symbol":"OV.\u0041"}})",
         "FILLEDREPORT.a%2Eb%25.OV.A"},
        {R"({"DataType":"FILLEDREPORT","Report":{"ReportID":"1"},"Account":"no"})",
         "FILLEDREPORT.."},
        {"no json", ".."},
    };
    for (const auto& [json, topic] : cases)
        EXPECT_EQ(TopicOf(RouteOf(json)), topic) << json;
}

TEST(Publication, AKeyTellsReportsApart) {
    const std::string key = RecordKey(Published("EXECUTIONREPORT", "R1"));
    EXPECT_NE(key, "");
    EXPECT_EQ(TimeOfRecord(key), (RecordTime{20261114, 100000000}));
    for (const std::string& other :
         {Fill("R1"), Published("EXECUTIONREPORT", "R2"), Published("EXECUTIONREPORT", "R1", "A2"),
          Published("EXECUTIONREPORT", "R1", "A1", "5")})
        EXPECT_NE(RecordKey(other), key);
    EXPECT_EQ(RecordKey(R"({"DataType":"EXECUTIONREPORT","Report":{"ReportID":""}})"), "");
    EXPECT_EQ(RecordKey(R"({"DataType":"ACCOUNTS","Accounts":[]})"), "");
}

TEST_F(FeedTest, NumbersGoOnOverRestartsAndDays) {
    std::string run, id;
    for (int start = 0; start < 4; ++start) {
        Start();
        for (int n = 0; n < 700; ++n)
            feed->Post(Fill(std::to_string(start * 700 + n)));
        const FeedStatus status = WaitFor(700 * (start + 1));
        EXPECT_NE(status.run, std::exchange(run, status.run));
        EXPECT_EQ(status.journalId, start == 0 ? status.journalId : id);
        id = status.journalId;
        EXPECT_EQ(status.failure, L"");
        End();
        if (start != 1) clock.SetUnixTimeMs(clock.UnixTimeMs() + kDayMs);
        if (start == 1) clock.SetUnixTimeMs(clock.UnixTimeMs() - 5 * kDayMs); // somebody sets it
    }
    Start();
    const FeedStatus status = WaitFor(2800);
    ASSERT_EQ(status.days.size(), 2U);
    EXPECT_EQ(status.days[1].first, 701);
    EXPECT_EQ(status.First(), 1);
    const std::vector<FeedRow> rows = Read();
    ASSERT_EQ(rows.size(), 2800U);
    for (std::size_t n = 0; n < rows.size(); ++n) {
        ASSERT_EQ(rows[n].number, static_cast<std::int64_t>(n) + 1);
        ASSERT_EQ(rows[n].json, Fill(std::to_string(n)));
        ASSERT_TRUE(n == 0 || rows[n].timeNs >= rows[n - 1].timeNs);
    }
}

TEST_F(FeedTest, ReplayBeginsWhereItIsToldAndPicks) {
    Start();
    const std::int64_t start = clock.UnixTimeNs();
    for (int n = 0; n < 30'000; ++n) {
        if (n % 1000 == 0) clock.Advance(1000);
        feed->Post(Published(n % 2 == 0 ? "FILLEDREPORT" : "EXECUTIONREPORT", "R",
                             n % 10'000 == 4 ? "A2" : "A1"));
    }
    WaitFor(30'000);
    EXPECT_EQ(Read({.from = 29'990}).size(), 11U);
    EXPECT_EQ(Read({.from = 30'001}).size(), 0U);
    for (const std::int64_t second : {0, 1, 2, 15, 30, 31}) {
        const auto rows = Read({.sinceNs = start + second * 1'000'000'000});
        const std::size_t before = second == 0 ? 0 : static_cast<std::size_t>(second - 1) * 1000;
        EXPECT_EQ(rows.size(), 30'000 - before) << second;
    }
    const auto others = Read({.account = "A2"});
    ASSERT_EQ(others.size(), 3U);
    EXPECT_EQ(others[2].number, 20'005);
    EXPECT_EQ(Read({.kinds = {"EXECUTIONREPORT"}}).size(), 15'000U);
    EXPECT_EQ(Read({.kinds = {"EXECUTIONREPORT"}, .account = "A2"}).size(), 0U);
}

TEST_F(FeedTest, OldDaysGoButTheLastNumberStays) {
    options.keepDays = 2;
    for (int day = 0; day < 4; ++day) {
        Start();
        feed->Post(Fill(std::to_string(day)));
        WaitFor(day + 1);
        End();
        clock.SetUnixTimeMs(clock.UnixTimeMs() + kDayMs);
    }
    options.keepBytes = 1;
    Start();
    const FeedStatus status = WaitUntil([](const FeedStatus& now) { return now.days.size() == 1; });
    EXPECT_EQ(status.First(), 4);
    EXPECT_EQ(Read().size(), 1U);
    feed->Post(Fill("next"));
    EXPECT_EQ(WaitFor(5).last, 5);
}

// A publication on the feed, without its frames' borders.
class Subscriber {
  public:
    Subscriber(void* context, int port, int most) : socket_(zmq_socket(context, ZMQ_SUB)) {
        SetZmqOption(socket_.get(), ZMQ_RCVHWM, most);
        SetZmqOption(socket_.get(), ZMQ_RCVTIMEO, 60'000);
        SetZmqOption(socket_.get(), ZMQ_RCVBUF, 100'000); // wherever the system would take more
        zmq_setsockopt(socket_.get(), ZMQ_SUBSCRIBE, "", 0);
        zmq_connect(socket_.get(), ("tcp://127.0.0.1:" + std::to_string(port)).c_str());
    }
    // "" when nothing comes.
    std::string Next() {
        std::string parts;
        for (bool more = true; more;) {
            ZmqMessage part;
            if (!part.Receive(socket_.get())) return {};
            parts.append(part.Bytes()).append("|");
            more = part.HasMore();
        }
        return parts;
    }
    std::string NextThatBegins(const std::string& start) {
        std::string next;
        do {
            next = Next();
        } while (!next.empty() && !next.starts_with(start));
        return next;
    }

  private:
    ZmqSocket socket_;
};

TEST_F(FeedTest, WhoIsTooSlowIsToldWhatItMissed) {
    const ZmqContext context = MakeZmqContext();
    options.subscriberRows = 200;
    Start();
    const int port = WaitUntil([](const FeedStatus& now) { return now.port != 0; }).port;
    Subscriber fast(context.get(), port, 0), slow(context.get(), port, 1);
    for (Subscriber* each : {&fast, &slow})
        EXPECT_EQ(each->Next(), "FEEDHELLO|");
    constexpr int kRows = 600, kMore = 400;
    const std::string wide = Published("FILLEDREPORT", std::string(60'000, 'x'));
    std::atomic<std::int64_t> heard = 0;
    std::jthread publisher([&](const std::stop_token& stop) {
        for (int n = 0; n < kRows && !stop.stop_requested(); ++n) {
            while (n > heard && !stop.stop_requested())
                std::this_thread::yield();
            feed->Post(wide);
            clock.Advance(1000); // a beat for each: it may be what finds no room
        }
    });
    while (heard < kRows) {
        const std::string next = fast.NextThatBegins("FILLED");
        ASSERT_FALSE(next.empty()) << heard;
        ASSERT_TRUE(next.starts_with("FILLEDREPORT.A1.OV.S.X.A|" + std::to_string(++heard) + " "));
    }
    const FeedStatus status = WaitFor(kRows);
    ASSERT_FALSE(status.missed.empty());
    // It reads on while more comes. Of what it has missed since the beat before, a beat tells.
    publisher = std::jthread([&](const std::stop_token& stop) {
        for (int n = 0; !stop.stop_requested(); ++n) {
            if (n < kMore) feed->Post(wide);
            if (n % 20 == 0) clock.Advance(1000);
            SystemSleep();
        }
    });
    std::int64_t before = 0, missed = 0;
    for (std::int64_t number = 0, came = 0; before < kRows + kMore;) {
        const std::string next = slow.Next();
        ASSERT_FALSE(next.empty()) << before;
        number = std::stoll(next.substr(next.find('|') + 1));
        if (!next.starts_with("FEEDBEAT")) {
            ++came;
            continue;
        }
        const std::size_t lastRange = next.rfind(R"("To":")");
        const bool told =
            lastRange != std::string::npos && std::stoll(next.substr(lastRange + 6)) > before;
        ASSERT_TRUE(told || before + came == number) << number << " after " << before;
        missed += number - before - came;
        before = number;
        came = 0;
    }
    EXPECT_GT(missed, 0);
}

TEST_F(FeedTest, WhatWasMissedIsAppendedOnce) {
    std::vector<std::string> platform = {Published("EXECUTIONREPORT", "R1", "A1", "5"), Fill("F1"),
                                         Fill("F2"), Fill("F2"), Fill("F3")};
    std::vector<std::string> during; // told by the platform while it is asked
    const auto compare = [&] {
        const auto walk = [&](const std::function<void(std::string)>& take) {
            for (const std::string& json : platform)
                take(json);
            for (const std::string& json : std::exchange(during, {}))
                feed->Post(json);
            return true;
        };
        EXPECT_TRUE(AppendMissed(*feed, walk, {}));
    };
    const auto recovered = [&] {
        std::vector<std::string> found;
        for (const FeedRow& row : Read())
            if (row.recovered) found.push_back(row.json);
        return found;
    };
    clock.MoveByItself(20'000);
    Start();
    feed->Post(Published("EXECUTIONREPORT", "R1"));
    feed->Post(Fill("F1"));
    feed->Post(Fill("F2"));
    during = {Fill("F3")};
    compare();
    EXPECT_EQ(WaitFor(6).last, 6);
    EXPECT_EQ(recovered(), (std::vector{platform[0], platform[2]}));
    for (int start = 0; start < 2; ++start) {
        End();
        Start();
        compare();
        WaitFor(6);
        EXPECT_EQ(recovered().size(), 2U);
    }
    // Told only afterwards: it is there already.
    platform = {Fill("F4")};
    clock.MoveByItself(10);
    std::jthread late([&] { compare(); });
    WaitFor(7);
    feed->Post(Fill("F4"));
    feed->Post(Fill("F5"));
    WaitFor(8);
    EXPECT_EQ(Read().back().json, Fill("F5"));
    clock.Advance(10'000);
    late.join();
    feed->Post(Fill("F4"));
    WaitFor(9);
    EXPECT_EQ(Read().back().json, Fill("F4"));
}

TEST_F(FeedTest, ATakenPortIsSaidOnceAndTriedAgain) {
    const ZmqContext context = MakeZmqContext();
    ZmqSocket taken(zmq_socket(context.get(), ZMQ_PUB));
    options.port = 20'000;
    while (!BindTcp(taken.get(), L"127.0.0.1", options.port))
        ++options.port;
    Start();
    for (int n = 1; n <= 3; ++n) {
        feed->Post(Fill(std::to_string(n)));
        WaitFor(n);
        clock.Advance(1000);
    }
    taken.reset();
    EXPECT_EQ(WaitUntil([](const FeedStatus& now) { return now.port != 0; }).port, options.port);
    EXPECT_EQ(log.Count("ERROR [Feed]no port is free for the feed on 127.0.0.1, Feed.ini says " +
                        std::to_string(options.port) + "; it is tried again each second"),
              1);
}

TEST_F(FeedTest, WhateverLiesInItsFolderNothingIsLost) {
    const auto fails = [](const FeedStatus& now) { return !now.failure.empty(); };
    WriteFile(folder / "feed", "a file in its place");
    Start();
    feed->Post(Fill("1"));
    EXPECT_EQ(WaitUntil(fails).failure, L"there is no folder for it and none can be made");
    std::filesystem::remove(folder / "feed");
    EXPECT_EQ(WaitFor(1).failure, L"");
    End();
    for (const char* foreign :
         {"food-2020-01-01.sqlite", "feed-2020-01-01.sqlita", "feed-x", "feed-2020-01-0x.sqlite",
          "feed-2020-01-0!.sqlite", "feed-2020+01-01.sqlite", "feed-2020-01-02.sqlite"})
        WriteFile(folder / "feed" / foreign, "no journal, as one sees from its first bytes");
    WriteFile(folder / "feed/feed-2020-01-03.sqlite", ""); // made, and then the power went
    Start();
    feed->Post(Fill("2"));
    EXPECT_EQ(WaitFor(2).days.size(), 1U);
    log.WaitFor("WARN [Feed]the journal of 2020-01-02 is left out: ");
    End();
    const Text newest = folder.TextOf("feed/feed-2099-01-01.sqlite");
    SqliteDatabase(newest, SqliteDatabase::Access::Create).Execute("PRAGMA user_version=2");
    Start(); // without the last no number is known
    feed->Post(Fill("3"));
    EXPECT_EQ(WaitUntil(fails).failure, L"a file of another version lies in its folder");
    std::filesystem::remove(ToPath(newest));
    WaitFor(3);
    EXPECT_EQ(Read().size(), 3U);
}

TEST_F(FeedTest, ADayThatCannotBeDeletedIsSaidOnceAndTriedAgain) {
    options.keepDays = 2;
    Start();
    for (int day = 1; day <= 3; ++day) {
        feed->Post(Fill(std::to_string(day)));
        WaitFor(day);
        clock.SetUnixTimeMs(clock.UnixTimeMs() + kDayMs);
    }
    const Text first = feed->Status().days[0].day;
    const auto file = folder / "feed" / ("feed-" + ToUtf8(first) + ".sqlite");
    std::filesystem::remove(file);
    std::filesystem::create_directories(file / "held");
    const std::string said =
        "[Feed]the journal of " + ToUtf8(first) + " cannot be deleted yet: somebody reads it";
    for (int n = 0; n < 2; ++n) {
        clock.Advance(60'000);
        log.WaitFor("WARN " + said);
        feed->Post(Fill("more"));
        WaitFor(4 + n);
    }
    EXPECT_EQ(log.Count("WARN " + said), 1);
    std::filesystem::remove_all(file);
    clock.Advance(60'000);
    log.WaitFor("INFO [Feed]the journal of " + ToUtf8(first) + " is deleted, as Feed.ini says");
}

TEST(FeedOptions, WhatIsNotUnderstoodIsSaidAndNotUsed) {
    const FeedOptions usual;
    const struct {
        std::string keys;
        int port;
        bool sync;
        int keepDays;
        std::int64_t keepBytes;
        std::size_t queueBytes;
        Text folder;
        int errors;
    } cases[] = {
        {"", 0, true, usual.keepDays, 0, usual.queueBytes,
         ExecutableFolder() + L"feed" + kPathSeparator, 0},
        {"Port=65535\nSynchronous=normal\nKeepDays=36500\nKeepMegabytes=2\nQueueMegabytes=1\n"
         "Folder=a",
         65535, false, 36500, 2 << 20, 1 << 20, Text(L"a") + kPathSeparator, 0},
        {"Port=65536\nSynchronous=half\nKeepDays=0\nKeepMegabytes=1x\nQueueMegabytes=-1\nFolder=a/",
         0, true, usual.keepDays, 0, usual.queueBytes, L"a/", 5},
        {"Synchronous=FULL\nFolder=a\\", 0, true, usual.keepDays, 0, usual.queueBytes, L"a\\", 0},
    };
    const TempFolder folder;
    for (const auto& each : cases) {
        LogKeeper log;
        WriteFile(folder / "x.ini", "[Feed]\nOn=1\n" + each.keys);
        const auto read = ReadFeedOptions(folder.TextOf("x.ini"));
        ASSERT_TRUE(read.has_value());
        EXPECT_EQ(read->port, each.port) << each.keys;
        EXPECT_EQ(read->syncEachCommit, each.sync) << each.keys;
        EXPECT_EQ(read->keepDays, each.keepDays) << each.keys;
        EXPECT_EQ(read->keepBytes, each.keepBytes) << each.keys;
        EXPECT_EQ(read->queueBytes, each.queueBytes) << each.keys;
        EXPECT_EQ(read->folder, each.folder) << each.keys;
        EXPECT_EQ(std::ssize(log.Lines()), each.errors) << each.keys;
    }
}

// Reports and fills of platforms that tell pages and of those whose lists are walked.
TEST(ReportWalk, TellsWhatIsPublished) {
    LogKeeper log;
    ScriptedTradeApi api;
    api.queryReport = [](std::int32_t kind, const Text& id, ProbeItem& item) {
        item.texts[5] = item.texts[6] = id; // where reports and fills have their identifiers
        item.ints[kListCount] = item.ints[kFillCount] = 2;
        return kind == kOneReport && id.ends_with(L"#1") ? 0 : 1;
    };
    std::vector<std::string> told;
    const auto take = [&](const std::string& json) { told.push_back(json.substr(0, 60)); };
    EXPECT_FALSE(WalkReports(api, take, {})); // one was refused
    EXPECT_EQ(told.size(), 2U + 2U);
    EXPECT_TRUE(told[0].starts_with(R"({"DataType":"EXECUTIONREPORT","Report":{"ReportID":"4#0")"));
    EXPECT_TRUE(told[2].starts_with(R"({"DataType":"FILLEDREPORT","Report":{"ReportID":"3#0")"));
    told.clear();
    std::stop_source stop;
    stop.request_stop();
    EXPECT_FALSE(WalkReports(api, take, stop.get_token())) << "it is not whole";
    for (const ItemClass lacking : {ItemClass::ReportList, ItemClass::ExecutionReport}) {
        api.uncreatable = {lacking};
        EXPECT_FALSE(WalkReports(api, take, {}));
    }
    EXPECT_TRUE(told.empty());
}

} // namespace
} // namespace halvane
