// The client against a server that does what a test says.

#include "unit/clients/support/Server.h"

#include "vdipc/client/Client.h"

#include <atomic>
#include <thread>

#include <gtest/gtest.h>

namespace vdipc::client {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using test::kSoon;
using test::Server;

const std::string kPingReply = FrameBytes({8, 202, {}});

std::string Activation(int device) {
    return JsonFrameBytes(R"({"event":"activated","id":"7c9e6679-7425-40de-944b-e07fc1f90e0e","device":")" +
                          std::to_string(device) + "\"}");
}

ClientOptions OptionsFor(const Server& server) {
    ClientOptions options;
    options.pipe_name = server.Name();
    options.reconnect_pause = milliseconds(10);
    return options;
}

/// A client and a server that have met.
class ClientTest : public testing::Test {
protected:
    void Meet(ClientOptions options) {
        options.pipe_name = server_.Name();
        client_ = std::make_unique<Client>(std::move(options));
        server_.Listen();
        std::thread greeter([this] { EXPECT_TRUE(server_.Greet()); });
        const ConnectResult result = client_->Connect();
        greeter.join();
        ASSERT_EQ(result, ConnectResult::Connected) << client_->LastError();
    }
    void Meet() { Meet(OptionsFor(server_)); }

    template <typename Type>
    bool NextIs() {
        const std::optional<Incoming> next = client_->Next(kSoon);
        return next && std::holds_alternative<Type>(next->what);
    }

    Server server_;
    std::unique_ptr<Client> client_;
};

TEST_F(ClientTest, ConnectWhereNobodyServes_SaysSoAfterTheTime) {
    ClientOptions options = OptionsFor(server_);
    options.connect_timeout = milliseconds(150);
    Client client(options);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(client.Connect(), ConnectResult::NobodyServes);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, milliseconds(150));
    EXPECT_FALSE(client.IsConnected());
    EXPECT_EQ(client.Send(Init{}), SendResult::NotConnected);
    EXPECT_FALSE(client.Ping(milliseconds(10)));
    EXPECT_FALSE(client.Next());
}

TEST_F(ClientTest, ConnectWhileAnotherIsServed_SaysSo) {
    Meet();
    ClientOptions options = OptionsFor(server_);
    options.connect_timeout = milliseconds(150);
    Client second(options);
    EXPECT_EQ(second.Connect(), ConnectResult::AnotherClient);
    EXPECT_TRUE(client_->IsConnected());
}

TEST_F(ClientTest, ConnectToAPipeThatComesLater_Connects) {
    Client client(OptionsFor(server_));
    std::thread later([this] {
        server_.Listen();
        EXPECT_TRUE(server_.Greet());
    });
    EXPECT_EQ(client.Connect(), ConnectResult::Connected);
    later.join();
}

TEST_F(ClientTest, PipeThatNobodyWaitsOn_IsConnectedButNotServed) {
    server_.Make();
    ClientOptions options = OptionsFor(server_);
    options.ping_timeout = milliseconds(200);
    Client client(options);
    EXPECT_EQ(client.Connect(), ConnectResult::NotServed);
    EXPECT_FALSE(client.IsConnected());
    EXPECT_EQ(Describe(ConnectResult::NotServed),
              "connected, but not served: the host must be started again");
}

TEST_F(ClientTest, EventsAheadOfTheReply_ShowThatSomebodyServes) {
    Client client(OptionsFor(server_));
    server_.Listen();
    std::thread server([this] {
        EXPECT_TRUE(server_.WaitForClient());
        EXPECT_EQ(server_.TakeWrite(), PingBytes());
        server_.Write(Activation(1) + Activation(2));
    });
    EXPECT_EQ(client.Connect(), ConnectResult::Connected);
    server.join();
    for (std::uint32_t device = 1; device <= 2; ++device) {
        const std::optional<Incoming> next = client.Next(kSoon);
        ASSERT_TRUE(next && next->As<Activated>() != nullptr);
        EXPECT_EQ(next->As<Activated>()->device, device);
    }
}

TEST_F(ClientTest, ServerThatHangsUpAtOnce_IsTriedAgain) {
    Client client(OptionsFor(server_));
    server_.Listen();
    std::thread server([this] {
        EXPECT_TRUE(server_.WaitForClient());
        server_.HangUp();
        server_.Listen();
        EXPECT_TRUE(server_.Greet());
    });
    EXPECT_EQ(client.Connect(), ConnectResult::Connected);
    server.join();
}

TEST_F(ClientTest, CloseDuringConnect_Cancels) {
    Client client(OptionsFor(server_));
    std::atomic<bool> done{false};
    std::thread closer([&client, &done] {
        while (!done) {
            client.Close();
        }
    });
    EXPECT_EQ(client.Connect(), ConnectResult::Cancelled);
    done = true;
    closer.join();
}

