// Plain doubles of the closed receivers' objects, for runs in which a mock's own work would show: they count calls, and do
// nothing else.
#pragma once

#include "drivers/closed/SocketVoteDeck.h"
#include "drivers/closed/VoteDeck.h"

#include <cstdint>
#include <string>

namespace vdipc::test {

/// A USB receiver, attached from the start.
class CountingVoteDeck : public zq::IVoteDeck {
public:
    virtual ~CountingVoteDeck() = default;

    std::uint64_t questions = 0;
    std::uint64_t contexts = 0;
    std::uint64_t signals = 0;
    std::uint64_t inquiries = 0;  // IsConnected

    std::uint64_t Calls() const { return questions + contexts + signals + inquiries; }

    void* DeletingDestructor(unsigned int) override { return this; }
    void SetListener(IVoteDeckEventOld*) override {}
    void SendQuestion(VoteDeckCallback, EnumQuestionType, std::uint32_t) override { ++questions; }
    void SetContext(std::int32_t, std::uint32_t, const char*, const char*, const char*,
                    std::int32_t) override {
        ++contexts;
    }
    bool IsConnected() override {
        ++inquiries;
        return true;
    }
    void Activate(std::uint32_t, std::uint8_t, std::uint8_t, std::uint8_t, std::uint8_t, std::uint8_t,
                  std::uint8_t, std::uint8_t, std::uint8_t, std::uint8_t, std::uint8_t) override {
        ++signals;
    }
};

/// The link level of a USB receiver.
class CountingVoteDeckControl : public IVoteDeckControl {
public:
    virtual ~CountingVoteDeckControl() = default;

    std::string info = "{}";     // what QueryDeviceInfo tells
    std::int32_t channel = -1;   // of the last SetChannel
    std::uint64_t channels = 0;  // calls of SetChannel

    void Reserved0() override {}
    void SetListener(IInternalEventListener*) override {}
    void DeviceArrived(std::int32_t, const wchar_t*) override {}
    void DeviceRemoved(std::int32_t, const wchar_t*) override {}
    void HandleIOError() override {}
    void Reserved5() override {}
    const char* QueryDeviceInfo() override { return info.c_str(); }
    void Reserved7() override {}
    void SetChannel(VoteDeckCallback, std::int32_t chosen) override {
        channel = chosen;
        ++channels;
    }
    void EnableBindCard(VoteDeckCallback) override {}
};

/// A base station, reached at the first attempt.
class CountingSocketVoteDeck : public ISocketVoteDeck {
public:
    virtual ~CountingSocketVoteDeck() = default;

    std::uint64_t questions = 0;  // started and ended
    std::uint64_t contexts = 0;
    std::uint64_t signals = 0;

    std::uint64_t Calls() const { return questions + contexts + signals; }

    void Reserved0() override {}
    void SetListener(IVoteDeckEvent*) override {}
    std::int32_t InitSocket(std::uint32_t, std::uint16_t, std::uint16_t) override { return 0; }
    void CloseSocket() override {}
    void StartSession() override {}
    void Reserved5() override {}
    void StartQuestion(EnumQuestionType, const char*, const char*, const char*, std::int32_t, bool,
                       std::uint16_t) override {
        ++questions;
    }
    void EndQuestion(std::uint32_t, const char*) override { ++questions; }
    void SendContext(const char*, const char*, const char*, std::int32_t, std::uint16_t) override {
        ++contexts;
    }
    void SendAlarm(std::uint32_t, std::uint16_t, std::uint16_t, std::uint16_t) override { ++signals; }
    void SendVibrate(std::uint32_t, std::uint16_t, std::uint16_t, std::uint16_t) override { ++signals; }
    void SendFlashing(std::uint32_t, EnumFlashingColor, std::uint16_t, std::uint16_t,
                      std::uint16_t) override {
        ++signals;
    }
    void Reserved12() override {}
    void SetSessionEnabled(bool) override {}
    void Reserved14() override {}
    void Reserved15() override {}
    void Reserved16() override {}
    void SetSessionMode(std::int32_t, std::int32_t) override {}
};

}  // namespace vdipc::test
