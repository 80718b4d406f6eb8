// The USB receivers. One class serves four kinds, TQ1, TQ2, RV1 and LW, that don't behave alike.
#pragma once

#include "device/VoteDeckObjectBase.h"
#include "drivers/DeviceChangedListener.h"
#include "drivers/closed/VoteDeck.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace vdipc {

/// Commands and tasks run on the task thread; the receiver's callbacks come on threads of its library, copy what they are
/// given and post a task. OnGetDeviceInfo is the one exception.
class VoteDeckObject_TQ : public VoteDeckObjectBase,
                          public IVoteDeckEventOld,
                          public IInternalEventListener,
                          public DeviceChangedListener {
public:
    explicit VoteDeckObject_TQ(DeviceType device_type);
    ~VoteDeckObject_TQ() override;

    // IVoteDeckObject
    std::int32_t Initialize() override;
    void Uninitialize() override;
    void HandleHi(const CommandHi& hi) override;
    void HandleDrop(const CommandDrop& drop) override;
    void StartQuestion(const std::string& device, QuestionType type) override;
    void StopQuestion(const std::string& device) override;
    void SetText(const std::string& device, bool has_row1, const std::string& row1, bool has_row2,
                 const std::string& row2, bool has_row3, const std::string& row3) override;

    // IVoteDeckEventOld
    /// The receiver doesn't own its listener: nothing is destroyed.
    void* DeletingDestructor(unsigned int flags) override;
    void OnKeyEvent(std::uint32_t ushDeviceId, std::int32_t enKeyValue, std::uint32_t pressTimes,
                    std::uint32_t recvTimes, std::uint32_t unused1, std::uint32_t unused2,
                    std::uint32_t rssi) override;
    void OnSetContextSuccess() override;
    void OnDeviceConnectedChange(bool connected) override;
    void OnSendToDevice() override;
    void OnBindCard(std::uint32_t newUid) override;
    void OnAudioDataReceived(std::uint32_t ushDeviceID, const std::uint8_t* first, std::uint32_t first_size,
                             const std::uint8_t* second, std::uint32_t second_size,
                             float lost_package_rate) override;
    void OnDataSentFailed() override;
    void OnGetDeviceInfo(const char* text, std::int32_t number) override;
    void OnUnbindCard(std::uint32_t device_id) override;
    void OnDeviceIOError(zq::IVoteDeck* deck) override;

    // IInternalEventListener
    void OnReSendCommend() override;
    void OnSendData() override;
    void OnReceiveData() override;
    void Reserved3() override;

    // DeviceChangedListener
    void OnDeviceNodesChanged() override;
    void OnDeviceArrival(std::int32_t device_kind, std::wstring name) override;
    void OnDeviceRemoved(std::int32_t device_kind, std::wstring name) override;

    static EnumQuestionType ConvertQuestionType(QuestionType type);
    static EnumFlashingColor ConvertColor(HiArgumentColor color);

private:
    // Numbers of the receivers' questions that stand for something else.
    static constexpr std::int32_t kGeneralQuestion = 6;
    static constexpr std::int32_t kLockDevice = 17;
    static constexpr std::int32_t kUnlockDevice = 18;
    static constexpr std::int32_t kEndQuestion = 128;

    friend struct VoteDeckObject_TQAccess;

    /// One signal of beeper, motor and light together, in the library's own units.
    struct Signal {
        std::uint8_t beep_times = 0;
        std::uint8_t beep_unit = 0;
        std::uint8_t beep_interval = 0;
        std::uint8_t motor_times = 0;
        std::uint8_t motor_unit = 0;
        std::uint8_t motor_interval = 0;
        std::uint8_t light_times = 0;
        std::uint8_t light_unit = 0;
        std::uint8_t light_interval = 0;
        std::uint8_t light_color = 4;  // the library's number, no conversion of a colour
    };

    bool IsReceiverConnected() const;
    /// Sends a question, or one of the numbers that the receiver understands besides, with a callback that does nothing.
    void SendLibraryQuestion(std::int32_t type, std::uint32_t device);
    static Signal MakeSignal(const std::vector<CommandHi::Argument>& arguments);
    void UpdateRecord(CommandText& record, const Rows& rows) const;
    void SendRows(const std::string& device, const std::string& row1, const std::string& row2,
                  const std::string& row3);
    bool IsDeviceKindMine(std::int32_t device_kind) const;
    void CopyQuestionFromAllDevices(const std::string& device);
    bool IsKeyThatBringsBack(const std::string& device, std::int32_t key_value) const;
    void ActivateDevice(const std::string& device);
    void ReadDeviceInfo();
    void SynchronizeChannelForTQ2();
    /// The channel in the user's part of the registry; -1 when there is none.
    std::int32_t ReadChannelNumberFromReg();
    /// A failure is logged, and nothing else comes of it.
    void WriteChannelNumberToReg(std::int32_t channel);

    zq::IVoteDeck* vote_deck_ = nullptr;    // owned
    IVoteDeckControl* control_ = nullptr;   // not owned
    std::atomic<bool> initialized_{false};  // also read on the library's threads
    bool all_general_for_lw_ = false;       // one open general question for all, for good
};

}  // namespace vdipc