TEST_F(ClientTest, EachFrame_IsOneWrite) {
    Meet();
    const std::string large = R"({"command":"text","device":"0","row1":")" + std::string(100000, 'x') + "\"}";
    ASSERT_EQ(client_->Send(Init{.receivers = ReceiverChoice::Audio}), SendResult::Queued);
    ASSERT_EQ(client_->SendJson(large), SendResult::Queued);
    ASSERT_EQ(client_->SendBytes("any bytes"), SendResult::Queued);
    EXPECT_EQ(server_.TakeWrite(), JsonFrameBytes(R"({"command":"init","preferred-device-type":"audio"})"));
    EXPECT_EQ(server_.TakeWrite(), JsonFrameBytes(large));
    EXPECT_EQ(server_.TakeWrite(), "any bytes");
    EXPECT_TRUE(client_->Flush(kSoon));
    EXPECT_EQ(client_->Unsent(), 0U);
}

TEST_F(ClientTest, ServerThatDoesNotRead_FillsTheQueueAndNothingElse) {
    ClientOptions options;
    options.send_limit = 20000;
    Meet(options);
    const std::string command = R"({"command":"text","device":"0","row1":")" + std::string(6000, 'x') + "\"}";
    SendResult result = SendResult::Queued;
    std::size_t queued = 0;
    while (result == SendResult::Queued && queued < 100) {
        result = client_->SendJson(command);
        queued += result == SendResult::Queued ? 1 : 0;
    }
    EXPECT_EQ(result, SendResult::Full);
    EXPECT_GT(client_->Unsent(), 10000U);
    EXPECT_LE(client_->Unsent(), options.send_limit);
    EXPECT_FALSE(client_->Flush(milliseconds(20)));
    // Meanwhile the other direction goes on.
    server_.Write(Activation(1));
    EXPECT_TRUE(NextIs<Event>());
    for (std::size_t i = 0; i < queued; ++i) {
        ASSERT_EQ(server_.TakeWrite(), JsonFrameBytes(command)) << i;
    }
    EXPECT_TRUE(client_->Flush(kSoon));
    EXPECT_EQ(client_->SendJson(command), SendResult::Queued);
}

TEST_F(ClientTest, FlushBehindALostConnection_TellsWhetherEverythingWasWritten) {
    Meet();
    EXPECT_EQ(client_->Send(Quit{}), SendResult::Queued);
    EXPECT_EQ(server_.TakeWrite(), JsonFrameBytes(R"({"command":"quit"})"));
    server_.HangUp();
    EXPECT_TRUE(NextIs<ConnectionLost>());
    EXPECT_TRUE(client_->Flush(kSoon)) << "the host that was told to end has ended";

    server_.Listen();
    ASSERT_TRUE(server_.Greet());
    EXPECT_TRUE(NextIs<ConnectionBack>());
    const std::string command = R"({"command":"text","device":"0","row1":")" + std::string(6000, 'x') + "\"}";
    while (client_->SendJson(command) == SendResult::Queued && client_->Unsent() < 100000) {
        // until the server's buffer is full
    }
    server_.HangUp();
    EXPECT_FALSE(client_->Flush(kSoon));
    EXPECT_TRUE(NextIs<ConnectionLost>());
    EXPECT_FALSE(client_->Flush(kSoon)) << "what was lost isn't written later";

    server_.Listen();
    ASSERT_TRUE(server_.Greet());
    EXPECT_TRUE(NextIs<ConnectionBack>());
    EXPECT_FALSE(client_->Flush(kSoon));
    EXPECT_EQ(client_->Send(Quit{}), SendResult::Queued);
    EXPECT_TRUE(client_->Flush(kSoon));
}

TEST_F(ClientTest, CommandThatTheProtocolHasNoWordsFor_IsInvalidAndNotSent) {
    Meet();
    EXPECT_EQ(client_->Send(Text{.row1 = "\xFF"}), SendResult::Invalid);
    EXPECT_EQ(client_->Send(Quit{}), SendResult::Queued);
    EXPECT_EQ(server_.TakeWrite(), JsonFrameBytes(R"({"command":"quit"})"));
}

TEST_F(ClientTest, ApplicationThatTakesNothing_DoesNotStopTheReader) {
    Meet();
    std::string bytes;
    for (int i = 1; i <= 10000; ++i) {
        bytes += Activation(i);
    }
    // In pieces that cut frames anywhere.
    for (std::size_t at = 0; at < bytes.size(); at += 3001) {
        server_.Write(bytes.substr(at, 3001));
    }
    const auto deadline = std::chrono::steady_clock::now() + kSoon;
    while (client_->Waiting() < 10000 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
    }
    ASSERT_EQ(client_->Waiting(), 10000U);
    for (std::uint32_t i = 1; i <= 10000; ++i) {
        const std::optional<Incoming> next = client_->Next(kSoon);
        ASSERT_TRUE(next && next->As<Activated>() != nullptr) << i;
        ASSERT_EQ(next->As<Activated>()->device, i);
    }
}

