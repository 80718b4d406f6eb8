// What a lesson chooses from: commands, keys, recordings. Nothing here knows what must come of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <json/json.h>

namespace vdipc::soak {

/// Random choices that are the same with every standard library.
class Dice {
public:
    explicit Dice(std::uint64_t seed) : engine_(seed) {}

    std::uint32_t Below(std::uint32_t bound) { return static_cast<std::uint32_t>(engine_() % bound); }
    bool Percent(std::uint32_t chance) { return Below(100) < chance; }
    template <typename Value>
    const Value& Pick(const std::vector<Value>& values) {
        return values[Below(static_cast<std::uint32_t>(values.size()))];
    }
    /// Dice of their own: however often they are thrown, these here go on the same.
    Dice Branch() { return Dice(engine_()); }

private:
    std::mt19937_64 engine_;
};

/// Types of questions that keys answer, recordings answer, and an engine has to judge.
extern const std::vector<std::string> kKeyTypes;
extern const std::vector<std::string> kVoiceTypes;
extern const std::vector<std::string> kJudgedTypes;

std::string PickText(Dice& dice);
/// Keys that one pupil presses in a row, most of them such as count for the type.
std::vector<int> PickKeys(const std::string& type, Dice dice);

/// A command with one word, and for whom it is.
Json::Value Bare(const char* word, const std::string& device = "");
/// An "ask" with random everything else; the step gives texts that no other question has.
Json::Value PickQuestion(const std::string& device, const std::string& type, std::size_t step, Dice& dice);
/// Gives a question words and parameters of its own, so that an engine can judge what is said.
void GiveMatter(Json::Value& question, std::size_t step);
Json::Value PickSignal(const std::string& device, Dice& dice);
/// What no client should send.
std::string PickNonsense(Dice& dice);

}  // namespace vdipc::soak
