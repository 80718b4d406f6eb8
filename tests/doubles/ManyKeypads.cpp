#include "doubles/ManyKeypads.h"

#include "doubles/ClosedDoubles.h"

namespace vdipc::test {
namespace {

/// A device object with its records in the open.
template <typename Base>
class Opened : public Base {
public:
    using Base::Base;
    using VoteDeckObjectBase::CreateTextRecordForDevice;
    using VoteDeckObjectBase::dropped_device_set_;
    using VoteDeckObjectBase::EraseDeviceFromDropSet;
    using VoteDeckObjectBase::EraseLastAnswer;
    using VoteDeckObjectBase::EraseTextRevordForDevice;
    using VoteDeckObjectBase::last_answer_map_;
};

class ReachedStation : public Opened<VoteDeckObject_RV2> {
protected:
    std::int32_t ProbeBaseStation() override { return kDeviceStatusConnected; }
};

template <typename Target>
class KeypadsOf : public ManyKeypads {
public:
    std::shared_ptr<IVoteDeckObject> Object() const override { return object_; }
    void Add(std::uint32_t keypad) override { object_->CreateTextRecordForDevice(std::to_string(keypad)); }
    void Remove(std::uint32_t keypad) override { object_->EraseTextRevordForDevice(std::to_string(keypad)); }
    void MarkDropped(std::uint32_t keypad) override {
        Remove(keypad);
        object_->dropped_device_set_.insert(std::to_string(keypad));
    }
    void Undrop(std::uint32_t keypad) override {
        object_->EraseDeviceFromDropSet(std::to_string(keypad));
        Add(keypad);
    }
    void AddAnswer(std::uint32_t keypad) override {
        object_->last_answer_map_[std::to_string(keypad)].finished = true;
    }
    void EraseAnswer(std::uint32_t keypad) override { object_->EraseLastAnswer(std::to_string(keypad)); }

protected:
    void TakeUp(std::shared_ptr<Target> object, IVoteDeckObjectEvent& handler) {
        object_ = std::move(object);
        object_->SetEventListener(&handler);
        object_->Initialize();
    }
    Target& Device() const { return *object_; }
    void Drop() { object_.reset(); }

private:
    std::shared_ptr<Target> object_;
};

class UsbKeypads : public KeypadsOf<Opened<VoteDeckObject_TQ>> {
public:
    UsbKeypads(DeviceType kind, IVoteDeckObjectEvent& handler) {
        ClosedFactories().create_vdo = [this](const std::string&, zq::IVoteDeck** deck,
                                              IVoteDeckControl** control) {
            *deck = &deck_;
            *control = &control_;
        };
        TakeUp(std::make_shared<Opened<VoteDeckObject_TQ>>(kind), handler);
    }
    ~UsbKeypads() override { Drop(); }
    std::uint64_t LibraryCalls() const override { return deck_.Calls(); }
    void Key(std::uint32_t keypad, std::int32_t key) override {
        Device().OnKeyEvent(keypad, key, 1, 1, 0, 0, 50);
    }
    void Arrive(std::uint32_t keypad) override { Device().OnBindCard(keypad); }

private:
    CountingVoteDeck deck_;
    CountingVoteDeckControl control_;
};

class StationKeypads : public KeypadsOf<ReachedStation> {
public:
    explicit StationKeypads(IVoteDeckObjectEvent& handler) {
        ClosedFactories().create_vote_deck_obj = [this] { return &deck_; };
        TakeUp(std::make_shared<ReachedStation>(), handler);
    }
    ~StationKeypads() override { Drop(); }
    std::uint64_t LibraryCalls() const override { return deck_.Calls(); }
    void Key(std::uint32_t keypad, std::int32_t key) override {
        Device().OnKeypadEvent(static_cast<std::uint16_t>(keypad), key);
    }
    void Arrive(std::uint32_t keypad) override {
        Device().OnKeypadConnect(0, static_cast<std::uint16_t>(keypad), true);
    }

private:
    CountingSocketVoteDeck deck_;
};

}  // namespace

std::unique_ptr<ManyKeypads> MakeKeypads(DeviceType kind, IVoteDeckObjectEvent& handler) {
    if (kind == DeviceType::RV2) {
        return std::make_unique<StationKeypads>(handler);
    }
    return std::make_unique<UsbKeypads>(kind, handler);
}

}  // namespace vdipc::test
