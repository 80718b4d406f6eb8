#include "classroom/control/ActionTable.h"

#include "classroom/receivers/Receiver.h"
#include "classroom/station/Station.h"

#include <limits>
#include <optional>

namespace vdipc::classroom {

Outcome ChangeStation(World& world, ActionReader& reader) {
    Station& station = world.TheStation();
    const bool has_state = reader.Has("state");
    const std::string state = has_state ? reader.Text("state") : std::string();
    const std::string socket = reader.Text("socket", "");
    const bool has_announce = reader.Has("announce");
    const bool announce = reader.Flag("announce", true);
    if (!socket.empty() && socket != "ok" && socket != "refuse") {
        throw ActionError("\"socket\" must be ok or refuse, not '" + socket + "'");
    }
    bool notice = false;
    {
        const std::lock_guard lock(world.mutex);
        const bool was_up = station.IsUp();
        const bool changes = has_state && state != station.State();
        notice = reader.Flag("notice", changes && (!was_up || (state != "up" && state != "hang")));
        reader.Finish();
        if (!socket.empty()) {
            station.socket_refuses = socket == "refuse";
        }
        if (has_announce) {
            station.announces = announce;
        }
    }
    if (has_state) {
        station.SetState(state);
    }
    Outcome outcome;
    if (notice) {
        UsbNotice nodes;
        nodes.what = kNoticeNodes;
        outcome.notices = world.SendNotice(nodes);
    }
    return outcome;
}

namespace {

Outcome ChangePlug(World& world, ActionReader& reader, bool plugged) {
    const Kind kind = reader.UsbKind();
    const bool notice = reader.Flag("notice", true);
    const bool wait = reader.Flag("wait", true);
    reader.Finish();
    return world.TheReceiver(kind).Plug(plugged, notice, wait);
}

}  // namespace

Outcome Plug(World& world, ActionReader& reader) {
    return ChangePlug(world, reader, true);
}

Outcome Unplug(World& world, ActionReader& reader) {
    return ChangePlug(world, reader, false);
}

Outcome ChangeLink(World& world, ActionReader& reader) {
    const Kind kind = reader.UsbKind();
    std::optional<bool> up;
    std::optional<bool> told;
    const bool has_announce = reader.Has("announce");
    const bool announce = reader.Flag("announce", true);
    if (reader.Has("connected")) {
        told = reader.Flag("connected", true);
    } else if (!has_announce || reader.Has("state")) {
        const std::string state = reader.Text("state");
        if (state != "up" && state != "down") {
            throw ActionError("\"state\" must be up or down, not '" + state + "'");
        }
        up = state == "up";
        if (reader.Flag("callback", true)) {
            told = up;
        }
    }
    const bool wait = reader.Flag("wait", true);
    reader.Finish();
    if (has_announce) {
        const std::lock_guard lock(world.mutex);
        world.TheReceiver(kind).announces = announce;
    }
    return world.TheReceiver(kind).SetLink(up, told, wait);
}

Outcome FailIO(World& world, ActionReader& reader) {
    const Kind kind = reader.UsbKind();
    const bool other = reader.Flag("other", false);
    const bool stays_down = reader.Flag("stays_down", false);
    const bool wait = reader.Flag("wait", true);
    reader.Finish();
    return world.TheReceiver(kind).FailIO(other, stays_down, wait);
}

Outcome SendRawNotice(World& world, ActionReader& reader) {
    UsbNotice notice;
    if (reader.Raw("what").isInt64()) {
        notice.what = static_cast<std::uint32_t>(reader.Number("what", 0, 0xFFFFFFFF));
    } else {
        const std::string what = reader.Text("what");
        if (what == "nodes") {
            notice.what = kNoticeNodes;
        } else if (what == "arrival") {
            notice.what = kNoticeArrival;
        } else if (what == "removed") {
            notice.what = kNoticeRemoved;
        } else {
            throw ActionError("\"what\" must be nodes, arrival, removed or a number, not '" + what + "'");
        }
    }
    const std::string type = reader.Text("type", "none");
    if (type == "interface") {
        notice.type = UsbNotice::Type::Interface;
    } else if (type == "port") {
        notice.type = UsbNotice::Type::Port;
    } else if (type == "volume") {
        notice.type = UsbNotice::Type::Volume;
    } else if (type != "none") {
        throw ActionError("\"type\" must be interface, port, volume or none, not '" + type + "'");
    }
    notice.name = reader.Text("name", "");
    reader.Finish();
    Outcome outcome;
    outcome.notices = world.SendNotice(notice);
    return outcome;
}

Outcome ChangeDeviceInfo(World& world, ActionReader& reader) {
    const Kind kind = reader.UsbKind();
    const std::optional<std::string> text = reader.BytesOf("text", "hex");
    reader.Finish();
    if (!text) {
        throw ActionError("\"text\" or \"hex\" must say what QueryDeviceInfo gives");
    }
    const std::lock_guard lock(world.mutex);
    world.TheReceiver(kind).SetDeviceInfo(*text);
    return {};
}

Outcome TellDeviceInfo(World& world, ActionReader& reader) {
    const Kind kind = reader.UsbKind();
    const std::string text = reader.BytesOf("text", "hex").value_or(std::string());
    const auto number = static_cast<std::int32_t>(reader.Number(
        "number", std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max(), 0));
    const bool wait = reader.Flag("wait", true);
    reader.Finish();
    return world.TheReceiver(kind).TellDeviceInfo(text, number, wait);
}

Outcome ChangeChannel(World& world, ActionReader& reader) {
    const Kind kind = reader.UsbKind();
    const bool accepts = reader.Flag("accepts", true);
    reader.Finish();
    const std::lock_guard lock(world.mutex);
    world.TheReceiver(kind).accepts_channel = accepts;
    return {};
}

Outcome TellEvent(World& world, ActionReader& reader) {
    const Kind kind = reader.ReceiverKind();
    const std::string name = reader.Text("name");
    const bool wait = reader.Flag("wait", true);
    reader.Finish();
    if (kind == Kind::RV2 ? !world.TheStation().HasEvent(name) : !Receiver::HasEvent(name)) {
        throw ActionError(std::string(KindName(kind)) + " has no event '" + name +
                          "'; docs/classroom.md lists them");
    }
    if (kind != Kind::RV2) {
        return world.TheReceiver(kind).TellEvent(name, wait);
    }
    return world.RunOnLane([&world, name] { return world.TheStation().DeliverEvent(name); }, wait);
}

Outcome WriteLog(World& world, ActionReader& reader) {
    const std::string text = reader.BytesOf("text", "hex").value_or(std::string());
    const auto level = static_cast<std::int32_t>(reader.Number(
        "level", std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max(), 2));
    const bool wait = reader.Flag("wait", true);
    reader.Finish();
    return world.Log(level, text, wait);
}

Outcome ResetSaw(World& world, ActionReader& reader) {
    reader.Finish();
    world.journal.Reset();
    return {};
}

Outcome ResetMisuse(World& world, ActionReader& reader) {
    reader.Finish();
    world.journal.ResetMisuse();
    return {};
}

}  // namespace vdipc::classroom
