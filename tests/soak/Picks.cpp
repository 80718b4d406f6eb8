#include "soak/Picks.h"

namespace vdipc::soak {
namespace {

int PickKeyOfSetOfLetters(Dice& dice) {
    const std::uint32_t which = dice.Below(100);
    if (which < 60) {
        return static_cast<int>(1 + dice.Below(4));
    }
    if (which < 85) {  // confirms or clears
        return static_cast<int>(5 + dice.Below(4));
    }
    static const std::vector<int> others = {9, 9, 0, 10, 12, 128, 255, -1};
    return dice.Pick(others);
}

int PickKey(const std::string& type, Dice& dice) {
    static const std::vector<int> odd = {0, 10, 12, 128, 255, -1};
    if (dice.Percent(6)) {
        return dice.Pick(odd);
    }
    if (dice.Percent(30)) {
        return static_cast<int>(1 + dice.Below(9));
    }
    if (type == "true-false") {
        return static_cast<int>(5 + dice.Below(4));
    }
    if (type == "red-envelope" || type == "continous-red-envelope") {
        return 9;
    }
    return static_cast<int>(1 + dice.Below(4));
}

}  // namespace

const std::vector<std::string> kKeyTypes = {"single-choice",
                                            "multiple-choice",
                                            "red-envelope",
                                            "continous-red-envelope",
                                            "true-false",
                                            "general",
                                            "multiple-question-single-choice"};
const std::vector<std::string> kVoiceTypes = {
    "audio", "audio-single", "audio-multiple", "audio-multiple-chn", "evaluation", "voice-record"};
const std::vector<std::string> kJudgedTypes = {"audio", "audio-single", "audio-multiple",
                                               "audio-multiple-chn", "evaluation"};

std::string PickText(Dice& dice) {
    static const std::vector<std::string> texts = {"",    "Hello", "Question 1", "été", "a \"b\" \\ c",
                                                   "<&>", " "};
    return dice.Pick(texts);
}

std::vector<int> PickKeys(const std::string& type, Dice dice) {
    const bool set = type == "multiple-choice";
    std::vector<int> keys(set ? 2 + dice.Below(5) : 1 + dice.Below(3));
    for (int& key : keys) {
        key = set ? PickKeyOfSetOfLetters(dice) : PickKey(type, dice);
    }
    return keys;
}

Json::Value Bare(const char* word, const std::string& device) {
    Json::Value command;
    command["command"] = word;
    if (!device.empty()) {
        command["device"] = device;
    }
    return command;
}

Json::Value PickQuestion(const std::string& device, const std::string& type, std::size_t step, Dice& dice) {
    Json::Value command = Bare("ask", device);
    command["type"] = type;
    const std::string own = "q " + std::to_string(step);
    const std::vector<std::string> customs = {"", "q1", "q2", "été", own, own, own};
    if (dice.Percent(95)) {
        command["custom"] = dice.Pick(customs);
    }
    for (const char* const row : {"row1", "row2", "row3"}) {
        if (dice.Percent(30)) {
            command[row] = PickText(dice);
        }
    }
    if (dice.Percent(90)) {
        Json::Value& context = command["context"];
        if (dice.Percent(85)) {
            for (std::uint32_t i = 1 + dice.Below(3); i > 0; --i) {
                context["stems"].append(dice.Percent(10) ? Json::Value(7)
                                                         : Json::Value("word " + std::to_string(i)));
            }
        }
        if (dice.Percent(80)) {
            context["param"]["text"] = PickText(dice);
            context["param"]["rank"] = dice.Below(5);
        } else if (dice.Percent(30)) {
            context["param"] = Json::Value(dice.Percent(50) ? Json::objectValue : Json::arrayValue);
        }
        if (dice.Percent(50)) {
            context["audio-file-name-prefix"] = "s" + std::to_string(dice.Below(3)) + "-";
        }
    }
    return command;
}

void GiveMatter(Json::Value& question, std::size_t step) {
    Json::Value& context = question["context"];
    context["param"] = Json::Value(Json::objectValue);
    context["param"]["step"] = Json::UInt64(step);
    context["stems"] = Json::Value(Json::arrayValue);
    context["stems"].append("word of step " + std::to_string(step));
}

Json::Value PickSignal(const std::string& device, Dice& dice) {
    Json::Value command = Bare("hi", device);
    Json::Value& arguments = command["arguments"];
    arguments = Json::Value(Json::arrayValue);
    for (std::uint32_t i = dice.Below(3); i > 0; --i) {
        Json::Value argument;
        static const std::vector<std::string> types = {"led", "motor", "beep"};
        argument["type"] = dice.Pick(types);
        argument["color"] = "magenta";
        argument["times"] = dice.Below(400);
        argument["interval"] = dice.Below(10);
        argument["duration"] = dice.Below(10);
        arguments.append(argument);
    }
    return command;
}

std::string PickNonsense(Dice& dice) {
    static const std::vector<std::string> texts = {
        "",
        "no JSON",
        "[]",
        R"("ask")",
        R"({"command":"ask"})",
        R"({"command":"Ask","device":"0","type":"general"})",
        R"({"command":"ask","device":0,"type":"general"})",
        R"({"command":"ask","device":"0","type":"continuous-red-envelope"})",
        R"({"command":"ask","device":"0","type":4})",
        R"({"command":"stop"})",
        R"({"command":"stop","device":3})",
        R"({"command":"drop","device":null})",
        R"({"command":"hi","device":"0","arguments":[{"type":"led","times":1,"interval":1,"duration":1}]})",
        R"({"command":"init"})",
        R"({"command":"init","preferred-device-type":"Any"})",
        R"({"command":["stop"],"device":"0"})",
        R"({"event":"key-pressed","device":"1","key":"A"})"};
    return dice.Pick(texts);
}

}  // namespace vdipc::soak
