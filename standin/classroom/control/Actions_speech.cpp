#include "classroom/control/ActionTable.h"

#include "classroom/speech/Speech.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace vdipc::classroom {
namespace {

constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t kLeast = std::numeric_limits<std::int32_t>::min();

template <typename Value, std::size_t Count>
Value Choose(ActionReader& reader, const char* key, const std::pair<const char*, Value> (&choices)[Count]) {
    const std::string name = reader.Text(key);
    std::string names;
    for (const auto& [choice, value] : choices) {
        if (name == choice) {
            return value;
        }
        names += std::string(names.empty() ? "" : ", ") + choice;
    }
    throw ActionError(std::string("\"") + key + "\" must be one of " + names + ", not '" + name + "'");
}

constexpr std::pair<const char*, SpeechSettings::Mode> kModes[] = {{"auto", SpeechSettings::Mode::Auto},
                                                                   {"hand", SpeechSettings::Mode::Hand},
                                                                   {"silent", SpeechSettings::Mode::Silent},
                                                                   {"fail", SpeechSettings::Mode::Fail}};
constexpr std::pair<const char*, SpeechSettings::Rule> kRules[] = {{"fixed", SpeechSettings::Rule::Fixed},
                                                                   {"stem", SpeechSettings::Rule::Stem},
                                                                   {"length", SpeechSettings::Rule::Length}};
constexpr std::pair<const char*, SpeechSettings::Order> kOrders[] = {
    {"fifo", SpeechSettings::Order::Fifo},
    {"reverse", SpeechSettings::Order::Reverse},
    {"random", SpeechSettings::Order::Random}};

std::int64_t ReadTime(ActionReader& reader, const char* key) {
    return reader.Number(key, std::numeric_limits<std::int64_t>::min(),
                         std::numeric_limits<std::int64_t>::max());
}

}  // namespace

Outcome ChangeSpeech(World& world, ActionReader& reader) {
    using Change = std::function<void(SpeechSettings&)>;
    std::vector<Change> changes;
    const auto add = [&changes](Change change) { changes.push_back(std::move(change)); };
    if (reader.Has("mode")) {
        add([mode = Choose(reader, "mode", kModes)](SpeechSettings& to) { to.mode = mode; });
    }
    if (reader.Has("rule")) {
        add([rule = Choose(reader, "rule", kRules)](SpeechSettings& to) { to.rule = rule; });
    }
    if (reader.Has("order")) {
        add([order = Choose(reader, "order", kOrders)](SpeechSettings& to) { to.order = order; });
    }
    if (reader.Has("delay_ms")) {
        add([delay = reader.Milliseconds("delay_ms", 0)](SpeechSettings& to) { to.delay_ms = delay; });
    }
    if (reader.Has("duplicate")) {
        add([n = reader.Number("duplicate", 1, 1000)](SpeechSettings& to) {
            to.duplicate = static_cast<std::uint32_t>(n);
        });
    }
    if (reader.Has("batch")) {
        add([n = reader.Number("batch", 1, 1000000)](SpeechSettings& to) {
            to.batch = static_cast<std::uint32_t>(n);
        });
    }
    if (reader.Has("returns")) {
        add([n = reader.Number("returns", kLeast, kMost)](SpeechSettings& to) {
            to.returns = static_cast<int>(n);
        });
    }
    if (reader.Has("error_code")) {
        add([n = reader.Number("error_code", kLeast, kMost)](SpeechSettings& to) {
            to.error_code = static_cast<int>(n);
        });
    }
    if (reader.Has("result")) {
        add([text = reader.Text("result")](SpeechSettings& to) { to.result = text; });
    }
    if (reader.Has("raw_result")) {
        add([text = reader.Text("raw_result")](SpeechSettings& to) { to.raw_result = text; });
    }
    if (reader.Has("score")) {
        add([score = reader.Real("score", 0.0)](SpeechSettings& to) {
            to.score = static_cast<float>(score);
        });
    }
    if (reader.Has("start_time")) {
        add([time = ReadTime(reader, "start_time")](SpeechSettings& to) { to.start_time = time; });
    }
    if (reader.Has("end_time")) {
        add([time = ReadTime(reader, "end_time")](SpeechSettings& to) { to.end_time = time; });
    }
    const Change all = [changes](SpeechSettings& to) {
        std::for_each(changes.begin(), changes.end(), [&to](const Change& change) { change(to); });
    };
    if (reader.Raw("engine").isInt64()) {
        const auto index = static_cast<std::size_t>(reader.Number("engine", 0, kMost));
        reader.Finish();
        world.TheSpeech().ChangeSettings(index, all);
    } else {
        const std::string name = reader.Text("engine", "all");
        reader.Finish();
        world.TheSpeech().ChangeSettings(name, all);
    }
    return {};
}

