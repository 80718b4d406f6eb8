#include "classroom/control/ActionTable.h"

#include "classroom/world/Recording.h"

#include <array>
#include <fstream>
#include <iterator>
#include <memory>
#include <utility>

namespace vdipc::classroom {
namespace {

constexpr std::pair<const char*, std::int32_t> kKeys[] = {
    {"A", 1}, {"B", 2}, {"C", 3}, {"D", 4}, {"T", 5}, {"OK", 5}, {"F", 6}, {"T2", 7}, {"F2", 8}, {"G", 9}};

std::int32_t KeyNumber(const Json::Value& key) {
    if (key.isInt()) {
        return key.asInt();
    }
    for (const auto& [name, number] : kKeys) {
        if (key.isString() && key.asString() == name) {
            return number;
        }
    }
    throw ActionError(
        "\"key\" must be A, B, C, D, T (or OK), F, T2, F2, G, a number, or an array of them, not " +
        CompactJson(key));
}

SendOptions ReadOptions(ActionReader& reader) {
    SendOptions options;
    options.wait = reader.Flag("wait", true);
    options.together = reader.Flag("together", false);
    return options;
}

Outcome Move(World& world, ActionReader& reader, Signal::What what) {
    const Kind kind = reader.ReceiverKind();
    const std::vector<std::uint32_t> numbers = reader.Keypads(kind);
    const SendOptions options = ReadOptions(reader);
    reader.Finish();
    const bool connects = what == Signal::What::Connect;
    std::vector<TimedSignal> signals;
    {
        const std::lock_guard lock(world.mutex);
        for (const std::uint32_t number : numbers) {
            Keypad& keypad = world.keypads.Get(kind, number);
            keypad.connected = connects;
            keypad.announced = connects;
            keypad.question.reset();
            keypad.locked = false;
            TimedSignal timed;
            timed.signal.what = what;
            timed.signal.keypad = number;
            signals.push_back(timed);
        }
    }
    return world.Send(kind, signals, options);
}

std::shared_ptr<const Bytes> ReadWholeFile(const std::string& path) {
    std::ifstream file(std::filesystem::path(std::u8string(path.begin(), path.end())), std::ios::binary);
    if (!file) {
        throw ActionError("\"path\" can't be read: " + path);
    }
    return std::make_shared<Bytes>(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

std::shared_ptr<const Bytes> ReadRecording(World& world, ActionReader& reader) {
    if (reader.Has("hex")) {
        const std::string bytes = reader.BytesOf("hex", "hex").value_or(std::string());
        return std::make_shared<Bytes>(bytes.begin(), bytes.end());
    }
    if (reader.Has("path")) {
        return ReadWholeFile(reader.Text("path"));
    }
    RecordingOptions options;
    const std::string make = reader.Text("make", "tone");
    if (make == "tone") {
        options.make = RecordingOptions::Make::Tone;
    } else if (make == "noise") {
        options.make = RecordingOptions::Make::Noise;
    } else if (make == "silence") {
        options.make = RecordingOptions::Make::Silence;
    } else if (make == "fill") {
        options.make = RecordingOptions::Make::Fill;
    } else {
        throw ActionError("\"make\" must be tone, noise, silence or fill, not '" + make + "'");
    }
    options.bytes = reader.Has("bytes")
                        ? static_cast<std::size_t>(reader.Number("bytes", 0, 256 * 1024 * 1024))
                        : kWavHeaderSize + kWavBytesPerMillisecond * reader.Milliseconds("ms", 1000);
    options.hertz = reader.Real("hz", 440.0);
    options.variant = static_cast<int>(reader.Number("variant", 0, 1, 0));
    return std::make_shared<Bytes>(MakeRecording(options, world.chance));
}

}  // namespace

Outcome Connect(World& world, ActionReader& reader) {
    return Move(world, reader, Signal::What::Connect);
}

Outcome Leave(World& world, ActionReader& reader) {
    return Move(world, reader, Signal::What::Leave);
}

Outcome PressKey(World& world, ActionReader& reader) {
    const Kind kind = reader.ReceiverKind();
    const std::vector<std::uint32_t> numbers = reader.Keypads(kind);
    const Json::Value& key = reader.Raw("key");
    std::vector<std::int32_t> keys;
    if (key.isArray()) {
        for (const Json::Value& one : key) {
            keys.push_back(KeyNumber(one));
        }
    } else {
        keys.push_back(KeyNumber(key));
    }
    Signal signal;
    signal.what = Signal::What::Key;
    signal.times = static_cast<std::uint32_t>(reader.Number("times", 0, 0xFFFFFFFF, 1));
    signal.received = static_cast<std::uint32_t>(reader.Number("recv", 0, 0xFFFFFFFF, 1));
    signal.rssi = static_cast<std::uint32_t>(reader.Number("rssi", 0, 0xFFFFFFFF, 60));
    // The station's callback has no number of presses, so there it is that many callbacks.
    std::int64_t repeat = reader.Number("repeat", 1, 1000000, 1);
    if (kind == Kind::RV2) {
        repeat *= signal.times;
    }
    const std::uint32_t gap = reader.Milliseconds("gap_ms", 0);
    const SendOptions options = ReadOptions(reader);
    reader.Finish();

    std::vector<TimedSignal> signals;
    for (const std::uint32_t number : numbers) {
        for (const std::int32_t one : keys) {
            for (std::int64_t i = 0; i < repeat; ++i) {
                TimedSignal timed;
                timed.signal = signal;
                timed.signal.keypad = number;
                timed.signal.key = one;
                timed.gap_ms = signals.empty() ? 0 : gap;
                signals.push_back(timed);
            }
        }
    }
    return world.Send(kind, signals, options);
}

Outcome Record(World& world, ActionReader& reader) {
    const Kind kind = reader.ReceiverKind();
    const std::vector<std::uint32_t> numbers = reader.Keypads(kind);
    Signal signal;
    signal.what = Signal::What::Audio;
    signal.recording = ReadRecording(world, reader);
    signal.first = std::make_shared<Bytes>();
    if (kind == Kind::RV2) {
        signal.error = reader.Flag("error", false);
        signal.valid = reader.Flag("valid", true);
    } else {
        signal.lost = static_cast<float>(reader.Real("lost", 0.0));
        const std::string first = reader.BytesOf("first", "first_hex").value_or(std::string());
        signal.first = std::make_shared<Bytes>(first.begin(), first.end());
    }
    const SendOptions options = ReadOptions(reader);
    reader.Finish();

    std::vector<TimedSignal> signals;
    for (const std::uint32_t number : numbers) {
        TimedSignal timed;
        timed.signal = signal;
        timed.signal.keypad = number;
        signals.push_back(timed);
    }
    return world.Send(kind, signals, options);
}

}  // namespace vdipc::classroom
