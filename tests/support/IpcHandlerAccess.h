// Lets tests make, take down and look into a handler of their own, beside the process's one object.
#pragma once

#include "ipc/IpcHandler.h"

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vdipc {

/// The construction of a handler opens the log file and installs its sink: a test that records lines exchanges the
/// sink after Make().
struct IpcHandlerAccess {
    struct Deleter {
        void operator()(IpcHandler* handler) const { delete handler; }
    };
    using Pointer = std::unique_ptr<IpcHandler, Deleter>;

    static Pointer Make() { return Pointer(new IpcHandler()); }

    /// A handler that also keeps every text that goes through SendIPCMesage, in order.
    class Recording : public IpcHandler {
    public:
        Recording() = default;
        ~Recording() override = default;

        void SendIPCMesage(const std::string& text) override {
            {
                std::lock_guard lock(mutex_);
                messages_.push_back(text);
            }
            IpcHandler::SendIPCMesage(text);
        }

        /// Any thread.
        std::vector<std::string> Messages() const {
            std::lock_guard lock(mutex_);
            return messages_;
        }

    private:
        mutable std::mutex mutex_;
        std::vector<std::string> messages_;
    };

    static std::unique_ptr<Recording> MakeRecording() { return std::make_unique<Recording>(); }

    // The task queue.

    static std::size_t QueuedTasks(IpcHandler& h) {
        std::lock_guard lock(h.task_mutex_);
        return h.tasks_.size();
    }

    /// Runs the front task on the calling thread, as the task thread would; false when there is none.
    static bool RunOneTask(IpcHandler& h) {
        IpcHandler::Task task;
        {
            std::lock_guard lock(h.task_mutex_);
            if (h.tasks_.empty()) {
                return false;
            }
            task = std::move(h.tasks_.front());
            h.tasks_.pop_front();
        }
        task();
        return true;
    }

    /// Runs queued tasks until none is left, those that they post included; the result is their number.
    static std::size_t RunTasks(IpcHandler& h) {
        std::size_t count = 0;
        while (RunOneTask(h)) {
            ++count;
        }
        return count;
    }

    /// Wakes a task loop that waits, without a task.
    static void WakeTaskLoop(IpcHandler& h) {
        std::lock_guard lock(h.task_mutex_);
        h.task_cond_.NotifyOne();
    }

    // Lifecycle.
    static void TaskLoop(IpcHandler& h) { h.TaskLoop(); }
    static void ClearTextForAllDevices(IpcHandler& h) { h.ClearTextForAllDevices(); }
    static void RetrieveAudioStoragePathFromRegistry(IpcHandler& h, char* buffer) {
        h.RetrieveAudioStoragePathFromRegistry(buffer);
    }
    static bool CreateMultiDir(IpcHandler& h, const char* path) { return h.CreateMultiDir(path); }

    // Routing.
    static void OnIpcMsgReceived(IpcHandler& h, const std::string& text) { h.OnIpcMsgReceived(text); }
    static void RouteMessage(IpcHandler& h, const std::string& text) { h.RouteMessage(text); }
    static void CallInit(IpcHandler& h, const CommandInit& command) { h.CallInit(command); }
    static void CallAsk(IpcHandler& h, const CommandAsk& command) { h.CallAsk(command); }
    static void CallStop(IpcHandler& h, const CommandStop& command) { h.CallStop(command); }
    static void CallText(IpcHandler& h, const CommandText& command) { h.CallText(command); }
    static void CallHi(IpcHandler& h, const CommandHi& command) { h.CallHi(command); }
    static void CallDrop(IpcHandler& h, const CommandDrop& command) { h.CallDrop(command); }
    static void CallQuit(IpcHandler& h) { h.CallQuit(); }

    // Device objects.
    static void CreateVoteDeckObjects(IpcHandler& h) { h.CreateVoteDeckObjects(); }
    static void DeleteVoteDeckObjects(IpcHandler& h) { h.DeleteVoteDeckObjects(); }
    static bool IsAnyDeviceConnected(IpcHandler& h, std::int32_t& info, std::vector<DeviceType>& kinds) {
        return h.IsAnyDeviceConnected(info, kinds);
    }
    static void SendEventDeviceInited(IpcHandler& h) { h.SendEventDeviceInited(); }
    static void NotifyVoteDecksStatusChanged(IpcHandler& h) { h.NotifyVoteDecksStatusChanged(); }

    // Ping and read failure.
    static void OnIpcPingreceived(IpcHandler& h) { h.OnIpcPingreceived(); }
    static void OnIpcReadError(IpcHandler& h) { h.OnIpcReadError(); }
    static void ListenPing(IpcHandler& h) { h.ListenPing(); }

    // Persistence.
    static void LoadActiveDevices(IpcHandler& h) { h.LoadActiveDevices(); }
    static void SaveActiveDevices(IpcHandler& h) { h.SaveActiveDevices(); }
    static std::string GetDevicesFilePath(IpcHandler& h) { return h.GetDevicesFilePath(); }

    // Telemetry.
    static void SetVersionForTrackwire(IpcHandler& h) { h.SetVersionForTrackwire(); }
    static void ReadCommandlineForTrackwire(IpcHandler& h) { h.ReadCommandlineForTrackwire(); }
    static void UpdateDeviceInfoForTrackwire(IpcHandler& h) { h.UpdateDeviceInfoForTrackwire(); }
    static std::string GetCurrentTimeString(IpcHandler& h) { return h.GetCurrentTimeString(); }

    // Speech.
    static void InitSpeechRecognizer(IpcHandler& h) { h.InitSpeechRecognizer(); }
    static void UninitSpeechRecognizer(IpcHandler& h) { h.UninitSpeechRecognizer(); }
    static void InitSpeechEvaluator(IpcHandler& h) { h.InitSpeechEvaluator(); }
    static void UninitSpeechEvaluator(IpcHandler& h) { h.UninitSpeechEvaluator(); }
    static void StartEvaluatorTimer(IpcHandler& h, const std::string& key) { h.StartEvaluatorTimer(key); }
    static void StopEvaluatorTimer(IpcHandler& h, const std::string& key) { h.StopEvaluatorTimer(key); }
    static void HandleEvaluatorTimeout(IpcHandler& h, const std::string& key) {
        h.HandleEvaluatorTimeout(key);
    }
    static bool ChangeSentSpeechEvaluatorToOffline(IpcHandler& h) {
        return h.ChangeSentSpeechEvaluatorToOffline();
    }

    // Fields.
    static auto& Running(IpcHandler& h) { return h.running_; }
    static auto& TaskThread(IpcHandler& h) { return h.task_thread_; }
    static auto& PingListeningThread(IpcHandler& h) { return h.ping_listening_thread_; }
    static auto& SpareThread(IpcHandler& h) { return h.spare_thread_; }
    static auto& Server(IpcHandler& h) { return h.pipe_server_; }
    static auto& QuitCallbackOf(IpcHandler& h) { return h.quit_callback_; }
    static auto& StatusChangedCallbackOf(IpcHandler& h) { return h.status_changed_callback_; }
    static auto& Recognizer(IpcHandler& h) { return h.recognizer_; }
    static auto& SentEvaluator(IpcHandler& h) { return h.sent_evaluator_; }
    static auto& OnlineEvaluator(IpcHandler& h) { return h.online_evaluator_; }
    static auto& OfflineEvaluator(IpcHandler& h) { return h.offline_evaluator_; }
    static auto& MultipleEvaluator(IpcHandler& h) { return h.multiple_evaluator_; }
    static auto& MultipleEvaluatorChn(IpcHandler& h) { return h.multiple_evaluator_chn_; }
    static auto& GeneralEvaluator(IpcHandler& h) { return h.general_evaluator_; }
    static auto& AudioStoragePath(IpcHandler& h) { return h.audio_storage_path_; }
    static auto& Preferred(IpcHandler& h) { return h.preferred_device_type_; }
    static auto& DeviceObjects(IpcHandler& h) { return h.device_objects_; }
    static auto& ActiveDevices(IpcHandler& h) { return h.active_devices_; }
    static auto& EvaluateRequests(IpcHandler& h) { return h.evaluate_request_map_; }
    static auto& EvaluatorTimers(IpcHandler& h) { return h.evaluator_timers_; }
    static auto& PingReceivedEvent(IpcHandler& h) { return h.ping_received_event_; }
    static auto& PingListeningStopEvent(IpcHandler& h) { return h.ping_listening_stop_event_; }
    static auto& DeviceNames(IpcHandler& h) { return h.device_names_; }
};

}  // namespace vdipc
