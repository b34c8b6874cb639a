#include "access/UnreadReplies.h"

#include <gtest/gtest.h>

#include <deque>

namespace halvane {
namespace {

class UnreadTest : public testing::Test {
  protected:
    UnreadTest() {
        zmq_bind(in_.get(), "inproc://messages");
        zmq_connect(out_.get(), "inproc://messages");
    }

    // Whether there is room for a reply of that size; it stays unread.
    bool Admits(const char* client, std::size_t size) {
        const std::string content(size, 'x');
        zmq_send(in_.get(), content.data(), content.size(), 0);
        ZmqMessage message;
        EXPECT_TRUE(message.Receive(out_.get()));
        const bool admitted = unread_.Admit(client, message);
        if (admitted) kept_.push_back(std::move(message));
        return admitted;
    }
    int AdmittedOf(const char* client, std::size_t size) {
        int number = 0;
        while (Admits(client, size))
            ++number;
        return number;
    }

    UnreadReplies unread_{
        L"[Test]",
        {.eachClient = 400'000, .allClients = 2'000'000, .shares = 4, .alwaysTaken = 20'000}};
    ZmqContext context_ = MakeZmqContext();
    ZmqSocket in_{zmq_socket(context_.get(), ZMQ_PAIR)};
    ZmqSocket out_{zmq_socket(context_.get(), ZMQ_PAIR)};
    std::deque<ZmqMessage> kept_;
};

TEST_F(UnreadTest, OneClientHasItsOwnBound) {
    EXPECT_EQ(AdmittedOf("a", 9'744), 40); // 256 bytes more are counted for each
    kept_.pop_front();
    EXPECT_EQ(AdmittedOf("a", 9'744), 1);
    EXPECT_EQ(unread_.Lost(), 2u);
}

TEST_F(UnreadTest, WhoReadsFindsRoomWhateverOthersLeave) {
    for (const char* stranger : {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k", "l"})
        EXPECT_GT(AdmittedOf(stranger, 9'744), 1) << stranger;
    EXPECT_TRUE(Admits("reader", 10'000));
    EXPECT_TRUE(Admits("reader", 9'000)) << "while the first is unread";
    EXPECT_TRUE(Admits("list", 50'000'000)) << "one of any size while there is room";
    EXPECT_TRUE(Admits("another", 19'000)) << "a page when there is none left";
    EXPECT_FALSE(Admits("another", 19'000));
}

// One with an unread reply is not among those that are forgotten.
TEST_F(UnreadTest, ManyClientsAreForgottenButNotWhatWaits) {
    ASSERT_TRUE(Admits("waits", 19'000));
    for (int n = 0; n < 3000; ++n) {
        ASSERT_TRUE(Admits(std::to_string(n).c_str(), 10));
        kept_.pop_back();
    }
    EXPECT_FALSE(Admits("waits", 399'000));
    kept_.clear();
    EXPECT_TRUE(Admits("waits", 399'000));
}

} // namespace
} // namespace halvane
