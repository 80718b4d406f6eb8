// The binary tables of the closed device libraries: each operation of each interface is called by its name on a
// hand-made table, and by its place on an implementation of ours.
#include "drivers/closed/SocketVoteDeck.h"
#include "drivers/closed/VoteDeck.h"
#include "unit/drivers/support/Slots.h"

#include <gmock/gmock.h>

namespace {

using namespace vdipc::test;
using testing::ElementsAreArray;

template <typename T>
T* Pointer(std::uintptr_t value) {
    return reinterpret_cast<T*>(value);
}

const char* Text(std::uintptr_t value) {
    return Pointer<const char>(value);
}

/// An interface is rarely the first base of the object that implements it.
struct FirstBase {
    virtual ~FirstBase() = default;
    std::uint64_t padding = 0;
};

template <typename Interface>
void* AsTable(Interface* object) {
    return object;
}

// ---- IKeypadAudio

namespace audio {
using Reserved0 = SlotRow<0, void>;
using Reserved1 = SlotRow<1, void>;
using IsValid = SlotRow<2, bool>;
using Reserved3 = SlotRow<3, void>;
using GetData = SlotRow<4, const std::uint8_t*>;
using GetSize = SlotRow<5, std::int32_t>;
using Release = SlotRow<6, void>;
using Object = HandMadeObject<Reserved0, Reserved1, IsValid, Reserved3, GetData, GetSize, Release>;
}  // namespace audio

const std::vector<SlotCall> kAudioCalls = {{0, {}}, {1, {}}, {2, {}}, {3, {}}, {4, {}}, {5, {}}, {6, {}}};

VDIPC_HAND_MADE_OBJECT void CallAudio(IKeypadAudio* audio) {
    audio->Reserved0();
    audio->Reserved1();
    EXPECT_TRUE(audio->IsValid());
    audio->Reserved3();
    EXPECT_EQ(audio->GetData(), SlotAnswer<const std::uint8_t*>());
    EXPECT_EQ(audio->GetSize(), -77);
    audio->Release();
}

class Audio : public FirstBase, public IKeypadAudio {
public:
    void Reserved0() override { NoteSlot(0); }
    void Reserved1() override { NoteSlot(1); }
    bool IsValid() override {
        NoteSlot(2);
        return true;
    }
    void Reserved3() override { NoteSlot(3); }
    const std::uint8_t* GetData() override {
        NoteSlot(4);
        return SlotAnswer<const std::uint8_t*>();
    }
    std::int32_t GetSize() override {
        NoteSlot(5);
        return -77;
    }
    void Release() override { NoteSlot(6); }
};

TEST(ClosedInterfaces, KeypadAudio_CalledByName_GoesThroughItsSlots) {
    audio::Object object;
    CallAudio(object.As<IKeypadAudio>());
    EXPECT_THAT(TakeSlotCalls(), ElementsAreArray(kAudioCalls));
}

TEST(ClosedInterfaces, KeypadAudio_CalledBySlot_ReachesTheOperation) {
    Audio implementation;
    void* const object = AsTable<IKeypadAudio>(&implementation);
    audio::Reserved0::Call(object);
    audio::Reserved1::Call(object);
    EXPECT_TRUE(audio::IsValid::Call(object));
    audio::Reserved3::Call(object);
    EXPECT_EQ(audio::GetData::Call(object), SlotAnswer<const std::uint8_t*>());
    EXPECT_EQ(audio::GetSize::Call(object), -77);
    audio::Release::Call(object);
    EXPECT_THAT(TakeSlotCalls(), ElementsAreArray(kAudioCalls));
}

// ---- IVoteDeckEvent

namespace station_event {
using Destructor = SlotRow<0, void*, unsigned int>;
using OnKeypadConnect = SlotRow<1, void, std::uintptr_t, std::uint16_t, bool>;
using OnKeypadEvent = SlotRow<2, void, std::uint16_t, std::int32_t>;
using OnKeypadAudioEvent = SlotRow<3, void, std::uint16_t, IKeypadAudio*, bool>;
using OnKeypadStateEvent = SlotRow<4, void>;
using OnKeypadLowBatteryEvent = SlotRow<5, void>;
using OnMCUUpdateProgress = SlotRow<6, void>;
using OnRepeatedConnectionKeypad = SlotRow<7, void>;
using OnLogEvent = SlotRow<8, void>;
using Object =
    HandMadeObject<Destructor, OnKeypadConnect, OnKeypadEvent, OnKeypadAudioEvent, OnKeypadStateEvent,
                   OnKeypadLowBatteryEvent, OnMCUUpdateProgress, OnRepeatedConnectionKeypad, OnLogEvent>;
}  // namespace station_event

const std::vector<SlotCall> kStationEventCalls = {{0, {1}},         {1, {0x123456789A, 0xFFFE, 1}},
                                                  {2, {0xFFFD, 9}}, {3, {0xFFFC, 0x500, 1}},
                                                  {4, {}},          {5, {}},
                                                  {6, {}},          {7, {}},
                                                  {8, {}}};

VDIPC_HAND_MADE_OBJECT void CallStationEvent(IVoteDeckEvent* event) {
    EXPECT_EQ(event->DeletingDestructor(1), SlotAnswer<void*>());
    event->OnKeypadConnect(0x123456789A, 0xFFFE, true);
    event->OnKeypadEvent(0xFFFD, 9);
    event->OnKeypadAudioEvent(0xFFFC, Pointer<IKeypadAudio>(0x500), true);
    event->OnKeypadStateEvent();
    event->OnKeypadLowBatteryEvent();
    event->OnMCUUpdateProgress();
    event->OnRepeatedConnectionKeypad();
    event->OnLogEvent();
}

class StationEvent : public FirstBase, public IVoteDeckEvent {
public:
    void* DeletingDestructor(unsigned int flags) override {
        NoteSlot(0, flags);
        return SlotAnswer<void*>();
    }
    void OnKeypadConnect(std::uintptr_t unused, std::uint16_t device, bool connected) override {
        NoteSlot(1, unused, device, connected);
    }
    void OnKeypadEvent(std::uint16_t device, std::int32_t key) override { NoteSlot(2, device, key); }
    void OnKeypadAudioEvent(std::uint16_t device, IKeypadAudio* recording, bool error) override {
        NoteSlot(3, device, recording, error);
    }
    void OnKeypadStateEvent() override { NoteSlot(4); }
    void OnKeypadLowBatteryEvent() override { NoteSlot(5); }
    void OnMCUUpdateProgress() override { NoteSlot(6); }
    void OnRepeatedConnectionKeypad() override { NoteSlot(7); }
    void OnLogEvent() override { NoteSlot(8); }
};

TEST(ClosedInterfaces, VoteDeckEvent_CalledByName_GoesThroughItsSlots) {
    station_event::Object object;
    CallStationEvent(object.As<IVoteDeckEvent>());
    EXPECT_THAT(TakeSlotCalls(), ElementsAreArray(kStationEventCalls));
}

TEST(ClosedInterfaces, VoteDeckEvent_CalledBySlot_ReachesTheOperation) {
    StationEvent implementation;
    void* const object = AsTable<IVoteDeckEvent>(&implementation);
    EXPECT_EQ(station_event::Destructor::Call(object, 1), SlotAnswer<void*>());
    station_event::OnKeypadConnect::Call(object, 0x123456789A, 0xFFFE, true);
    station_event::OnKeypadEvent::Call(object, 0xFFFD, 9);
    station_event::OnKeypadAudioEvent::Call(object, 0xFFFC, Pointer<IKeypadAudio>(0x500), true);
    station_event::OnKeypadStateEvent::Call(object);
    station_event::OnKeypadLowBatteryEvent::Call(object);
    station_event::OnMCUUpdateProgress::Call(object);
    station_event::OnRepeatedConnectionKeypad::Call(object);
    station_event::OnLogEvent::Call(object);
    EXPECT_THAT(TakeSlotCalls(), ElementsAreArray(kStationEventCalls));
}

// ---- ISocketVoteDeck

namespace station {
using Reserved0 = SlotRow<0, void>;
using SetListener = SlotRow<1, void, IVoteDeckEvent*>;
using InitSocket = SlotRow<2, std::int32_t, std::uint32_t, std::uint16_t, std::uint16_t>;
using CloseSocket = SlotRow<3, void>;
using StartSession = SlotRow<4, void>;
using Reserved5 = SlotRow<5, void>;
using StartQuestion = SlotRow<6, void, EnumQuestionType, const char*, const char*, const char*, std::int32_t,
                              bool, std::uint16_t>;
using EndQuestion = SlotRow<7, void, std::uint32_t, const char*>;
using SendContext = SlotRow<8, void, const char*, const char*, const char*, std::int32_t, std::uint16_t>;
using SendAlarm = SlotRow<9, void, std::uint32_t, std::uint16_t, std::uint16_t, std::uint16_t>;
using SendVibrate = SlotRow<10, void, std::uint32_t, std::uint16_t, std::uint16_t, std::uint16_t>;
using SendFlashing =
    SlotRow<11, void, std::uint32_t, EnumFlashingColor, std::uint16_t, std::uint16_t, std::uint16_t>;
using Reserved12 = SlotRow<12, void>;
using SetSessionEnabled = SlotRow<13, void, bool>;
using Reserved14 = SlotRow<14, void>;
using Reserved15 = SlotRow<15, void>;
using Reserved16 = SlotRow<16, void>;
using SetSessionMode = SlotRow<17, void, std::int32_t, std::int32_t>;
using Object =
    HandMadeObject<Reserved0, SetListener, InitSocket, CloseSocket, StartSession, Reserved5, StartQuestion,
                   EndQuestion, SendContext, SendAlarm, SendVibrate, SendFlashing, Reserved12,
                   SetSessionEnabled, Reserved14, Reserved15, Reserved16, SetSessionMode>;
}  // namespace station

const std::vector<SlotCall> kStationCalls = {{0, {}},
                                             {1, {0x500}},
                                             {2, {0xC0A8EA0A, 4567, 10000}},
                                             {3, {}},
                                             {4, {}},
                                             {5, {}},
                                             {6, {3, 0x601, 0x602, 0x603, 5, 1, 0xFFFF}},
                                             {7, {0xFFFFFFFF, 0x701}},
                                             {8, {0x801, 0x802, 0x803, 6, 0xFFFE}},
                                             {9, {0xFFFFFFF0, 1, 2, 3}},
                                             {10, {0xFFFFFFF1, 4, 5, 6}},
                                             {11, {0xFFFFFFF2, 7, 8, 9, 10}},
                                             {12, {}},
                                             {13, {1}},
                                             {14, {}},
                                             {15, {}},
                                             {16, {}},
                                             {17, {6, 1}}};

VDIPC_HAND_MADE_OBJECT void CallStation(ISocketVoteDeck* deck) {
    deck->Reserved0();
    deck->SetListener(Pointer<IVoteDeckEvent>(0x500));
    EXPECT_EQ(deck->InitSocket(0xC0A8EA0A, 4567, 10000), -77);
    deck->CloseSocket();
    deck->StartSession();
    deck->Reserved5();
    deck->StartQuestion(EnumQuestionType{3}, Text(0x601), Text(0x602), Text(0x603), 5, true, 0xFFFF);
    deck->EndQuestion(0xFFFFFFFF, Text(0x701));
    deck->SendContext(Text(0x801), Text(0x802), Text(0x803), 6, 0xFFFE);
    deck->SendAlarm(0xFFFFFFF0, 1, 2, 3);
    deck->SendVibrate(0xFFFFFFF1, 4, 5, 6);
    deck->SendFlashing(0xFFFFFFF2, EnumFlashingColor{7}, 8, 9, 10);
    deck->Reserved12();
    deck->SetSessionEnabled(true);
    deck->Reserved14();
    deck->Reserved15();
    deck->Reserved16();
    deck->SetSessionMode(6, 1);
}

class Station : public FirstBase, public ISocketVoteDeck {
public:
    void Reserved0() override { NoteSlot(0); }
    void SetListener(IVoteDeckEvent* listener) override { NoteSlot(1, listener); }
    std::int32_t InitSocket(std::uint32_t address, std::uint16_t port, std::uint16_t timeout) override {
        NoteSlot(2, address, port, timeout);
        return -77;
    }
    void CloseSocket() override { NoteSlot(3); }
    void StartSession() override { NoteSlot(4); }
    void Reserved5() override { NoteSlot(5); }
    void StartQuestion(EnumQuestionType type, const char* text1, const char* text2, const char* text3,
                       std::int32_t number, bool flag, std::uint16_t device) override {
        NoteSlot(6, type, text1, text2, text3, number, flag, device);
    }
    void EndQuestion(std::uint32_t device, const char* text) override { NoteSlot(7, device, text); }
    void SendContext(const char* row1, const char* row2, const char* row3, std::int32_t number,
                     std::uint16_t device) override {
        NoteSlot(8, row1, row2, row3, number, device);
    }
    void SendAlarm(std::uint32_t device, std::uint16_t duration, std::uint16_t interval,
                   std::uint16_t times) override {
        NoteSlot(9, device, duration, interval, times);
    }
    void SendVibrate(std::uint32_t device, std::uint16_t duration, std::uint16_t interval,
                     std::uint16_t times) override {
        NoteSlot(10, device, duration, interval, times);
    }
    void SendFlashing(std::uint32_t device, EnumFlashingColor color, std::uint16_t duration,
                      std::uint16_t interval, std::uint16_t times) override {
        NoteSlot(11, device, color, duration, interval, times);
    }
    void Reserved12() override { NoteSlot(12); }
    void SetSessionEnabled(bool enabled) override { NoteSlot(13, enabled); }
    void Reserved14() override { NoteSlot(14); }
    void Reserved15() override { NoteSlot(15); }
    void Reserved16() override { NoteSlot(16); }
    void SetSessionMode(std::int32_t mode, std::int32_t option) override { NoteSlot(17, mode, option); }
};

TEST(ClosedInterfaces, SocketVoteDeck_CalledByName_GoesThroughItsSlots) {
    station::Object object;
    CallStation(object.As<ISocketVoteDeck>());
    EXPECT_THAT(TakeSlotCalls(), ElementsAreArray(kStationCalls));
}

TEST(ClosedInterfaces, SocketVoteDeck_CalledBySlot_ReachesTheOperation) {
    Station implementation;
    void* const object = AsTable<ISocketVoteDeck>(&implementation);
    station::Reserved0::Call(object);
    station::SetListener::Call(object, Pointer<IVoteDeckEvent>(0x500));
    EXPECT_EQ(station::InitSocket::Call(object, 0xC0A8EA0A, 4567, 10000), -77);
    station::CloseSocket::Call(object);
    station::StartSession::Call(object);
    station::Reserved5::Call(object);
    station::StartQuestion::Call(object, EnumQuestionType{3}, Text(0x601), Text(0x602), Text(0x603), 5, true,
                                 0xFFFF);
    station::EndQuestion::Call(object, 0xFFFFFFFF, Text(0x701));
    station::SendContext::Call(object, Text(0x801), Text(0x802), Text(0x803), 6, 0xFFFE);
    station::SendAlarm::Call(object, 0xFFFFFFF0, 1, 2, 3);
    station::SendVibrate::Call(object, 0xFFFFFFF1, 4, 5, 6);
    station::SendFlashing::Call(object, 0xFFFFFFF2, EnumFlashingColor{7}, 8, 9, 10);
    station::Reserved12::Call(object);
    station::SetSessionEnabled::Call(object, true);
    station::Reserved14::Call(object);
    station::Reserved15::Call(object);
    station::Reserved16::Call(object);
    station::SetSessionMode::Call(object, 6, 1);
    EXPECT_THAT(TakeSlotCalls(), ElementsAreArray(kStationCalls));
}

// ---- IVoteDeckEventOld

namespace receiver_event {
using Destructor = SlotRow<0, void*, unsigned int>;
using OnKeyEvent = SlotRow<1, void, std::uint32_t, std::int32_t, std::uint32_t, std::uint32_t, std::uint32_t,
                           std::uint32_t, std::uint32_t>;
using OnSetContextSuccess = SlotRow<2, void>;
using OnDeviceConnectedChange = SlotRow<3, void, bool>;
using OnSendToDevice = SlotRow<4, void>;
using OnBindCard = SlotRow<5, void, std::uint32_t>;
using OnAudioDataReceived = SlotRow<6, void, std::uint32_t, const std::uint8_t*, std::uint32_t,
                                    const std::uint8_t*, std::uint32_t, float>;
using OnDataSentFailed = SlotRow<7, void>;
using OnGetDeviceInfo = SlotRow<8, void, const char*, std::int32_t>;
using OnUnbindCard = SlotRow<9, void, std::uint32_t>;
using OnDeviceIOError = SlotRow<10, void, zq::IVoteDeck*>;
using Object = HandMadeObject<Destructor, OnKeyEvent, OnSetContextSuccess, OnDeviceConnectedChange,
                              OnSendToDevice, OnBindCard, OnAudioDataReceived, OnDataSentFailed,
                              OnGetDeviceInfo, OnUnbindCard, OnDeviceIOError>;
}  // namespace receiver_event

const std::vector<SlotCall> kReceiverEventCalls = {{0, {0}},
                                                   {1, {0xFFFFFFFF, 9, 1, 2, 3, 4, 5}},
                                                   {2, {}},
                                                   {3, {1}},
                                                   {4, {}},
                                                   {5, {0xFFFFFFFE}},
                                                   {6, {7, 0x601, 11, 0x602, 12, 0x3E800000}},
                                                   {7, {}},
                                                   {8, {0x801, 3}},
                                                   {9, {0xFFFFFFFD}},
                                                   {10, {0xA01}}};

VDIPC_HAND_MADE_OBJECT void CallReceiverEvent(IVoteDeckEventOld* event) {
    EXPECT_EQ(event->DeletingDestructor(0), SlotAnswer<void*>());
    event->OnKeyEvent(0xFFFFFFFF, 9, 1, 2, 3, 4, 5);
    event->OnSetContextSuccess();
    event->OnDeviceConnectedChange(true);
    event->OnSendToDevice();
    event->OnBindCard(0xFFFFFFFE);
    event->OnAudioDataReceived(7, Pointer<std::uint8_t>(0x601), 11, Pointer<std::uint8_t>(0x602), 12, 0.25F);
    event->OnDataSentFailed();
    event->OnGetDeviceInfo(Text(0x801), 3);
    event->OnUnbindCard(0xFFFFFFFD);
    event->OnDeviceIOError(Pointer<zq::IVoteDeck>(0xA01));
}

class ReceiverEvent : public FirstBase, public IVoteDeckEventOld {
public:
    void* DeletingDestructor(unsigned int flags) override {
        NoteSlot(0, flags);
        return SlotAnswer<void*>();
    }
    void OnKeyEvent(std::uint32_t device, std::int32_t key, std::uint32_t press_times,
                    std::uint32_t recv_times, std::uint32_t unused1, std::uint32_t unused2,
                    std::uint32_t rssi) override {
        NoteSlot(1, device, key, press_times, recv_times, unused1, unused2, rssi);
    }
    void OnSetContextSuccess() override { NoteSlot(2); }
    void OnDeviceConnectedChange(bool connected) override { NoteSlot(3, connected); }
    void OnSendToDevice() override { NoteSlot(4); }
    void OnBindCard(std::uint32_t uid) override { NoteSlot(5, uid); }
    void OnAudioDataReceived(std::uint32_t device, const std::uint8_t* first, std::uint32_t first_size,
                             const std::uint8_t* second, std::uint32_t second_size, float rate) override {
        NoteSlot(6, device, first, first_size, second, second_size, rate);
    }
    void OnDataSentFailed() override { NoteSlot(7); }
    void OnGetDeviceInfo(const char* text, std::int32_t number) override { NoteSlot(8, text, number); }
    void OnUnbindCard(std::uint32_t device) override { NoteSlot(9, device); }
    void OnDeviceIOError(zq::IVoteDeck* deck) override { NoteSlot(10, deck); }
};

TEST(ClosedInterfaces, VoteDeckEventOld_CalledByName_GoesThroughItsSlots) {
    receiver_event::Object object;
    CallReceiverEvent(object.As<IVoteDeckEventOld>());
    EXPECT_THAT(TakeSlotCalls(), ElementsAreArray(kReceiverEventCalls));
}

TEST(ClosedInterfaces, VoteDeckEventOld_CalledBySlot_ReachesTheOperation) {
    ReceiverEvent implementation;
    void* const object = AsTable<IVoteDeckEventOld>(&implementation);
    EXPECT_EQ(receiver_event::Destructor::Call(object, 0), SlotAnswer<void*>());
    receiver_event::OnKeyEvent::Call(object, 0xFFFFFFFF, 9, 1, 2, 3, 4, 5);
    receiver_event::OnSetContextSuccess::Call(object);
    receiver_event::OnDeviceConnectedChange::Call(object, true);
    receiver_event::OnSendToDevice::Call(object);
    receiver_event::OnBindCard::Call(object, 0xFFFFFFFE);
    receiver_event::OnAudioDataReceived::Call(object, 7, Pointer<std::uint8_t>(0x601), 11,
                                              Pointer<std::uint8_t>(0x602), 12, 0.25F);
    receiver_event::OnDataSentFailed::Call(object);
    receiver_event::OnGetDeviceInfo::Call(object, Text(0x801), 3);
    receiver_event::OnUnbindCard::Call(object, 0xFFFFFFFD);
    receiver_event::OnDeviceIOError::Call(object, Pointer<zq::IVoteDeck>(0xA01));
    EXPECT_THAT(TakeSlotCalls(), ElementsAreArray(kReceiverEventCalls));
}

// ---- IInternalEventListener

namespace link_event {
using OnReSendCommend = SlotRow<0, void>;
using OnSendData = SlotRow<1, void>;
using OnReceiveData = SlotRow<2, void>;
using Reserved3 = SlotRow<3, void>;
using Object = HandMadeObject<OnReSendCommend, OnSendData, OnReceiveData, Reserved3>;
}  // namespace link_event

const std::vector<SlotCall> kLinkEventCalls = {{0, {}}, {1, {}}, {2, {}}, {3, {}}};

VDIPC_HAND_MADE_OBJECT void CallLinkEvent(IInternalEventListener* listener) {
    listener->OnReSendCommend();
    listener->OnSendData();
    listener->OnReceiveData();
    listener->Reserved3();
}

class LinkEvent : public FirstBase, public IInternalEventListener {
public:
    void OnReSendCommend() override { NoteSlot(0); }
    void OnSendData() override { NoteSlot(1); }
    void OnReceiveData() override { NoteSlot(2); }
    void Reserved3() override { NoteSlot(3); }
};

TEST(ClosedInterfaces, InternalEventListener_CalledByName_GoesThroughItsSlots) {
    link_event::Object object;
    CallLinkEvent(object.As<IInternalEventListener>());
    EXPECT_THAT(TakeSlotCalls(), ElementsAreArray(kLinkEventCalls));
}

TEST(ClosedInterfaces, InternalEventListener_CalledBySlot_ReachesTheOperation) {
    LinkEvent implementation;
    void* const object = AsTable<IInternalEventListener>(&implementation);
    link_event::OnReSendCommend::Call(object);
    link_event::OnSendData::Call(object);
    link_event::OnReceiveData::Call(object);
    link_event::Reserved3::Call(object);
    EXPECT_THAT(TakeSlotCalls(), ElementsAreArray(kLinkEventCalls));
}

// ---- zq::IVoteDeck

namespace receiver {
using Destructor = SlotRow<0, void*, unsigned int>;
using SetListener = SlotRow<1, void, IVoteDeckEventOld*>;
using SendQuestion = SlotRow<2, void, VoteDeckCallback, EnumQuestionType, std::uint32_t>;
using SetContext =
    SlotRow<3, void, std::int32_t, std::uint32_t, const char*, const char*, const char*, std::int32_t>;
using IsConnected = SlotRow<4, bool>;
using Activate = SlotRow<5, void, std::uint32_t, std::uint8_t, std::uint8_t, std::uint8_t, std::uint8_t,
                         std::uint8_t, std::uint8_t, std::uint8_t, std::uint8_t, std::uint8_t, std::uint8_t>;
using Object = HandMadeObject<Destructor, SetListener, SendQuestion, SetContext, IsConnected, Activate>;
}  // namespace receiver

const std::vector<SlotCall> kReceiverCalls = {{0, {1}},
                                              {1, {0x500}},
                                              {2, {0, 128, 0xFFFFFFFF}},
                                              {3, {0, 0xFFFFFFFE, 0x601, 0x602, 0x603, 0}},
                                              {4, {}},
                                              {5, {0xFFFFFFFD, 1, 2, 3, 4, 5, 6, 7, 8, 9, 255}}};

VDIPC_HAND_MADE_OBJECT void CallReceiver(zq::IVoteDeck* deck) {
    EXPECT_EQ(deck->DeletingDestructor(1), SlotAnswer<void*>());
    deck->SetListener(Pointer<IVoteDeckEventOld>(0x500));
    deck->SendQuestion(VoteDeckCallback(), EnumQuestionType{128}, 0xFFFFFFFF);
    deck->SetContext(0, 0xFFFFFFFE, Text(0x601), Text(0x602), Text(0x603), 0);
    EXPECT_TRUE(deck->IsConnected());
    deck->Activate(0xFFFFFFFD, 1, 2, 3, 4, 5, 6, 7, 8, 9, 255);
}

class Receiver : public FirstBase, public zq::IVoteDeck {
public:
    void* DeletingDestructor(unsigned int flags) override {
        NoteSlot(0, flags);
        return SlotAnswer<void*>();
    }
    void SetListener(IVoteDeckEventOld* listener) override { NoteSlot(1, listener); }
    void SendQuestion(VoteDeckCallback callback, EnumQuestionType type, std::uint32_t device) override {
        NoteSlot(2, callback, type, device);
    }
    void SetContext(std::int32_t zero1, std::uint32_t device, const char* row1, const char* row2,
                    const char* row3, std::int32_t zero2) override {
        NoteSlot(3, zero1, device, row1, row2, row3, zero2);
    }
    bool IsConnected() override {
        NoteSlot(4);
        return true;
    }
    void Activate(std::uint32_t device, std::uint8_t beep_times, std::uint8_t beep_unit,
                  std::uint8_t beep_interval, std::uint8_t motor_times, std::uint8_t motor_unit,
                  std::uint8_t motor_interval, std::uint8_t light_times, std::uint8_t light_unit,
                  std::uint8_t light_interval, std::uint8_t light_color) override {
        NoteSlot(5, device, beep_times, beep_unit, beep_interval, motor_times, motor_unit, motor_interval,
                 light_times, light_unit, light_interval, light_color);
    }
};

TEST(ClosedInterfaces, VoteDeck_CalledByName_GoesThroughItsSlots) {
    receiver::Object object;
    CallReceiver(object.As<zq::IVoteDeck>());
    EXPECT_THAT(TakeSlotCalls(), ElementsAreArray(kReceiverCalls));
}

TEST(ClosedInterfaces, VoteDeck_CalledBySlot_ReachesTheOperation) {
    Receiver implementation;
    void* const object = AsTable<zq::IVoteDeck>(&implementation);
    EXPECT_EQ(receiver::Destructor::Call(object, 1), SlotAnswer<void*>());
    receiver::SetListener::Call(object, Pointer<IVoteDeckEventOld>(0x500));
    receiver::SendQuestion::Call(object, VoteDeckCallback(), EnumQuestionType{128}, 0xFFFFFFFF);
    receiver::SetContext::Call(object, 0, 0xFFFFFFFE, Text(0x601), Text(0x602), Text(0x603), 0);
    EXPECT_TRUE(receiver::IsConnected::Call(object));
    receiver::Activate::Call(object, 0xFFFFFFFD, 1, 2, 3, 4, 5, 6, 7, 8, 9, 255);
    EXPECT_THAT(TakeSlotCalls(), ElementsAreArray(kReceiverCalls));
}

// ---- IVoteDeckControl

namespace control {
using Reserved0 = SlotRow<0, void>;
using SetListener = SlotRow<1, void, IInternalEventListener*>;
using DeviceArrived = SlotRow<2, void, std::int32_t, const wchar_t*>;
using DeviceRemoved = SlotRow<3, void, std::int32_t, const wchar_t*>;
using HandleIOError = SlotRow<4, void>;
using Reserved5 = SlotRow<5, void>;
using QueryDeviceInfo = SlotRow<6, const char*>;
using Reserved7 = SlotRow<7, void>;
using SetChannel = SlotRow<8, void, VoteDeckCallback, std::int32_t>;
using EnableBindCard = SlotRow<9, void, VoteDeckCallback>;
using Object = HandMadeObject<Reserved0, SetListener, DeviceArrived, DeviceRemoved, HandleIOError, Reserved5,
                              QueryDeviceInfo, Reserved7, SetChannel, EnableBindCard>;
}  // namespace control

const std::vector<SlotCall> kControlCalls = {{0, {}},      {1, {0x500}}, {2, {0, 0x201}}, {3, {1, 0x301}},
                                             {4, {}},      {5, {}},      {6, {}},         {7, {}},
                                             {8, {1, 17}}, {9, {0}}};

VDIPC_HAND_MADE_OBJECT void CallControl(IVoteDeckControl* deck_control) {
    deck_control->Reserved0();
    deck_control->SetListener(Pointer<IInternalEventListener>(0x500));
    deck_control->DeviceArrived(0, Pointer<const wchar_t>(0x201));
    deck_control->DeviceRemoved(1, Pointer<const wchar_t>(0x301));
    deck_control->HandleIOError();
    deck_control->Reserved5();
    EXPECT_EQ(deck_control->QueryDeviceInfo(), SlotAnswer<const char*>());
    deck_control->Reserved7();
    deck_control->SetChannel([](const CallBackInfo&) {}, 17);
    deck_control->EnableBindCard(VoteDeckCallback());
}

class Control : public FirstBase, public IVoteDeckControl {
public:
    void Reserved0() override { NoteSlot(0); }
    void SetListener(IInternalEventListener* listener) override { NoteSlot(1, listener); }
    void DeviceArrived(std::int32_t device_kind, const wchar_t* path) override {
        NoteSlot(2, device_kind, path);
    }
    void DeviceRemoved(std::int32_t device_kind, const wchar_t* path) override {
        NoteSlot(3, device_kind, path);
    }
    void HandleIOError() override { NoteSlot(4); }
    void Reserved5() override { NoteSlot(5); }
    const char* QueryDeviceInfo() override {
        NoteSlot(6);
        return SlotAnswer<const char*>();
    }
    void Reserved7() override { NoteSlot(7); }
    void SetChannel(VoteDeckCallback callback, std::int32_t channel) override {
        NoteSlot(8, callback, channel);
    }
    void EnableBindCard(VoteDeckCallback callback) override { NoteSlot(9, callback); }
};

TEST(ClosedInterfaces, VoteDeckControl_CalledByName_GoesThroughItsSlots) {
    control::Object object;
    CallControl(object.As<IVoteDeckControl>());
    EXPECT_THAT(TakeSlotCalls(), ElementsAreArray(kControlCalls));
}

TEST(ClosedInterfaces, VoteDeckControl_CalledBySlot_ReachesTheOperation) {
    Control implementation;
    void* const object = AsTable<IVoteDeckControl>(&implementation);
    control::Reserved0::Call(object);
    control::SetListener::Call(object, Pointer<IInternalEventListener>(0x500));
    control::DeviceArrived::Call(object, 0, Pointer<const wchar_t>(0x201));
    control::DeviceRemoved::Call(object, 1, Pointer<const wchar_t>(0x301));
    control::HandleIOError::Call(object);
    control::Reserved5::Call(object);
    EXPECT_EQ(control::QueryDeviceInfo::Call(object), SlotAnswer<const char*>());
    control::Reserved7::Call(object);
    control::SetChannel::Call(
        object, [](const CallBackInfo&) {}, 17);
    control::EnableBindCard::Call(object, VoteDeckCallback());
    EXPECT_THAT(TakeSlotCalls(), ElementsAreArray(kControlCalls));
}

}  // namespace
