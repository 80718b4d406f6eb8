// The socket-attached base station, and the watch over it.
#pragma once

#include "common/Event.h"
#include "device/VoteDeckObjectBase.h"
#include "drivers/DeviceChangedListener.h"
#include "drivers/closed/SocketVoteDeck.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

namespace vdipc {

/// Commands and tasks run on the task thread; the station's callbacks come on threads of its library, copy what they are
/// given and post a task.
class VoteDeckObject_RV2 : public VoteDeckObjectBase, public IVoteDeckEvent, public DeviceChangedListener {
public:
    VoteDeckObject_RV2();
    ~VoteDeckObject_RV2() override;

    // IVoteDeckObject
    /// Doesn't return before the station's script has answered. The result is the status.
    std::int32_t Initialize() override;
    void Uninitialize() override;
    void HandleHi(const CommandHi& hi) override;
    void StartQuestion(const std::string& device, QuestionType type) override;
    void StopQuestion(const std::string& device) override;
    void SetText(const std::string& device, bool has_row1, const std::string& row1, bool has_row2,
                 const std::string& row2, bool has_row3, const std::string& row3) override;

    // IVoteDeckEvent
    /// The station doesn't own its listener: nothing is destroyed.
    void* DeletingDestructor(unsigned int flags) override;
    void OnKeypadConnect(std::uintptr_t unused, std::uint16_t ushDeviceId, bool bConnect) override;
    void OnKeypadEvent(std::uint16_t ushDeviceId, std::int32_t enKeyValue) override;
    void OnKeypadAudioEvent(std::uint16_t ushDeviceID, IKeypadAudio* audio, bool error) override;
    void OnKeypadStateEvent() override;
    void OnKeypadLowBatteryEvent() override;
    void OnMCUUpdateProgress() override;
    void OnRepeatedConnectionKeypad() override;
    void OnLogEvent() override;

    // DeviceChangedListener
    void OnDeviceNodesChanged() override;
    void OnDeviceArrival(std::int32_t device_kind, std::wstring name) override;
    void OnDeviceRemoved(std::int32_t device_kind, std::wstring name) override;

    /// Whether a recording (a WAV image with its samples from byte 44 on) holds nothing but a fill pattern: 0 no data,
    /// 1 good, 2 fill pattern, 3 too short to tell.
    static std::int32_t CheckAudioData(const std::uint8_t* data, std::int32_t size);
    static EnumQuestionType ConvertQuestionType(QuestionType type);
    static EnumFlashingColor ConvertColor(HiArgumentColor color);

protected:
    friend struct VoteDeckObject_RV2Access;

    /// Asks the script beside the host's executable: -1 up, 0 no power, 1 no USB link, -2 no answer within 2 seconds.
    /// Virtual so that a test can answer in its place.
    virtual std::int32_t ProbeBaseStation();

private:
    /// Closes the old socket, if there can be one, and opens a new one, with the library's object made on first need.
    bool OpenSocket();
    void StartStatusCheck();
    void StopStatusCheck();
    void StatusThread(EventHandle stop_event);
    void CheckStatusTask();
    void DeleteSdkConfigFile();
    /// The station's fixed address in host byte order.
    static std::uint32_t StationAddress();
    /// Stores the rows to change in the record.
    static void StoreRows(CommandText& record, const Rows& rows);
    void SendRows(const std::string& device, const std::string& row1, const std::string& row2,
                  const std::string& row3);
    void HandleKeypadConnect(std::uint16_t device, bool connected);

    ISocketVoteDeck* deck_ = nullptr;  // the library's; never deleted here
    std::unique_ptr<std::thread> status_thread_;
    // Made before the thread starts, so that a stop always finds something to signal.
    std::atomic<EventHandle> status_event_{nullptr};
    // Ends the thread too when the system had no event to give.
    std::atomic<bool> status_stop_{false};
};

}  // namespace vdipc
