#include "classroom/world/World.h"

#include "classroom/memory/Telemetry.h"
#include "classroom/receivers/Receiver.h"
#include "classroom/receivers/ReceiverObject.h"
#include "classroom/speech/Speech.h"
#include "classroom/station/Station.h"
#include "classroom/station/StationObject.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

namespace vdipc::classroom {

World::World(const Settings& settings) : chance(settings.seed), settings_(settings) {
    journal.SetLimit(settings.saw_limit);
    for (const Kind kind : kKinds) {
        faults[kind];
    }
    station_ = std::make_unique<Station>(*this);
    for (const Kind kind : kUsbKinds) {
        const bool plugged =
            std::find(settings.plugged.begin(), settings.plugged.end(), kind) != settings.plugged.end();
        receivers_[static_cast<std::size_t>(kind)] = std::make_unique<Receiver>(*this, kind, plugged);
    }
    speech_ = std::make_unique<Speech>(*this);
    telemetry_ = std::make_unique<Telemetry>(*this);
}

int World::Deliver(Kind kind, const Signal& signal) {
    const int calls = kind == Kind::RV2 ? TheStation().Deliver(signal) : TheReceiver(kind).Deliver(signal);
    const std::lock_guard lock(mutex);
    Keypad& keypad = keypads.Get(kind, signal.keypad);
    if (signal.what == Signal::What::Connect && calls == 0) {
        keypad.announced = false;
    } else if (signal.what == Signal::What::Key) {
        keypad.keys += calls;
        keypad.last_keys.push_back(signal.key);
        if (keypad.last_keys.size() > kLastKeys) {
            keypad.last_keys.pop_front();
        }
    }
    return calls;
}

void World::SendOn(std::size_t lane, Kind kind, std::vector<TimedSignal> signals,
                   const std::shared_ptr<Ticket>& ticket) {
    if (ticket != nullptr) {
        ticket->Open();
    }
    lanes.Post(lane, 0, [this, kind, signals = std::move(signals), ticket] {
        for (const TimedSignal& timed : signals) {
            if (timed.gap_ms > 0) {
                std::this_thread::sleep_for(std::chrono::milliseconds(timed.gap_ms));
            }
            const int calls = Deliver(kind, timed.signal);
            if (ticket != nullptr) {
                ticket->Count(calls);
            }
        }
        if (ticket != nullptr) {
            ticket->Close();
        }
    });
}

Outcome World::Send(Kind kind, const std::vector<TimedSignal>& signals, const SendOptions& options) {
    std::vector<TimedSignal> timed;
    bool slow = false;
    {
        const std::lock_guard lock(mutex);
        timed = faults[kind].Apply(signals, chance);
        slow = faults[kind].Find(fault_word::kSlow) != nullptr;
    }
    const auto ticket = std::make_shared<Ticket>();
    const std::size_t lane = lanes.NextLane();
    std::vector<TimedSignal> at_once[Lanes::kCount];
    for (TimedSignal& one : timed) {
        const std::size_t own_lane = options.together ? one.signal.keypad % Lanes::kCount : lane;
        if (one.delay_ms > 0) {
            lanes.Post(own_lane, one.delay_ms, [this, kind, signal = one.signal] { Deliver(kind, signal); });
        } else {
            at_once[own_lane].push_back(std::move(one));
        }
    }
    for (std::size_t i = 0; i < Lanes::kCount; ++i) {
        if (!at_once[i].empty()) {
            SendOn(i, kind, std::move(at_once[i]), slow ? nullptr : ticket);
        }
    }
    Outcome outcome;
    outcome.callbacks = options.wait ? ticket->Wait() : 0;
    return outcome;
}

void World::Release(Kind kind, const std::vector<TimedSignal>& signals) {
    if (!signals.empty()) {
        SendOn(lanes.NextLane(), kind, signals, nullptr);
    }
}

Outcome World::RunOnLane(std::function<int()> job, bool wait) {
    const auto ticket = std::make_shared<Ticket>();
    ticket->Open();
    lanes.Post(lanes.NextLane(), 0, [job = std::move(job), ticket] {
        ticket->Count(job());
        ticket->Close();
    });
    Outcome outcome;
    outcome.callbacks = wait ? ticket->Wait() : 0;
    return outcome;
}

int World::SendNotice(const UsbNotice& notice) {
    if (!settings_.send_notice) {
        return 0;
    }
    bool listens = false;
    {
        const std::lock_guard lock(mutex);
        listens = TheStation().IsMade();
        for (const Kind kind : kUsbKinds) {
            listens = listens || TheReceiver(kind).HasListener();
        }
    }
    return settings_.send_notice(notice, listens ? 3000 : 0);
}

void World::SetLogHandler(VoteDeckLogHandler handler) {
    Json::Value args;
    args["handler"] = handler != nullptr;
    journal.Saw({"VoteDeck", "library"}, "InstallVoteDeckLogHandler", args);
    const std::lock_guard lock(mutex);
    log_handler_ = handler;
}

bool World::HasLogHandler() {
    const std::lock_guard lock(mutex);
    return log_handler_ != nullptr;
}

Outcome World::Log(std::int32_t level, const std::string& text, bool wait) {
    return RunOnLane(
        [this, level, text] {
            VoteDeckLogHandler handler = nullptr;
            {
                const std::lock_guard lock(mutex);
                handler = log_handler_;
            }
            if (handler == nullptr) {
                return 0;
            }
            Json::Value args;
            args["level"] = level;
            args["text"] = ShownUtf8(text);
            journal.Saw({"VoteDeck", "library"}, "-> log handler", args);
            const auto lent = std::make_shared<std::string>(text);
            handler(level, lent->c_str());
            std::fill(lent->begin(), lent->end(), '\xDD');
            graveyard.Bury(lent, lent->data(), lent->size());
            return 1;
        },
        wait);
}

namespace {

/// Length of the UTF-8 sequence at this place; 0 where there is none.
std::size_t SequenceLength(const std::string& text, std::size_t at) {
    const auto lead = static_cast<unsigned char>(text[at]);
    const std::size_t length = lead < 0x80                   ? 1
                               : lead >= 0xC2 && lead < 0xE0 ? 2
                               : lead >= 0xE0 && lead < 0xF0 ? 3
                               : lead >= 0xF0 && lead < 0xF5 ? 4
                                                             : 0;
    if (length == 0 || at + length > text.size()) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(text[at + i]);
        const bool overlong = i == 1 && ((lead == 0xE0 && next < 0xA0) || (lead == 0xF0 && next < 0x90));
        const bool outside = i == 1 && ((lead == 0xED && next > 0x9F) || (lead == 0xF4 && next > 0x8F));
        if ((next & 0xC0U) != 0x80U || overlong || outside) {
            return 0;
        }
    }
    return length;
}

}  // namespace

bool IsUtf8(const std::string& text) {
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = SequenceLength(text, at);
        if (length == 0) {
            return false;
        }
        at += length;
    }
    return true;
}

std::string ShownUtf8(const std::string& text) {
    std::string shown;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = SequenceLength(text, at);
        if (length == 0) {
            shown += "\xEF\xBF\xBD";
            ++at;
        } else {
            shown.append(text, at, length);
            at += length;
        }
    }
    return shown;
}

}  // namespace vdipc::classroom
