// What all device objects share: per-keypad records of question, answer and text, key filtering, saving of
// recordings, speech requests and events. Nothing is locked: everything is touched on the task thread, and on the host's
// thread while that doesn't run. Of all other threads (the receivers', the base station's watch, the one of USB notices),
// each copies what it is given and posts it, for which it reads listener_, alive_ and device_type_; and the one that
// brings a receiver's information reads device_info_.channel, which the task thread may be writing. That is accepted.
#pragma once

#include "device/IVoteDeckObject.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vdipc {

/// The last question of a keypad. Born stopped: only a new question opens it.
struct QuestionRecord {
    bool stopped = true;
    CommandAsk ask;
};

/// The answer so far; `key_event.key` holds what the pupil has chosen.
struct AnswerRecord {
    bool finished = false;
    EventKeyPressed key_event;
};

/// The keys of the receivers, by what they mean here. T and F are two keys each.
inline constexpr std::int32_t kKeyA = 1;
inline constexpr std::int32_t kKeyB = 2;
inline constexpr std::int32_t kKeyC = 3;
inline constexpr std::int32_t kKeyD = 4;
inline constexpr std::int32_t kKeyT = 5;
inline constexpr std::int32_t kKeyF = 6;
inline constexpr std::int32_t kOtherKeyT = 7;
inline constexpr std::int32_t kOtherKeyF = 8;
inline constexpr std::int32_t kKeyG = 9;

class VoteDeckObjectBase : public IVoteDeckObject {
public:
    explicit VoteDeckObjectBase(DeviceType device_type);
    VoteDeckObjectBase(const VoteDeckObjectBase&) = delete;
    VoteDeckObjectBase& operator=(const VoteDeckObjectBase&) = delete;
    ~VoteDeckObjectBase() override;

    void SetEventListener(IVoteDeckObjectEvent* listener) override;
    void SetAudioFileStorageBasePath(const std::string& path) override;
    void HandleAsk(const CommandAsk& ask) override;
    void HandleStop(const CommandStop& stop) override;
    void HandleText(const CommandText& text) override;
    void HandleDrop(const CommandDrop& drop) override;
    void ClearTextForAllDevices() override;
    std::int32_t GetDeviceStatus() override;
    DeviceInfoRecord GetDeviceInfo() override;
    bool CheckLastQuestionCustom(const std::string& device, const std::string& custom) override;
    std::set<std::string> GetActivatedDeviceSet() override;
    void SetActivatedDeviceSet(std::set<std::string> devices) override;

protected:
    friend struct VoteDeckObjectBaseAccess;

    /// A row of a display. One that isn't to change stays as it is.
    struct Row {
        bool changed = false;
        std::string text;
    };
    using Rows = std::array<Row, 3>;

    // Ids and the way up.
    std::string WrapDeviceID(std::uint32_t number) const;
    std::uint32_t ParseDeviceID(std::string id) const;
    std::string GenerateEventId() const;
    void SendTrackwire(CTrackwire& record);
    void SendIPCMesage(const std::string& text);
    /// Any thread. Without a listener the task is dropped unrun.
    void PostTask(std::function<void()> task);
    /// Any thread. As PostTask, for a task that uses the object: it is dropped unrun when the object is gone by
    /// the time of its turn.
    template <typename Task>
    void PostOwnTask(Task task) {
        PostTask([alive = std::weak_ptr<const bool>(alive_), task = std::move(task)] {
            if (!alive.expired()) {
                task();
            }
        });
    }

    // Questions and keys.
    void StartNewQuestionRecord(const CommandAsk& ask);
    void StopLastQuestionRecord(const std::string& device);
    void EraseLastAnswer(const std::string& device);
    QuestionRecord* FindLastQuestion(const std::string& device);
    bool IsLastAnswerFinished(const std::string& device);
    bool FilterKeyEvent(std::int32_t type, std::int32_t value, AnswerRecord& answer);
    std::string KeyToString(std::int32_t value) const;

    /// What a key press comes to, in the task that the hardware's key callback posts. Without a value it was
    /// dropped; otherwise it is in the answer, and the value says whether SendEventKeyPressed is due.
    std::optional<bool> TakeKey(const std::string& device, std::int32_t key_value);

    // Text records and drops.
    void CreateTextRecordForDevice(const std::string& device);
    void EraseTextRevordForDevice(const std::string& device);
    void EraseDeviceFromDropSet(const std::string& device);

    // Which keypads a command means: the one, or with the id of all the activated ones.
    std::vector<std::string> TargetsOf(const std::string& device) const;
    /// Their text records; none for a keypad that isn't activated.
    std::vector<CommandText*> TextRecordsOf(const std::string& device);

