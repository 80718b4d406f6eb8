#include "unit/standin/support/Classroom.h"

#include <memory>

namespace vdipc::classroom::test {
namespace {

struct Room {
    SentNotices notices;
    World* world = nullptr;
    Actions* actions = nullptr;
};

Room& MakeRoom(const Settings& settings) {
    static auto* const rooms = new std::vector<std::unique_ptr<Room>>;
    rooms->push_back(std::make_unique<Room>());
    Room& room = *rooms->back();
    Settings own = settings;
    own.send_notice = [&room](const UsbNotice& notice, std::uint32_t wait) {
        const std::lock_guard lock(room.notices.mutex);
        room.notices.notices.push_back(notice);
        room.notices.waits.push_back(wait);
        return 1;
    };
    room.world = new World(own);
    room.actions = new Actions(*room.world);
    return room;
}

Room*& LastRoom() {
    static Room* room = nullptr;
    return room;
}

SentNotices& NewRoom(const Settings& settings) {
    LastRoom() = &MakeRoom(settings);
    return LastRoom()->notices;
}

}  // namespace

Json::Value Parse(const std::string& text) {
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value value;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors)) {
        throw std::runtime_error(errors);
    }
    return value;
}

ClassroomTest::ClassroomTest(const Settings& settings)
    : notices(NewRoom(settings)), world(*LastRoom()->world), actions(*LastRoom()->actions) {}

void ClassroomTest::TearDown() {
    for (ISocketVoteDeck* const station : stations_) {
        station->CloseSocket();
    }
    for (ReceiverObject* const receiver : receivers_) {
        receiver->SetListener(static_cast<IVoteDeckEventOld*>(nullptr));
    }
}

Json::Value ClassroomTest::Do(const std::string& action) {
    return actions.Do(Parse(action));
}

std::string ClassroomTest::Refusal(const std::string& action) {
    try {
        actions.Do(Parse(action));
    } catch (const ActionError& error) {
        return error.what();
    }
    return "done";
}

std::vector<std::string> ClassroomTest::Misuses() {
    std::vector<std::string> texts;
    const Json::Value misuses = world.journal.Misuses();
    for (const Json::Value& misuse : misuses) {
        texts.push_back(misuse["call"].asString() + ": " + misuse["text"].asString());
    }
    return texts;
}

std::vector<std::string> ClassroomTest::Calls() {
    std::vector<std::string> calls;
    std::uint64_t next = 0;
    for (const std::string& record : world.journal.Since(1, SIZE_MAX, std::chrono::milliseconds(0), next)) {
        const std::string call = Parse(record)["call"].asString();
        if (call.rfind("->", 0) != 0) {
            calls.push_back(call);
        }
    }
    return calls;
}

Json::Value ClassroomTest::LastCall() {
    std::uint64_t next = 0;
    return Parse(world.journal.Since(world.journal.Last(), 1, std::chrono::milliseconds(0), next).front());
}

ISocketVoteDeck& ClassroomTest::OpenStation(StationListener& listener) {
    ISocketVoteDeck& station = *world.TheStation().MakeObject();
    stations_.push_back(&station);
    station.SetListener(&listener);
    EXPECT_EQ(0, station.InitSocket(0xC0A8EA0AU, 4567, 10000));
    station.SetSessionMode(6, 0);
    station.StartSession();
    station.SetSessionEnabled(true);
    return station;
}

ReceiverObject& ClassroomTest::OpenReceiver(Kind kind, ReceiverListener& listener) {
    world.TheReceiver(kind).Plug(true, false, true);
    ReceiverObject& receiver = *world.TheReceiver(kind).MakeObject();
    receivers_.push_back(&receiver);
    listener.own = &receiver;
    receiver.SetListener(static_cast<IVoteDeckEventOld*>(&listener));
    receiver.SetListener(static_cast<IInternalEventListener*>(&listener));
    receiver.EnableBindCard(nullptr);
    return receiver;
}

}  // namespace vdipc::classroom::test
