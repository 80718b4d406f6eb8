#include "classroom/station/KeypadAudio.h"

namespace vdipc::classroom {

KeypadAudio::KeypadAudio(World& world, const Place& place, const Bytes& bytes, bool valid)
    : world_(world), place_(place), bytes_(bytes), valid_(valid) {}

void KeypadAudio::Check(const char* call) {
    if (released_) {
        world_.journal.Misuse(place_, call, "the recording was given back before");
    } else if (over_) {
        world_.journal.Misuse(place_, call, "the recording is only good during the callback");
    }
}

void KeypadAudio::Reserved0() {
    world_.journal.Misuse(place_, "IKeypadAudio slot 0", "a reserved slot was called");
}

void KeypadAudio::Reserved1() {
    world_.journal.Misuse(place_, "IKeypadAudio slot 1", "a reserved slot was called");
}

bool KeypadAudio::IsValid() {
    Check("IKeypadAudio::IsValid");
    return valid_;
}

void KeypadAudio::Reserved3() {
    world_.journal.Misuse(place_, "IKeypadAudio slot 3", "a reserved slot was called");
}

const std::uint8_t* KeypadAudio::GetData() {
    Check("IKeypadAudio::GetData");
    return bytes_.data();
}

std::int32_t KeypadAudio::GetSize() {
    Check("IKeypadAudio::GetSize");
    return static_cast<std::int32_t>(bytes_.size());
}

void KeypadAudio::Release() {
    Check("IKeypadAudio::Release");
    world_.journal.Saw(place_, "IKeypadAudio::Release", Json::Value());
    if (!valid_) {
        world_.journal.Misuse(place_, "IKeypadAudio::Release", "the recording isn't valid");
    }
    released_ = true;
    Overwrite(bytes_);
}

void KeypadAudio::End() {
    if (valid_ && !released_) {
        world_.journal.Misuse(place_, "-> OnKeypadAudioEvent", "the recording was not given back");
    }
    over_ = true;
    Overwrite(bytes_);
}

}  // namespace vdipc::classroom
