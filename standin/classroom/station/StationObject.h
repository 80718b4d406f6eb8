// What SocketVoteDeck.dll hands out: one connection to the base station at a time.
#pragma once

#include "classroom/system/Lanes.h"
#include "classroom/world/World.h"

#include "drivers/closed/SocketVoteDeck.h"

#include <cstdint>
#include <memory>
#include <string>

#include <json/json.h>

namespace vdipc::classroom {

class Station;

class StationObject final : public ISocketVoteDeck {
public:
    StationObject(World& world, Station& station, int number);
    virtual ~StationObject() = default;

    void Reserved0() override;
    void SetListener(IVoteDeckEvent* listener) override;
    std::int32_t InitSocket(std::uint32_t address, std::uint16_t port, std::uint16_t timeout) override;
    void CloseSocket() override;
    void StartSession() override;
    void Reserved5() override;
    void StartQuestion(EnumQuestionType type, const char* text1, const char* text2, const char* text3,
                       std::int32_t number, bool flag, std::uint16_t device) override;
    void EndQuestion(std::uint32_t device, const char* text) override;
    void SendContext(const char* row1, const char* row2, const char* row3, std::int32_t number,
                     std::uint16_t device) override;
    void SendAlarm(std::uint32_t device, std::uint16_t duration, std::uint16_t interval,
                   std::uint16_t times) override;
    void SendVibrate(std::uint32_t device, std::uint16_t duration, std::uint16_t interval,
                     std::uint16_t times) override;
    void SendFlashing(std::uint32_t device, EnumFlashingColor color, std::uint16_t duration,
                      std::uint16_t interval, std::uint16_t times) override;
    void Reserved12() override;
    void SetSessionEnabled(bool enabled) override;
    void Reserved14() override;
    void Reserved15() override;
    void Reserved16() override;
    void SetSessionMode(std::int32_t mode, std::int32_t option) override;

    Place ThePlace() const { return {"SocketVoteDeck", name_}; }
    void HandOver(IVoteDeckEvent& listener, const std::shared_ptr<const Bytes>& recording,
                  const Signal& signal);

private:
    friend class Station;

    void Saw(const char* call, const Json::Value& args, const Json::Value& result = Json::Value());
    void Misuse(const char* call, const std::string& text);
    /// True where commands reach the keypads.
    bool Reaches() const;
    void Signal3(Signalling Keypad::*part, std::uint32_t device, std::int32_t color, std::uint16_t duration,
                 std::uint16_t interval, std::uint16_t times);

    World& world_;
    Station& station_;
    const std::string name_;
    Gate<IVoteDeckEvent> gate_;  // shut while there is no connection

    // Under the world's lock.
    IVoteDeckEvent* listener_ = nullptr;
    bool open_ = false;    // there is a connection
    bool opened_ = false;  // InitSocket succeeded, and CloseSocket has not been called since
    bool mode_set_ = false;
    bool session_ = false;
    bool enabled_ = false;
    std::int32_t mode_[2] = {};
};

}  // namespace vdipc::classroom
