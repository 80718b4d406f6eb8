// Closed library VoteDeck.dll: the USB receivers TQ1, TQ2, RV1 and LW. The rules of the tables are those of
// SocketVoteDeck.h.
#pragma once

#include "drivers/closed/SocketVoteDeck.h"

#include <cstdint>
#include <functional>

#if defined(VOTEDECK_EXPORTS)
#define VOTEDECK_API __declspec(dllexport)
#else
#define VOTEDECK_API
#endif

/// Outcome of a call; nobody here reads it.
struct CallBackInfo;

using VoteDeckCallback = std::function<void(const CallBackInfo&)>;

namespace zq {
class IVoteDeck;
}

/// What a receiver calls, on threads of its library. Operations without arguments here have some that nobody reads.
class IVoteDeckEventOld {
public:
    virtual void* DeletingDestructor(unsigned int flags) = 0;
    virtual void OnKeyEvent(std::uint32_t ushDeviceId, std::int32_t enKeyValue, std::uint32_t pressTimes,
                            std::uint32_t recvTimes, std::uint32_t unused1, std::uint32_t unused2,
                            std::uint32_t rssi) = 0;
    virtual void OnSetContextSuccess() = 0;
    virtual void OnDeviceConnectedChange(bool connected) = 0;
    virtual void OnSendToDevice() = 0;
    virtual void OnBindCard(std::uint32_t newUid) = 0;
    /// The second buffer is the recording, a WAV image. Both are valid only during the call.
    virtual void OnAudioDataReceived(std::uint32_t ushDeviceID, const std::uint8_t* first,
                                     std::uint32_t first_size, const std::uint8_t* second,
                                     std::uint32_t second_size, float lost_package_rate) = 0;
    virtual void OnDataSentFailed() = 0;
    virtual void OnGetDeviceInfo(const char* text, std::int32_t number) = 0;
    virtual void OnUnbindCard(std::uint32_t device_id) = 0;
    virtual void OnDeviceIOError(zq::IVoteDeck* deck) = 0;

protected:
    ~IVoteDeckEventOld() = default;
};

/// What the link level of a receiver calls.
class IInternalEventListener {
public:
    virtual void OnReSendCommend() = 0;
    virtual void OnSendData() = 0;
    virtual void OnReceiveData() = 0;
    virtual void Reserved3() = 0;

protected:
    ~IInternalEventListener() = default;
};

namespace zq {

/// A receiver. Device number 0 is every keypad.
class IVoteDeck {
public:
    /// With flags 1: frees the object.
    virtual void* DeletingDestructor(unsigned int flags) = 0;
    /// Null: stop calling back.
    virtual void SetListener(IVoteDeckEventOld* listener) = 0;
    virtual void SendQuestion(VoteDeckCallback callback, EnumQuestionType type, std::uint32_t device) = 0;
    virtual void SetContext(std::int32_t zero1, std::uint32_t device, const char* row1, const char* row2,
                            const char* row3, std::int32_t zero2) = 0;
    virtual bool IsConnected() = 0;
    virtual void Activate(std::uint32_t device, std::uint8_t beep_times, std::uint8_t beep_unit,
                          std::uint8_t beep_interval, std::uint8_t motor_times, std::uint8_t motor_unit,
                          std::uint8_t motor_interval, std::uint8_t light_times, std::uint8_t light_unit,
                          std::uint8_t light_interval, std::uint8_t light_color) = 0;

protected:
    ~IVoteDeck() = default;
};

}  // namespace zq

/// The link level of a receiver. Device kinds are those of DeviceChangedListener.
class IVoteDeckControl {
public:
    virtual void Reserved0() = 0;
    virtual void SetListener(IInternalEventListener* listener) = 0;
    virtual void DeviceArrived(std::int32_t device_kind, const wchar_t* path) = 0;
    virtual void DeviceRemoved(std::int32_t device_kind, const wchar_t* path) = 0;
    virtual void HandleIOError() = 0;
    virtual void Reserved5() = 0;
    /// A JSON object, as text that stays good until the next call.
    virtual const char* QueryDeviceInfo() = 0;
    virtual void Reserved7() = 0;
    virtual void SetChannel(VoteDeckCallback callback, std::int32_t channel) = 0;
    virtual void EnableBindCard(VoteDeckCallback callback) = 0;

protected:
    ~IVoteDeckControl() = default;
};

using VoteDeckLogHandler = void (*)(std::int32_t level, const char* text);

extern "C" {
VOTEDECK_API void CreateVDOTQ1(zq::IVoteDeck** deck, IVoteDeckControl** control);
VOTEDECK_API void CreateVDOTQ2(zq::IVoteDeck** deck, IVoteDeckControl** control);
VOTEDECK_API void CreateVDORV1(zq::IVoteDeck** deck, IVoteDeckControl** control);
VOTEDECK_API void CreateVDOLW(zq::IVoteDeck** deck, IVoteDeckControl** control);
VOTEDECK_API void InstallVoteDeckLogHandler(VoteDeckLogHandler handler);
}
