// What a factory of VoteDeck.dll hands out: the receiver and its link level in one.
#pragma once

#include "classroom/system/Lanes.h"
#include "classroom/world/World.h"

#include "drivers/closed/VoteDeck.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include <json/json.h>

namespace vdipc::classroom {

class Receiver;

class ReceiverObject final : public zq::IVoteDeck, public IVoteDeckControl {
public:
    ReceiverObject(World& world, Receiver& receiver, Kind kind, const std::string& name);
    virtual ~ReceiverObject() = default;

    // zq::IVoteDeck
    void* DeletingDestructor(unsigned int flags) override;
    void SetListener(IVoteDeckEventOld* listener) override;
    void SendQuestion(VoteDeckCallback callback, EnumQuestionType type, std::uint32_t device) override;
    void SetContext(std::int32_t zero1, std::uint32_t device, const char* row1, const char* row2,
                    const char* row3, std::int32_t zero2) override;
    bool IsConnected() override;
    void Activate(std::uint32_t device, std::uint8_t beep_times, std::uint8_t beep_unit,
                  std::uint8_t beep_interval, std::uint8_t motor_times, std::uint8_t motor_unit,
                  std::uint8_t motor_interval, std::uint8_t light_times, std::uint8_t light_unit,
                  std::uint8_t light_interval, std::uint8_t light_color) override;

    // IVoteDeckControl
    void Reserved0() override;
    void SetListener(IInternalEventListener* listener) override;
    void DeviceArrived(std::int32_t device_kind, const wchar_t* path) override;
    void DeviceRemoved(std::int32_t device_kind, const wchar_t* path) override;
    void HandleIOError() override;
    void Reserved5() override;
    const char* QueryDeviceInfo() override;
    void Reserved7() override;
    void SetChannel(VoteDeckCallback callback, std::int32_t channel) override;
    void EnableBindCard(VoteDeckCallback callback) override;

    /// From now on every call is misuse.
    void Delete();
    bool IsDeleted() const { return deleted_; }
    Place ThePlace() const { return {"VoteDeck", name_}; }
    void HandOver(IVoteDeckEventOld& listener, const Signal& signal);

    Gate<IVoteDeckEventOld> gate;
    Gate<IInternalEventListener> link_gate;

private:
    void Saw(const char* call, const Json::Value& args, const Json::Value& result = Json::Value());
    void Misuse(const char* call, const std::string& text);
    void CheckAlive(const char* call);
    void Complete(const VoteDeckCallback& callback);
    bool Reaches() const;

    World& world_;
    Receiver& receiver_;
    const Kind kind_;
    const std::string name_;
    std::atomic<bool> deleted_{false};
    std::shared_ptr<std::string> device_info_;  // the text of the last QueryDeviceInfo
};

}  // namespace vdipc::classroom
