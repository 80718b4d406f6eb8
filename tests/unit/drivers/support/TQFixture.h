// What the tests of the USB receivers' object share: the library's two objects as mocks, the handler as a recorder, and
// one journal in which all three write, so that a test sees the order of what happened between them.
#pragma once

#include "drivers/VoteDeckObject_TQ.h"
#include "support/LogEntries.h"
#include "unit/drivers/support/ChosenChannel.h"
#include "unit/drivers/support/RV2Fixture.h"

#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>

struct CallBackInfo {};

namespace vdipc {

/// The private operations and members that tests call and look at.
struct VoteDeckObject_TQAccess {
    static zq::IVoteDeck*& Deck(VoteDeckObject_TQ& object) { return object.vote_deck_; }
    static IVoteDeckControl*& Control(VoteDeckObject_TQ& object) { return object.control_; }
    static bool IsInitialized(VoteDeckObject_TQ& object) { return object.initialized_; }
    static bool& AllGeneral(VoteDeckObject_TQ& object) { return object.all_general_for_lw_; }
    static void CopyQuestion(VoteDeckObject_TQ& object, const std::string& device) {
        object.CopyQuestionFromAllDevices(device);
    }
    static void ReadDeviceInfo(VoteDeckObject_TQ& object) { object.ReadDeviceInfo(); }
    static void SynchronizeChannel(VoteDeckObject_TQ& object) { object.SynchronizeChannelForTQ2(); }
    static std::int32_t ReadChannel(VoteDeckObject_TQ& object) { return object.ReadChannelNumberFromReg(); }
    static void WriteChannel(VoteDeckObject_TQ& object, std::int32_t channel) {
        object.WriteChannelNumberToReg(channel);
    }
};

namespace test {

using Journal = std::vector<std::string>;

// Without expectations they note each call in the journal. Their bodies are elsewhere, since they compile slowly.

class MockVoteDeck : public zq::IVoteDeck {
public:
    explicit MockVoteDeck(Journal& journal);
    virtual ~MockVoteDeck();

    bool connected = true;

    MOCK_METHOD(void*, DeletingDestructor, (unsigned int flags), (override));
    MOCK_METHOD(void, SetListener, (IVoteDeckEventOld * listener), (override));
    MOCK_METHOD(void, SendQuestion, (VoteDeckCallback callback, EnumQuestionType type, std::uint32_t device),
                (override));
    MOCK_METHOD(void, SetContext,
                (std::int32_t zero1, std::uint32_t device, const char* row1, const char* row2,
                 const char* row3, std::int32_t zero2),
                (override));
    MOCK_METHOD(bool, IsConnected, (), (override));
    MOCK_METHOD(void, Activate,
                (std::uint32_t device, std::uint8_t beep_times, std::uint8_t beep_unit,
                 std::uint8_t beep_interval, std::uint8_t motor_times, std::uint8_t motor_unit,
                 std::uint8_t motor_interval, std::uint8_t light_times, std::uint8_t light_unit,
                 std::uint8_t light_interval, std::uint8_t light_color),
                (override));
};

class MockVoteDeckControl : public IVoteDeckControl {
public:
    explicit MockVoteDeckControl(Journal& journal);
    virtual ~MockVoteDeckControl();

    std::string info = "{}";

    MOCK_METHOD(void, Reserved0, (), (override));
    MOCK_METHOD(void, SetListener, (IInternalEventListener * listener), (override));
    MOCK_METHOD(void, DeviceArrived, (std::int32_t device_kind, const wchar_t* path), (override));
    MOCK_METHOD(void, DeviceRemoved, (std::int32_t device_kind, const wchar_t* path), (override));
    MOCK_METHOD(void, HandleIOError, (), (override));
    MOCK_METHOD(void, Reserved5, (), (override));
    MOCK_METHOD(const char*, QueryDeviceInfo, (), (override));
    MOCK_METHOD(void, Reserved7, (), (override));
    MOCK_METHOD(void, SetChannel, (VoteDeckCallback callback, std::int32_t channel), (override));
    MOCK_METHOD(void, EnableBindCard, (VoteDeckCallback callback), (override));
};

/// The handler of HandlerRecorder, whose notes go into the journal.
class JournalHandler : public HandlerRecorder {
public:
    explicit JournalHandler(Journal& journal) : journal_(journal) {}

    void SendIPCMesage(const std::string& text) override {
        HandlerRecorder::SendIPCMesage(text);
        Move();
    }
    std::int32_t RequestRecognize(const RecognizeRequest& request) override {
        recognized.assign(request.audio_data, request.audio_data + request.audio_size);
        request_id = request.request_id;
        HandlerRecorder::RequestRecognize(request);
        Move();
        return 0;
    }
    void OnActiveDevicesChanged() override {
        HandlerRecorder::OnActiveDevicesChanged();
        Move();
    }
    void OnVoteDeckStatusChanged(DeviceType device_type, std::int32_t status) override {
        HandlerRecorder::OnVoteDeckStatusChanged(device_type, status);
        Move();
    }

