// Start and stop, and the task queue between them.
#include "common/Clock.h"
#include "common/Log.h"
#include "common/TextEncoding.h"
#include "common/Version.h"
#include "ipc/IpcHandler.h"

#include <utility>

namespace vdipc {

namespace {

constexpr std::uint32_t kLastTaskDelay = 2000;  // milliseconds for the keypads' displays to be cleared

}  // namespace

void IpcHandler::Initialize() {
    VD_LOG(LogLevel::Trace, "{}:{} VERSION:{}", ToNarrow(VDIPC_VERSION_WIDE));
    SetVersionForTrackwire();
    ReadCommandlineForTrackwire();
    LoadActiveDevices();
    // Null after Uninitialize. One that is there belongs to a task thread that ends the process below.
    pipe_server_.store(new PipeServer([this](const std::string& text) { OnIpcMsgReceived(text); },
                                      [this] { OnIpcPingreceived(); }, [this] { OnIpcReadError(); }));
    RetrieveAudioStoragePathFromRegistry(audio_storage_path_.data());
    CreateMultiDir(audio_storage_path_.data());
    CreateVoteDeckObjects();
    InitSpeechRecognizer();
    InitSpeechEvaluator();
    // Replacing the holder of a thread that still runs ends the process: Initialize without Uninitialize.
    task_thread_ = std::make_unique<std::thread>([this] { TaskLoop(); });
    PostTask([this] {
        PipeServer* const pipe_server = pipe_server_;
        if (pipe_server != nullptr) {
            pipe_server->Connect();
            VD_LOG(LogLevel::Debug, "{}:{} IPC connected");
        }
    });
}

void IpcHandler::Uninitialize() {
    VD_LOG_ENTRY();
    // The pipe goes first, so that no command arrives from here on. Disconnecting also frees a task thread that waits
    // for a client.
    PipeServer* const pipe_server = pipe_server_;
    if (pipe_server != nullptr) {
        pipe_server->Disconnect();
        PostTask([this] { delete pipe_server_.exchange(nullptr); });
    }
    PostTask([this] { ClearTextForAllDevices(); });
    PostTask([this] {
        SleepMilliseconds(kLastTaskDelay);
        for (auto& [device_type, object] : device_objects_) {
            if (object == nullptr) {
                continue;
            }
            object->Uninitialize();
            if (device_type == DeviceType::RV2) {
                VD_LOG(LogLevel::Debug, "{}:{} do not destroy rv2.0");
            } else {
                object.reset();
            }
        }
        running_ = false;
    });
    if (task_thread_ != nullptr) {
        task_thread_->join();
    }
    const EventHandle stop_event = ping_listening_stop_event_;
    if (stop_event != nullptr) {
        SignalEvent(stop_event);
    }
    if (ping_listening_thread_ != nullptr) {
        ping_listening_thread_->join();
    }
    DeleteVoteDeckObjects();
    SaveActiveDevices();
    UninitSpeechRecognizer();
    UninitSpeechEvaluator();
}

void IpcHandler::SetQuitCallback(QuitCallback callback) {
    quit_callback_.swap(callback);
}

void IpcHandler::SetVoteDecksStatusChangedCallback(VoteDecksStatusChangedCallback callback) {
    VD_LOG_ENTRY();
    PostTask([this, callback = std::move(callback)]() mutable {
        status_changed_callback_.swap(callback);
        NotifyVoteDecksStatusChanged();
    });
}

void IpcHandler::PostTask(Task task) {
    std::lock_guard lock(task_mutex_);
    tasks_.push_back(std::move(task));
    task_cond_.NotifyOne();
}

void IpcHandler::SendIPCMesage(const std::string& text) {
    VD_LOG_ENTRY();
    PipeServer* const pipe_server = pipe_server_;
    if (pipe_server != nullptr) {
        pipe_server->SendMsg(text);
    }
}

void IpcHandler::TaskLoop() {
    VD_LOG_ENTRY();
    running_ = true;
    do {
        Task task;
        {
            std::lock_guard lock(task_mutex_);
            while (tasks_.empty()) {
                task_cond_.Wait(task_mutex_);
            }
            task = std::move(tasks_.front());
            tasks_.pop_front();
        }
        task();
    } while (running_);
    VD_LOG(LogLevel::Debug, "{}:{} task loop end");
}

void IpcHandler::ClearTextForAllDevices() {
    VD_LOG_ENTRY();
    for (const auto& [device_type, object] : device_objects_) {
        if (object != nullptr) {
            object->ClearTextForAllDevices();
        }
    }
}

}  // namespace vdipc
