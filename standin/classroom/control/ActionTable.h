// What the actions do, by topic; each reads its keys from the reader and raises ActionError where it can't be done.
#pragma once

#include "classroom/control/ActionReader.h"
#include "classroom/world/World.h"

#include <json/json.h>

namespace vdipc::classroom {

Outcome Connect(World& world, ActionReader& reader);
Outcome Leave(World& world, ActionReader& reader);
Outcome PressKey(World& world, ActionReader& reader);
Outcome Record(World& world, ActionReader& reader);

Outcome ChangeStation(World& world, ActionReader& reader);
Outcome Plug(World& world, ActionReader& reader);
Outcome Unplug(World& world, ActionReader& reader);
Outcome ChangeLink(World& world, ActionReader& reader);
Outcome FailIO(World& world, ActionReader& reader);
Outcome SendRawNotice(World& world, ActionReader& reader);
Outcome ChangeDeviceInfo(World& world, ActionReader& reader);
Outcome TellDeviceInfo(World& world, ActionReader& reader);
Outcome ChangeChannel(World& world, ActionReader& reader);
Outcome TellEvent(World& world, ActionReader& reader);
Outcome WriteLog(World& world, ActionReader& reader);

Outcome ChangeSpeech(World& world, ActionReader& reader);
Outcome AnswerSpeech(World& world, ActionReader& reader);
Outcome BeginFault(World& world, ActionReader& reader);

Outcome ResetSaw(World& world, ActionReader& reader);
Outcome ResetMisuse(World& world, ActionReader& reader);

}  // namespace vdipc::classroom
