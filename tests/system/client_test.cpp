// The client library against the real library.

#include "tests/system/support/SystemTest.h"
#include "tools/common/WideText.h"
#include "vdipc/client/Client.h"

namespace vdipc::test {
namespace {

using client::ConnectResult;

class ClientLibrarySystem : public SystemTest {
protected:
    /// Takes what comes until it is of this type, and gives it.
    template <typename Type>
    static std::optional<Type> Await(client::Client& client) {
        while (const std::optional<client::Incoming> next = client.Next(kPatience)) {
            if (const Type* const event = next->As<Type>()) {
                return *event;
            }
        }
        return {};
    }

    template <typename Change>
    static bool AwaitChange(client::Client& client) {
        while (const std::optional<client::Incoming> next = client.Next(kPatience)) {
            if (std::holds_alternative<Change>(next->what)) {
                return true;
            }
        }
        return false;
    }
};

TEST_F(ClientLibrarySystem, FirstExampleOfTheReadme_IsALesson) {
    Start();
    std::mutex mutex;
    std::vector<std::string> lines;
    const auto said = [&](std::size_t count) {
        const std::lock_guard lock(mutex);
        return lines.size() >= count;
    };
    tools::ProcessOptions options;
    options.executable = tools::OwnDirectory() + L"client_example.exe";
    options.on_output = [&](const std::string& line) {
        const std::lock_guard lock(mutex);
        lines.push_back(line);
    };
    tools::Process example(options);
    ASSERT_TRUE(WaitFor([&] { return said(1); }));
    Do(R"({"do":"connect","kind":"RV2","from":7,"to":7})");
    ASSERT_TRUE(WaitForCalls("StartQuestion", 1));
    Do(R"({"do":"connect","kind":"RV2","from":8,"to":8})");
    ASSERT_TRUE(WaitFor([&] { return said(3); }));
    Do(R"({"do":"key","kind":"RV2","keypad":7,"key":"C"})");
    ASSERT_TRUE(example.Wait(60000));
    EXPECT_EQ(example.ExitCode(), 0U);
    const std::vector<std::string> expected{"receivers ready: yes", "keypad 7 is there", "keypad 8 is there",
                                            "keypad 7 answers C"};
    EXPECT_EQ(lines, expected);
    // The last command is written before the program ends.
    EXPECT_TRUE(WaitForCalls("SendContext", 1, R"({"row1":{"text":"Thank you"}})"));
    EXPECT_EQ(Calls("StartQuestion").size(), 1U) << "a keypad that comes later is no reason to ask again";
}

TEST_F(ClientLibrarySystem, TypedCommandsAndEvents_MakeALesson) {
    Start();
    client::Client teacher;
    ASSERT_EQ(teacher.Connect(), ConnectResult::Connected) << teacher.LastError();
    ASSERT_EQ(teacher.Send(client::Init{.receivers = client::ReceiverChoice::Audio}),
              client::SendResult::Queued);
    const auto inited = Await<client::DeviceInited>(teacher);
    ASSERT_TRUE(inited);
    EXPECT_TRUE(inited->ready);
    EXPECT_EQ(inited->available, std::vector{client::ReceiverKind::RV2});
    Do(R"({"do":"connect","kind":"RV2","from":3,"to":3})");
    const auto keypad = Await<client::Activated>(teacher);
    ASSERT_TRUE(keypad);
    EXPECT_EQ(keypad->device, 3U);
    teacher.Send(
        client::Ask{.type = client::QuestionType::MultipleChoice, .row1 = "2 + 2", .custom = "typed"});
    ASSERT_TRUE(WaitForCalls("StartQuestion", 1));
    for (const char* const key : {"C", "A", "T"}) {
        Do(R"({"do":"key","kind":"RV2","keypad":3,"key":")" + std::string(key) + "\"}");
    }
    const auto answer = Await<client::KeyPressed>(teacher);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->device, 3U);
    EXPECT_EQ(answer->key, "CA");
    EXPECT_EQ(answer->custom, "typed");
    EXPECT_TRUE(teacher.Ping(kPatience));
}

TEST_F(ClientLibrarySystem, SecondClient_IsRefusedAndComesInAfterTheFirst) {
    Start();
    client::Client first;
    ASSERT_EQ(first.Connect(), ConnectResult::Connected);
    client::ClientOptions options;
    options.connect_timeout = std::chrono::milliseconds(300);
    client::Client hasty(options);
    EXPECT_EQ(hasty.Connect(), ConnectResult::AnotherClient);
    client::Client patient;
    std::thread waiting([&patient] { EXPECT_EQ(patient.Connect(), ConnectResult::Connected); });
    first.Close();
    waiting.join();
    EXPECT_TRUE(patient.Ping(kPatience));
}

TEST_F(ClientLibrarySystem, HostThatDiesAndStartsAgain_IsFoundAgain) {
    Start();
    client::Client teacher;
    ASSERT_EQ(teacher.Connect(), ConnectResult::Connected);
    TheHost().TheProcess().Kill();
    EXPECT_TRUE(AwaitChange<client::ConnectionLost>(teacher));
    EXPECT_EQ(teacher.Send(client::Quit{}), client::SendResult::NotConnected);
    Start();
    EXPECT_TRUE(AwaitChange<client::ConnectionBack>(teacher));
    EXPECT_TRUE(teacher.Ping(kPatience));
    teacher.Close();
}

}  // namespace
}  // namespace vdipc::test