TEST_F(ClientTest, LostConnection_IsToldAndMadeAnew) {
    Meet();
    server_.HangUp();
    const std::optional<Incoming> lost = client_->Next(kSoon);
    ASSERT_TRUE(lost);
    ASSERT_TRUE(std::holds_alternative<ConnectionLost>(lost->what));
    EXPECT_FALSE(std::get<ConnectionLost>(lost->what).reason.empty());
    EXPECT_EQ(client_->Send(Quit{}), SendResult::NotConnected);
    server_.Listen();
    ASSERT_TRUE(server_.Greet());
    EXPECT_TRUE(NextIs<ConnectionBack>());
    EXPECT_EQ(client_->Send(Quit{}), SendResult::Queued);
    EXPECT_EQ(server_.TakeWrite(), JsonFrameBytes(R"({"command":"quit"})"));
}

TEST_F(ClientTest, LostConnectionWithoutReconnecting_IsTheLastThing) {
    ClientOptions options;
    options.reconnect = false;
    Meet(options);
    server_.HangUp();
    EXPECT_TRUE(NextIs<ConnectionLost>());
    EXPECT_FALSE(client_->Next());
}

TEST_F(ClientTest, PipeThatNobodyServesAnyMore_IsGivenUp) {
    ClientOptions options;
    options.ping_timeout = milliseconds(3000);  // the first connection has to be served within it
    options.reconnect_pause = milliseconds(10);
    Meet(options);
    server_.HangUp();
    server_.Make();
    EXPECT_TRUE(NextIs<ConnectionLost>());
    const std::optional<Incoming> last = client_->Next(kSoon);
    ASSERT_TRUE(last);
    ASSERT_TRUE(std::holds_alternative<ConnectionGivenUp>(last->what));
    EXPECT_EQ(std::get<ConnectionGivenUp>(last->what).result, ConnectResult::NotServed);
    EXPECT_FALSE(client_->Next());
}

TEST_F(ClientTest, FramesThatWereNotWritten_AreCounted) {
    ClientOptions options;
    options.reconnect = false;
    Meet(options);
    const std::string command = R"({"command":"text","device":"0","row1":")" + std::string(6000, 'x') + "\"}";
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(client_->SendJson(command), SendResult::Queued);
    }
    // Bytes that are no frame: the client can't go on, and hangs up itself.
    server_.Write(std::string("\xE2\x07\0\0\xFF\xFF\xFF\xFF\xE2\x07\0\0", 12));
    const std::optional<Incoming> lost = client_->Next(kSoon);
    ASSERT_TRUE(lost);
    ASSERT_TRUE(std::holds_alternative<ConnectionLost>(lost->what));
    EXPECT_GE(std::get<ConnectionLost>(lost->what).unsent, 1U);
    EXPECT_FALSE(client_->IsConnected());
}

TEST_F(ClientTest, Ping_WaitsForItsOwnReply) {
    Meet();
    std::thread server([this] {
        EXPECT_EQ(server_.TakeWrite(), PingBytes());
        server_.Write(Activation(7) + kPingReply);
    });
    EXPECT_TRUE(client_->Ping(kSoon));
    server.join();
    EXPECT_EQ(client_->Waiting(), 1U);
    EXPECT_FALSE(client_->Ping(milliseconds(50)));
}

TEST_F(ClientTest, ReplyThatNoPingAskedFor_IsPassedOn) {
    Meet();
    server_.Write(kPingReply);
    const std::optional<Incoming> next = client_->Next(kSoon);
    ASSERT_TRUE(next && next->As<UnknownEvent>() != nullptr);
    EXPECT_TRUE(IsPingReply(next->frame));
}

TEST_F(ClientTest, FrameOfAnUnknownKind_IsPassedOnAsItIs) {
    Meet();
    server_.Write(FrameBytes({77, 5, "what"}) + JsonFrameBytes(R"({"event":"of tomorrow"})"));
    std::optional<Incoming> next = client_->Next(kSoon);
    ASSERT_TRUE(next && next->As<UnknownEvent>() != nullptr);
    EXPECT_EQ(next->frame.type, 77);
    EXPECT_EQ(next->frame.payload, "what");
    next = client_->Next(kSoon);
    ASSERT_TRUE(next && next->As<UnknownEvent>() != nullptr);
    EXPECT_EQ(next->As<UnknownEvent>()->why, "no event is named \"of tomorrow\"");
}

TEST_F(ClientTest, Close_FreesWhoeverWaits) {
    Meet();
    std::thread waiting([this] { EXPECT_FALSE(client_->Next()); });
    std::thread pinging([this] { EXPECT_FALSE(client_->Ping(kSoon)); });
    EXPECT_EQ(server_.TakeWrite(), PingBytes());
    client_->Close();
    waiting.join();
    pinging.join();
    EXPECT_EQ(client_->Send(Quit{}), SendResult::NotConnected);
}

}  // namespace
}  // namespace vdipc::client
