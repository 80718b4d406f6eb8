// One device object with any number of keypads over a double of its closed library that counts: for benchmarks, and for
// tests of what grows with the number of keypads.
#pragma once

#include "device/IVoteDeckObjectEvent.h"
#include "doubles/ReceiverDoubles.h"
#include "drivers/VoteDeckObject_RV2.h"
#include "drivers/VoteDeckObject_TQ.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace vdipc::test {

/// A handler that runs each task at once, and counts the rest.
class CountingHandler : public IVoteDeckObjectEvent {
public:
    std::uint64_t events = 0;   // texts to the client
    std::uint64_t records = 0;  // of telemetry
    std::uint64_t changes = 0;  // of the set of activated keypads

    void PostTask(std::function<void()> task) override { task(); }
    void SendIPCMesage(const std::string&) override { ++events; }
    void SendTrackwire(CTrackwire&) override { ++records; }
    std::int32_t RequestRecognize(const RecognizeRequest&) override { return 0; }
    std::int32_t RequestEvaluation(const std::string&, const EvaluateRequest&) override { return 0; }
    void RequestSingleEvaluation(const std::string&, const EvaluateRequest&) override {}
    std::int32_t RequestMultipleEvaluation(const std::string&, const EvaluateRequest&,
                                           std::int32_t) override {
        return 0;
    }
    void OnActiveDevicesChanged() override { ++changes; }
    void OnVoteDeckStatusChanged(DeviceType, std::int32_t) override {}
    void OnRv2BadStatusNotified(std::int32_t) override {}
};

/// Keypads have the numbers from 1 on. Everything runs on the calling thread.
class ManyKeypads {
public:
    virtual ~ManyKeypads() = default;

    virtual std::shared_ptr<IVoteDeckObject> Object() const = 0;
    virtual std::uint64_t LibraryCalls() const = 0;

    // What the closed library reports of a keypad: a task of the handler's each.
    virtual void Key(std::uint32_t keypad, std::int32_t key) = 0;
    virtual void Arrive(std::uint32_t keypad) = 0;

    // The object's records of a keypad, without any report.
    virtual void Add(std::uint32_t keypad) = 0;
    virtual void Remove(std::uint32_t keypad) = 0;
    /// Makes a keypad a dropped one, and an activated one again.
    virtual void MarkDropped(std::uint32_t keypad) = 0;
    virtual void Undrop(std::uint32_t keypad) = 0;
    virtual void AddAnswer(std::uint32_t keypad) = 0;
    virtual void EraseAnswer(std::uint32_t keypad) = 0;
};

/// An object of this kind, up and connected, that reports to this handler.
std::unique_ptr<ManyKeypads> MakeKeypads(DeviceType kind, IVoteDeckObjectEvent& handler);

}  // namespace vdipc::test
