#include "classroom/world/Faults.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace vdipc::classroom {

const char* KindName(Kind kind) {
    switch (kind) {
    case Kind::TQ1:
        return "TQ1";
    case Kind::TQ2:
        return "TQ2";
    case Kind::RV1:
        return "RV1";
    case Kind::RV2:
        return "RV2";
    case Kind::LW:
        break;
    }
    return "LW";
}

const std::vector<std::string>& Faults::Words() {
    static const auto* const words =
        new std::vector<std::string>{fault_word::kOff,          fault_word::kStuck,     fault_word::kGarbage,
                                     fault_word::kWrong,        fault_word::kSlow,      fault_word::kDelayed,
                                     fault_word::kIntermittent, fault_word::kDuplicate, fault_word::kReorder};
    return *words;
}

void Faults::Begin(const std::string& word, const Fault& fault) {
    faults_[word] = fault;
    if (word == fault_word::kStuck) {
        stuck_key_.reset();
    }
}

std::vector<TimedSignal> Faults::End() {
    faults_.clear();
    stuck_key_.reset();
    return std::exchange(held_, {});
}

const Fault* Faults::Find(const std::string& word) const {
    const auto found = faults_.find(word);
    return found == faults_.end() ? nullptr : &found->second;
}

Json::Value Faults::ToJson(const std::string& where) const {
    Json::Value all(Json::arrayValue);
    for (const auto& [word, fault] : faults_) {
        Json::Value one;
        one["where"] = where;
        one["word"] = word;
        if (word == fault_word::kSlow || word == fault_word::kDelayed) {
            one["ms"] = fault.ms;
        } else if (word == fault_word::kIntermittent) {
            one["chance"] = fault.chance;
        } else if (word == fault_word::kDuplicate) {
            one["times"] = fault.times;
        } else if (word == fault_word::kReorder) {
            one["count"] = fault.count;
            one["held"] = Json::UInt64(held_.size());
        }
        all.append(one);
    }
    return all;
}

bool Faults::Alter(Signal& signal, Chance& chance) {
    if (Find(fault_word::kOff) != nullptr) {
        return false;
    }
    const Fault* const intermittent = Find(fault_word::kIntermittent);
    if (intermittent != nullptr && chance.Happens(intermittent->chance)) {
        return false;
    }
    if (signal.what == Signal::What::Key) {
        if (Find(fault_word::kStuck) != nullptr) {
            stuck_key_ = stuck_key_.value_or(signal.key);
            signal.key = *stuck_key_;
        }
        if (Find(fault_word::kGarbage) != nullptr) {
            signal.key = static_cast<std::int32_t>(chance.Below(256));
        }
        if (Find(fault_word::kWrong) != nullptr) {
            ++signal.key;
        }
    } else if (signal.what == Signal::What::Audio) {
        if (Find(fault_word::kGarbage) != nullptr) {
            auto noise = std::make_shared<Bytes>(signal.recording->size());
            std::generate(noise->begin(), noise->end(),
                          [&chance] { return static_cast<std::uint8_t>(chance.Below(256)); });
            signal.recording = noise;
        }
        if (Find(fault_word::kWrong) != nullptr) {
            auto silent = std::make_shared<Bytes>(*signal.recording);
            const std::size_t header = std::min(silent->size(), kWavHeaderSize);
            std::fill(silent->begin() + static_cast<std::ptrdiff_t>(header), silent->end(), std::uint8_t{0});
            signal.recording = silent;
        }
    }
    return true;
}

std::vector<TimedSignal> Faults::Apply(const std::vector<TimedSignal>& signals, Chance& chance) {
    if (faults_.empty()) {
        return signals;
    }
    const Fault* const slow = Find(fault_word::kSlow);
    const Fault* const delayed = Find(fault_word::kDelayed);
    const Fault* const duplicate = Find(fault_word::kDuplicate);
    const Fault* const reorder = Find(fault_word::kReorder);
    std::vector<TimedSignal> out;
    for (TimedSignal timed : signals) {
        if (!Alter(timed.signal, chance)) {
            continue;
        }
        timed.gap_ms += slow != nullptr ? slow->ms : 0;
        timed.delay_ms += delayed != nullptr ? delayed->ms : 0;
        const std::uint32_t copies = duplicate != nullptr ? duplicate->times : 1;
        for (std::uint32_t copy = 0; copy < copies; ++copy) {
            if (reorder == nullptr) {
                out.push_back(timed);
                continue;
            }
            held_.push_back(timed);
            if (held_.size() >= reorder->count) {
                while (!held_.empty()) {
                    const auto chosen =
                        static_cast<std::ptrdiff_t>(chance.Below(static_cast<std::uint32_t>(held_.size())));
                    out.push_back(held_[static_cast<std::size_t>(chosen)]);
                    held_.erase(held_.begin() + chosen);
                }
            }
        }
    }
    return out;
}

}  // namespace vdipc::classroom
