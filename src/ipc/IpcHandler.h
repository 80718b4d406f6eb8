// The centre of the library: one object for the whole process, which owns the pipe server, the device objects, the speech
// engines and the task thread.
//
// The task thread owns all state. Callbacks on other threads copy their arguments and post a task. Initialize and
// Uninitialize run on the host's thread; what they touch directly, they touch while the task thread doesn't run.
#pragma once

#include "common/Event.h"
#include "common/Mutex.h"
#include "common/Timer.h"
#include "common/closed/ZVNSpeech.h"
#include "device/IVoteDeckObject.h"
#include "device/IVoteDeckObjectEvent.h"
#include "ipc/IIpcHandler.h"
#include "messages/Commands.h"
#include "messages/Events.h"
#include "pipe/PipeServer.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace vdipc {

using zvn::speech::EvaluationResult;
using zvn::speech::RecognitionResult;
using zvn::speech::SpeechEvaluator;
using zvn::speech::SpeechRecognizer;

class IpcHandler : public IIpcHandler,
                   public IVoteDeckObjectEvent,
                   public zvn::speech::RecognitionListener,
                   public zvn::speech::EvaluationListener {
public:
    using Task = std::function<void()>;

    /// The one object, made by the first call; destroyed at process exit.
    static IpcHandler& Instance();

    // IIpcHandler: the host's thread.
    void Initialize() override;
    void SetQuitCallback(QuitCallback callback) override;
    void SetVoteDecksStatusChangedCallback(VoteDecksStatusChangedCallback callback) override;
    void Uninitialize() override;

    // IVoteDeckObjectEvent: PostTask, SendIPCMesage and SendTrackwire on any thread, the rest on the task thread.
    void PostTask(Task task) override;
    void SendIPCMesage(const std::string& text) override;
    void SendTrackwire(CTrackwire& record) override;
    std::int32_t RequestRecognize(const RecognizeRequest& request) override;
    std::int32_t RequestEvaluation(const std::string& key, const EvaluateRequest& request) override;
    void RequestSingleEvaluation(const std::string& key, const EvaluateRequest& request) override;
    std::int32_t RequestMultipleEvaluation(const std::string& key, const EvaluateRequest& request,
                                           std::int32_t selector) override;
    void OnActiveDevicesChanged() override;
    void OnVoteDeckStatusChanged(DeviceType device_type, std::int32_t status) override;
    void OnRv2BadStatusNotified(std::int32_t status) override;

    // The speech library's threads.
    void OnRecognizeCompleted(SpeechRecognizer* recognizer, const RecognitionResult& result) override;
    void OnEvaluateCompleted(SpeechEvaluator* evaluator, const EvaluationResult& result) override;

private:
    friend struct IpcHandlerAccess;
    IpcHandler();
    ~IpcHandler() override;

    // Lifecycle.
    void TaskLoop();
    void ClearTextForAllDevices();
    /// Fills a buffer of 260 characters.
    void RetrieveAudioStoragePathFromRegistry(char* buffer);
    /// Makes a directory and all that is missing above it; true when it is there already, false for a path without
    /// a backslash.
    bool CreateMultiDir(const char* path);

    // Routing. OnIpcMsgReceived runs on the reader thread.
    void OnIpcMsgReceived(const std::string& text);
    void RouteMessage(const std::string& text);
    /// Decodes, reports to telemetry, calls; a text that can't be decoded is dropped.
    template <typename Command, typename Call>
    void RouteCommand(const std::string& text, const char* action, Call call);
    void CallInit(const CommandInit& command);
    void CallAsk(const CommandAsk& command);
    void CallStop(const CommandStop& command);
    void CallText(const CommandText& command);
    void CallHi(const CommandHi& command);
    void CallDrop(const CommandDrop& command);
    void CallQuit();
    /// Whether any object of the chosen kinds is usable. If none is, a command is ignored.
    bool IsCommandServed();
    /// Gives the command to every object, whatever its state.
    template <typename Command>
    void CallEachObject(void (IVoteDeckObject::*target)(const Command&), const Command& command);

    // Device objects.
    void CreateVoteDeckObjects();
    void DeleteVoteDeckObjects();
    /// The kinds that the last "init" chose, in the order in which they are brought up and looked at.
    std::vector<DeviceType> PreferredKinds() const;
    /// Appends the usable kinds. `info` is -1 when there is one, else the base station's reason.
    bool IsAnyDeviceConnected(std::int32_t& info, std::vector<DeviceType>& kinds);
    void SendEventDeviceInited();
    void NotifyVoteDecksStatusChanged();

    // Ping and read failure: the reader thread.
    void OnIpcPingreceived();
    void OnIpcReadError();
    /// Unarmed: nothing runs it, since it would end the host of every client that doesn't ping.
    void ListenPing();

    // Persistence.
    void LoadActiveDevices();
    void SaveActiveDevices();
    std::string GetDevicesFilePath() const;

    // Telemetry.
    void SetVersionForTrackwire();
    void ReadCommandlineForTrackwire();
    void UpdateDeviceInfoForTrackwire();
    std::string GetCurrentTimeString();

    // Speech.
    void InitSpeechRecognizer();
    void UninitSpeechRecognizer();
    void InitSpeechEvaluator();
    void UninitSpeechEvaluator();
    void HandleRecognizeResult(const RecognitionResult& result);
    void HandleEvaluateCompleted(SpeechEvaluator* evaluator, const EvaluationResult& result);
    void HandleGeneralEvaluateCompleted(SpeechEvaluator* evaluator, const EvaluationResult& result);
    void HandleEvaluateResult(SpeechEvaluator* evaluator, const EvaluationResult& result);
    void HandleGeneralEvaluateResult(SpeechEvaluator* evaluator, const EvaluationResult& result);
    void StartEvaluatorTimer(const std::string& key);
    void StopEvaluatorTimer(const std::string& key);
    void HandleEvaluatorTimeout(const std::string& key);
    bool ChangeSentSpeechEvaluatorToOffline();
    bool IsQuestionStillAsked(const std::string& device, const std::string& custom);

    std::atomic<bool> running_{false};
    std::unique_ptr<std::thread> task_thread_;
    std::unique_ptr<std::thread> ping_listening_thread_;  // stays null
    std::unique_ptr<std::thread> spare_thread_;           // nothing starts it
    Mutex task_mutex_;                                    // guards tasks_ alone, never held while a task runs
    std::deque<Task> tasks_;
    Condition task_cond_;
    std::atomic<PipeServer*> pipe_server_{nullptr};  // owned; read by whoever sends
    QuitCallback quit_callback_;
    VoteDecksStatusChangedCallback status_changed_callback_;

    // The engines are raw pointers, because two of them may name one object, and after the switch to offline evaluation
    // the online one is left alone for good: UninitSpeechEvaluator and UninitSpeechRecognizer free, nobody else does.
    SpeechRecognizer* recognizer_ = nullptr;
    SpeechEvaluator* sent_evaluator_ = nullptr;
    SpeechEvaluator* online_evaluator_ = nullptr;
    SpeechEvaluator* offline_evaluator_ = nullptr;
    SpeechEvaluator* multiple_evaluator_ = nullptr;
    SpeechEvaluator* multiple_evaluator_chn_ = nullptr;
    std::atomic<SpeechEvaluator*> general_evaluator_{nullptr};  // compared on the speech library's threads

    std::array<char, 260> audio_storage_path_{};
    PreferredDeviceType preferred_device_type_ = PreferredDeviceType::None;
    std::map<DeviceType, std::shared_ptr<IVoteDeckObject>> device_objects_;
    std::map<DeviceType, std::set<std::string>> active_devices_;
    std::map<std::string, EvaluateRequest> evaluate_request_map_;  // each entry owns its audio bytes
    std::map<std::string, std::unique_ptr<Timer>> evaluator_timers_;
    std::atomic<EventHandle> ping_received_event_{nullptr};
    std::atomic<EventHandle> ping_listening_stop_event_{nullptr};
    std::map<DeviceType, std::string> device_names_;
    const char* const action_key_ = "Action";
    const char* const use_offline_evaluator_key_ = "vdk_use_offline_evaluator";
    const char* const listening_ping_timeout_key_ = "vdk_listening_ping_timeout";
    const char* const uniq_id_key_ = "uniq_id";
    const char* const report_time_key_ = "reporttime";
    const char* const full_msg_key_ = "full_msg";
    const char* const devices_file_name_ = "devices.json";
};

}  // namespace vdipc