    // Recordings.
    /// What a recording comes to, in the task that the hardware's audio callback posts: saved as a file, and
    /// passed on as the keypad's question asks. `audio` is a WAV image, read during the call only.
    /// `error_number` is the result of the hardware's own test of the recording, 0 for good; without a value
    /// (hardware that tests nothing) no recording is bad.
    void RunAudioPath(std::uint32_t number, const std::vector<std::uint8_t>& audio, double lost_package_rate,
                      std::optional<std::int32_t> error_number);
    /// Writes the bytes as they came, and returns the file's name without its directory. A file that can't be
    /// opened changes nothing else.
    std::string SaveAudioFile(std::uint32_t number, const std::uint8_t* data, std::size_t size,
                              const std::string& prefix);
    void RequestRecognize(const std::string& device, const std::string& file_name, const std::string& custom,
                          const std::uint8_t* data, std::size_t size, double lost_package_rate);
    /// The evaluation requests carry a copy of the bytes, made with new[]. The listener takes it over,
    /// whatever it does with the request; without a listener it is freed here.
    void RequestEvaluation(const std::string& device, const std::string& file_name, const CommandAsk& ask,
                           const std::uint8_t* data, std::size_t size, double lost_package_rate);
    void RequestSingleEvaluation(const std::string& device, const std::string& file_name,
                                 const CommandAsk& ask, const std::uint8_t* data, std::size_t size,
                                 double lost_package_rate);
    void RequestMultipleEvaluation(const std::string& device, const std::string& file_name,
                                   const CommandAsk& ask, const std::uint8_t* data, std::size_t size,
                                   std::int32_t selector, double lost_package_rate);

    // Events and notifications.
    void SendEventActivated(const std::string& device);
    void SendEventInactivated(const std::string& device);
    void SendEventKeyPressed(const std::string& device, std::uint32_t signal_strength);
    void SendEventEvaluated(const EventEvaluated& event);
    void SendEventVoiceRecord(const EventVoiceRecord& event);
    void SendEventVoiceEvaluated(const EventVoiceEvaluated& event);
    void SendEventArrived();
    void SendEventRemoved();
    void NotifyBadStatusForRV2();
    void NotifyActiveDevicesChanged();
    void NotifyStatusChanged();

    IVoteDeckObjectEvent* listener_ = nullptr;  // not owned
    const DeviceType device_type_;
    std::int32_t status_ = kDeviceStatusUnknown;
    DeviceInfoRecord device_info_;
    std::map<std::string, QuestionRecord> last_question_map_;
    std::map<std::string, AnswerRecord> last_answer_map_;
    std::map<std::string, CommandText> text_record_map_;  // its keys are the activated devices
    std::set<std::string> dropped_device_set_;
    std::map<std::string, EvaluateRequest> reserved_request_map_;
    std::set<std::string> reserved_id_set_;
    std::string audio_file_storage_base_path_;
    const char* const all_devices_id_ = "0";
    const std::uint64_t all_devices_number_ = 0;
    const char* const trackwire_key_action_ = "Action";
    const char* const trackwire_key_uniq_id_ = "uniq_id";
    const char* const trackwire_key_get_device_info_ = "vdk_get_device_info";
    const char* const trackwire_key_result_ = "result";
    const char* const trackwire_key_retry_times_ = "retry_times";
    const char* const trackwire_key_device_name_ = "device_name";
    const char* const trackwire_key_channel_ = "channel";
    const char* const trackwire_key_rssi_ = "rssi";

private:
    // A task can outlive its object in the queue: objects go at a stop, and what is queued by then may run after
    // the next start.
    std::shared_ptr<const bool> alive_ = std::make_shared<const bool>(true);

    void CoverQuestionRecord(const std::string& device, const CommandAsk& ask);
    /// Whether question and recording have what their evaluation needs. What is missing is logged.
    static bool MayEvaluateStems(const CommandAsk& ask, std::int32_t error_number);
    static bool MayEvaluateParam(const CommandAsk& ask, std::int32_t error_number);
    /// Lets a recording pass to its evaluation, or keeps it back; of a bad one the client is told.
    bool AdmitToStems(const std::string& device, const std::string& file_name, const CommandAsk& ask,
                      std::optional<std::int32_t> error_number);
    bool AdmitToParam(const std::string& device, const std::string& file_name, const CommandAsk& ask,
                      std::optional<std::int32_t> error_number);
};

}  // namespace vdipc