    std::vector<std::uint8_t> recognized;
    std::string request_id;

private:
    void Move() {
        for (std::string& note : TakeNotes()) {
            journal_.push_back(std::move(note));
        }
    }

    Journal& journal_;
};

/// The object with what it has from its base in the open.
class OpenTQ : public VoteDeckObject_TQ {
public:
    using VoteDeckObject_TQ::VoteDeckObject_TQ;
    using VoteDeckObjectBase::CreateTextRecordForDevice;
    using VoteDeckObjectBase::device_info_;
    using VoteDeckObjectBase::dropped_device_set_;
    using VoteDeckObjectBase::last_answer_map_;
    using VoteDeckObjectBase::last_question_map_;
    using VoteDeckObjectBase::status_;
    using VoteDeckObjectBase::text_record_map_;
};

class TQTest : public testing::Test {
protected:
    using Access = VoteDeckObject_TQAccess;
    static constexpr DeviceType kKinds[] = {DeviceType::TQ1, DeviceType::TQ2, DeviceType::RV1,
                                            DeviceType::LW};

    TQTest() {
        ResetClosedDoubles();
        ClosedFactories().create_vdo = [this](const std::string&, zq::IVoteDeck** deck,
                                              IVoteDeckControl** control) {
            *deck = &deck_;
            *control = &control_;
        };
    }
    ~TQTest() override {
        object_.reset();
        ResetClosedDoubles();
    }

    /// A new object of this kind, with nothing noted yet. The receiver is attached, and the object not initialised.
    void Make(DeviceType kind) {
        object_.reset();
        handler_.DropTasks();
        deck_.connected = true;
        control_.info = "{}";
        object_ = std::make_unique<OpenTQ>(kind);
        object_->SetEventListener(&handler_);
        Forget();
    }
    void MakeInitialized(DeviceType kind) {
        Make(kind);
        object_->Initialize();
        Forget();
    }
    void Forget() {
        journal_.clear();
        log_.Clear();
        ClosedFactories().calls.clear();
    }
    /// Runs the body for each kind on a new object; the kinds named come with true.
    void ForEachKind(std::initializer_list<DeviceType> kinds_that_do,
                     const std::function<void(DeviceType kind, bool does)>& body) {
        for (const DeviceType kind : kKinds) {
            SCOPED_TRACE(kDeviceTypes.names.at(kind));
            Make(kind);
            body(kind, std::find(kinds_that_do.begin(), kinds_that_do.end(), kind) != kinds_that_do.end());
        }
    }
    /// What was noted since the last call.
    Journal Take() { return std::exchange(journal_, {}); }
    /// Runs the tasks, and gives what was noted.
    Journal Run() {
        handler_.RunTasks();
        return Take();
    }

    void AddKeypad(const std::string& id, const std::string& row1 = "", const std::string& row2 = "",
                   const std::string& row3 = "") {
        object_->CreateTextRecordForDevice(id);
        CommandText& record = object_->text_record_map_[id];
        record.row1 = row1;
        record.row2 = row2;
        record.row3 = row3;
    }
    std::string RowsOf(const std::string& id) {
        const CommandText& record = object_->text_record_map_.at(id);
        return record.row1 + "|" + record.row2 + "|" + record.row3;
    }
    static CommandAsk Ask(const std::string& device, QuestionType type, const std::string& custom = "c") {
        CommandAsk ask;
        ask.device = device;
        ask.type = type;
        ask.custom = custom;
        return ask;
    }
    void Drop(const std::string& device) {
        CommandDrop drop;
        drop.device = device;
        object_->HandleDrop(drop);
    }
    void Key(std::uint32_t device, std::int32_t key, std::uint32_t rssi = 0) {
        object_->OnKeyEvent(device, key, 1, 1, 0, 0, rssi);
    }
    /// The text was logged once, at this level; by this operation, where one is named.
    void ExpectLine(LogLevel level, const std::string& text, const std::string& operation = {}) {
        const auto lines = log_.Find(text);
        ASSERT_EQ(lines.size(), 1u) << text << "\n" << log_.Text();
        EXPECT_EQ(lines[0].level, level) << text;
        if (!operation.empty()) {
            EXPECT_EQ(lines[0].function, "VoteDeckObject_TQ::" + operation) << text;
        }
    }
    /// As ExpectLine, for the task that this callback posts.
    void ExpectTaskLine(LogLevel level, const std::string& text, const std::string& callback) {
        ExpectLine(level, text, callback + "::<lambda>::operator ()");
    }
    /// The call logs the operation's entry.
    void ExpectEntry(const std::string& operation, const std::function<void()>& call) {
        test::ExpectEntry(log_, "VoteDeckObject_TQ::" + operation, "", call);
    }

    LogCapture log_;
    ChosenChannel channel_;
    Journal journal_;
    testing::NiceMock<MockVoteDeck> deck_{journal_};
    testing::NiceMock<MockVoteDeckControl> control_{journal_};
    JournalHandler handler_{journal_};
    std::unique_ptr<OpenTQ> object_;
};

}  // namespace test
}  // namespace vdipc
