#include "tools/common/ShortForms.h"

#include <json/json.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

namespace vdipc::tools {
namespace {

[[noreturn]] void Fail(const std::string& words) {
    throw std::invalid_argument(words);
}

using Words = std::vector<std::string>;

const Words kKinds = {"non-audio", "audio", "any"};
// The spelling of the fourth is the protocol's.
const Words kQuestionTypes = {"single-choice",
                              "multiple-choice",
                              "red-envelope",
                              "continous-red-envelope",
                              "true-false",
                              "audio",
                              "audio-single",
                              "audio-multiple",
                              "audio-multiple-chn",
                              "evaluation",
                              "voice-record",
                              "general",
                              "multiple-question-single-choice"};
const Words kArguments = {"led", "motor", "beep"};
const Words kColors = {"blue", "green", "blue-green", "red", "magenta", "yellow", "white"};

/// The library drops a command with a word that it doesn't know, and tells nobody.
const std::string& Checked(const std::string& word, const char* what, const Words& known, bool force) {
    if (force || std::find(known.begin(), known.end(), word) != known.end()) {
        return word;
    }
    std::string list;
    for (std::size_t i = 0; i < known.size(); ++i) {
        list += (i == 0 ? "" : i + 1 < known.size() ? ", " : " and ") + known[i];
    }
    Fail(std::string("unknown ") + what + " '" + word + "': " + list +
         " are known; --force sends it all the same");
}

std::string Compact(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

Json::Value Parse(const std::string& text, const std::string& what) {
    Json::CharReaderBuilder builder;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    try {
        if (reader->parse(text.data(), text.data() + text.size(), &value, &errors)) {
            return value;
        }
    } catch (const Json::Exception& error) {
        errors = error.what();  // nested too deep
    }
    Fail(what + " is no JSON: " + errors);
}

int Number(const std::string& text, const std::string& what) {
    try {
        std::size_t used = 0;
        const int number = std::stoi(text, &used);
        if (used == text.size()) {
            return number;
        }
    } catch (const std::exception&) {
        // told below, in words that name the argument
    }
    Fail(what + " must be a whole number, not '" + text + "'");
}

std::vector<std::string> SplitAt(const std::string& text, char separator) {
    std::vector<std::string> parts(1);
    for (const char c : text) {
        if (c == separator) {
            parts.emplace_back();
        } else {
            parts.back().push_back(c);
        }
    }
    return parts;
}

Json::Value HiArgument(const std::string& word, bool force) {
    const std::vector<std::string> parts = SplitAt(word, ':');
    const bool led = parts[0] == "led";
    const std::size_t first = led ? 2 : 1;
    if (parts.size() != first + 3) {
        Fail("'" + word +
             "': say led:COLOR:TIMES:INTERVAL:DURATION, motor:TIMES:INTERVAL:DURATION or "
             "beep:TIMES:INTERVAL:DURATION");
    }
    Json::Value argument;
    argument["type"] = Checked(parts[0], "argument", kArguments, force);
    if (led) {
        argument["color"] = Checked(parts[1], "color", kColors, force);
    }
    argument["times"] = Number(parts[first], "TIMES");
    argument["interval"] = Number(parts[first + 1], "INTERVAL");
    argument["duration"] = Number(parts[first + 2], "DURATION");
    return argument;
}

void PutOption(Json::Value& command, const std::string& word) {
    const std::size_t equals = word.find('=');
    if (equals == std::string::npos) {
        Fail("'" + word + "': expected key=value");
    }
    const std::string key = word.substr(0, equals);
    const std::string value = word.substr(equals + 1);
    if (key == "id" || key == "row1" || key == "row2" || key == "row3" || key == "custom") {
        command[key] = value;
    } else if (key == "stem") {
        command["context"]["stems"].append(value);
    } else if (key == "param") {
        command["context"]["param"] = Parse(value, "param");
    } else if (key == "prefix") {
        command["context"]["audio-file-name-prefix"] = value;
    } else {
        Fail("unknown key '" + key + "': id, row1, row2, row3, custom, stem, param and prefix are known");
    }
}

}  // namespace

std::string JsonOfShortForm(const std::vector<std::string>& words, bool force) {
    if (words.empty()) {
        Fail("no command given");
    }
    const std::string& name = words[0];
    Json::Value command;
    command["command"] = name;
    std::size_t next = 1;
    const auto take = [&words, &next, &name](const char* what) -> const std::string& {
        if (next >= words.size()) {
            Fail(name + " needs " + what);
        }
        return words[next++];
    };
    if (name == "init") {
        command["preferred-device-type"] = Checked(take("non-audio, audio or any"), "kind", kKinds, force);
    } else if (name == "ask") {
        command["device"] = take("a device id (0 for all)");
        command["type"] = Checked(take("a question type, for instance single-choice"), "question type",
                                  kQuestionTypes, force);
    } else if (name == "stop" || name == "text" || name == "hi" || name == "drop") {
        command["device"] = take("a device id (0 for all)");
    } else if (name != "quit") {
        Fail("unknown command '" + name + "': init, ask, stop, text, hi, drop and quit are known");
    }
    if (name == "hi") {
        command["arguments"] = Json::Value(Json::arrayValue);
    }
    for (; next < words.size(); ++next) {
        if (name == "hi" && words[next].find(':') != std::string::npos) {
            command["arguments"].append(HiArgument(words[next], force));
        } else {
            PutOption(command, words[next]);
        }
    }
    return Compact(command);
}

std::vector<std::string> SplitWords(const std::string& line) {
    std::vector<std::string> words;
    bool inside_quotes = false;
    bool inside_word = false;
    for (const char c : line) {
        if (c == '"') {
            inside_quotes = !inside_quotes;
            if (!inside_word) {
                words.emplace_back();
                inside_word = true;
            }
        } else if (!inside_quotes && (c == ' ' || c == '\t' || c == '\r')) {
            inside_word = false;
        } else {
            if (!inside_word) {
                words.emplace_back();
                inside_word = true;
            }
            words.back().push_back(c);
        }
    }
    return words;
}

std::string ShortFormHelp() {
    return "Short forms of the commands:\n"
           "  init KIND                        KIND: non-audio, audio, any\n"
           "  ask DEVICE TYPE [key=value ...]  keys: row1 row2 row3 custom id stem param prefix\n"
           "  stop DEVICE [row1=.. row2=.. row3=..]\n"
           "  text DEVICE [row1=.. row2=.. row3=..]\n"
           "  hi DEVICE [led:COLOR:TIMES:INTERVAL:DURATION] [motor:T:I:D] [beep:T:I:D]\n"
           "  drop DEVICE\n"
           "  quit\n"
           "DEVICE is a keypad's number, 0 for all.\n";
}

}  // namespace vdipc::tools