Outcome AnswerSpeech(World& world, ActionReader& reader) {
    HandAnswer answer;
    if (reader.Has("request")) {
        answer.request = static_cast<std::uint64_t>(reader.Number("request", 1, kMost));
    }
    if (reader.Has("device")) {
        const Json::Value& device = reader.Raw("device");
        answer.device = device.isInt64() ? std::to_string(device.asInt64()) : reader.Text("device");
    }
    if (reader.Has("extra")) {
        answer.extra = reader.Text("extra");
    }
    answer.every = reader.Flag("every", false);
    answer.keep = reader.Flag("keep", false);
    answer.after_stop = reader.Flag("after_stop", false);
    if (reader.Has("request_id")) {
        answer.request_id = reader.Text("request_id");
    }
    if (reader.Has("result")) {
        answer.result = reader.Text("result");
    }
    if (reader.Has("raw_result")) {
        answer.raw_result = reader.Text("raw_result");
    }
    if (reader.Has("score")) {
        answer.score = static_cast<float>(reader.Real("score", 0.0));
    }
    if (reader.Has("error_code")) {
        answer.error_code = static_cast<int>(reader.Number("error_code", kLeast, kMost));
    }
    if (reader.Has("start_time")) {
        answer.start_time = ReadTime(reader, "start_time");
    }
    if (reader.Has("end_time")) {
        answer.end_time = ReadTime(reader, "end_time");
    }
    const bool wait = reader.Flag("wait", true);
    Outcome outcome;
    if (reader.Raw("engine").isInt64()) {
        const auto index = static_cast<std::size_t>(reader.Number("engine", 0, kMost));
        reader.Finish();
        outcome.callbacks = world.TheSpeech().Answer(index, answer, wait);
    } else {
        const std::string name = reader.Text("engine", "all");
        reader.Finish();
        outcome.callbacks = world.TheSpeech().Answer(name, answer, wait);
    }
    return outcome;
}

Outcome BeginFault(World& world, ActionReader& reader) {
    const std::string where = reader.Text("where");
    const std::string word = reader.Text("word");
    Fault fault;
    fault.ms = reader.Milliseconds("ms", word == fault_word::kSlow ? 200 : 500);
    fault.chance = reader.Real("chance", 0.5);
    fault.times = static_cast<std::uint32_t>(reader.Number("times", 1, 1000, 2));
    fault.count = static_cast<std::uint32_t>(reader.Number("count", 2, 1000000, 3));
    reader.Finish();
    const std::vector<std::string>& words = Faults::Words();
    if (word != "none" && std::find(words.begin(), words.end(), word) == words.end()) {
        throw ActionError(
            "faults are off, stuck, garbage, wrong, slow, delayed, intermittent, duplicate, reorder, and "
            "none to end them, not '" +
            word + "'");
    }
    if (where == "speech") {
        if (word == "none") {
            world.TheSpeech().EndFaults();
        } else {
            world.TheSpeech().BeginFault(word, fault);
        }
        return {};
    }
    for (const Kind kind : kKinds) {
        if (where == KindName(kind)) {
            std::vector<TimedSignal> held;
            {
                const std::lock_guard lock(world.mutex);
                if (word == "none") {
                    held = world.faults[kind].End();
                } else {
                    world.faults[kind].Begin(word, fault);
                }
            }
            world.Release(kind, held);
            return {};
        }
    }
    throw ActionError("\"where\" must be RV2, TQ1, TQ2, RV1, LW or speech, not '" + where + "'");
}

}  // namespace vdipc::classroom
