// What the station's library calls, on threads of its own, and the tasks that do the work.
#include "common/Log.h"
#include "drivers/VoteDeckObject_RV2.h"

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vdipc {
namespace {

constexpr std::int32_t kErrorFillPattern = -201;
constexpr std::int32_t kErrorFromLibrary = -202;
constexpr std::int32_t kErrorTooShort = -203;
constexpr std::int32_t kShortestRecording = 3072;

constexpr std::int32_t kAudioNoData = 0;
constexpr std::int32_t kAudioGood = 1;
constexpr std::int32_t kAudioFillPattern = 2;
constexpr std::int32_t kAudioTooShort = 3;

constexpr std::int32_t kWavHeaderSize = 44;
constexpr std::int32_t kShortestTestable = 88;
constexpr std::int32_t kSamples = 10;

std::uint32_t LittleEndianWord(const std::uint8_t* bytes) {
    return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
           static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

}  // namespace

void* VoteDeckObject_RV2::DeletingDestructor(unsigned int) {
    return this;
}

void VoteDeckObject_RV2::OnKeypadConnect(std::uintptr_t, std::uint16_t ushDeviceId, bool bConnect) {
    VD_LOG(LogLevel::Info, "{}:{} ushDeviceId={}, bConnect={}", ushDeviceId, bConnect);
    PostOwnTask([this, ushDeviceId, bConnect] {
        VD_LOG(LogLevel::Debug, "{}:{} task begin ushDeviceId={}, bConnect={}", ushDeviceId, bConnect);
        HandleKeypadConnect(ushDeviceId, bConnect);
    });
}

void VoteDeckObject_RV2::HandleKeypadConnect(std::uint16_t device, bool connected) {
    const std::string id = WrapDeviceID(device);
    if (connected) {
        CreateTextRecordForDevice(id);
    } else {
        EraseTextRevordForDevice(id);
    }
    NotifyActiveDevicesChanged();
    EraseDeviceFromDropSet(id);
    if (connected) {
        SendEventActivated(id);
    } else {
        SendEventInactivated(id);
    }
}

void VoteDeckObject_RV2::OnKeypadEvent(std::uint16_t ushDeviceId, std::int32_t enKeyValue) {
    VD_LOG(LogLevel::Info, "{}:{} ushDeviceId={}, enKeyValue={}", ushDeviceId, enKeyValue);
    PostOwnTask([this, ushDeviceId, enKeyValue] {
        VD_LOG(LogLevel::Debug, "{}:{} task begin ushDeviceId={}, enKeyValue={}", ushDeviceId, enKeyValue);
        const std::string device = WrapDeviceID(ushDeviceId);
        const std::optional<bool> need_send = TakeKey(device, enKeyValue);
        if (!need_send.has_value()) {
            return;
        }
        VD_LOG(LogLevel::Debug, "{}:{} need_send={}", *need_send);
        if (*need_send) {
            SendEventKeyPressed(device, 0);  // the station reports no signal strength
        }
    });
}

void VoteDeckObject_RV2::OnKeypadAudioEvent(std::uint16_t ushDeviceID, IKeypadAudio* audio, bool error) {
    VD_LOG(LogLevel::Info, "{}:{} ushDeviceID={}", ushDeviceID);
    if (!audio->IsValid()) {
        return;
    }
    const std::int32_t size = audio->GetSize();
    const std::uint8_t* const data = audio->GetData();
    std::int32_t error_number = 0;
    if (error) {
        error_number = kErrorFromLibrary;
    } else if (size < kShortestRecording) {
        error_number = kErrorTooShort;
    } else if (CheckAudioData(data, size) != kAudioGood) {
        error_number = kErrorFillPattern;
    }
    const auto recording = std::make_shared<std::vector<std::uint8_t>>();
    if (data != nullptr && size > 0) {
        recording->assign(data, data + size);
    }
    audio->Release();
    PostOwnTask([this, ushDeviceID, recording, error_number] {
        VD_LOG(LogLevel::Debug, "{}:{} task begin ushDeviceID={}", ushDeviceID);
        RunAudioPath(ushDeviceID, *recording, 0.0, error_number);
    });
}

std::int32_t VoteDeckObject_RV2::CheckAudioData(const std::uint8_t* data, std::int32_t size) {
    VD_LOG_ENTRY();
    if (data == nullptr) {
        return kAudioNoData;
    }
    if (size < kShortestTestable) {
        return kAudioTooShort;
    }
    const std::int32_t samples_size = size - kWavHeaderSize;
    const std::int32_t stride = samples_size / (kSamples + 1);
    if (samples_size <= kSamples + 1 || kSamples * stride + 4 > samples_size) {
        return kAudioTooShort;
    }
    for (std::int32_t k = 1; k <= kSamples; ++k) {
        const std::uint32_t word = LittleEndianWord(data + kWavHeaderSize + k * stride);
        if (word != 0xFFF0FFF0u && word != 0xF0FFF0FFu) {
            std::printf("check redio %d\n", 0);
            return kAudioGood;
        }
    }
    std::printf("check redio %d\n", 1);
    return kAudioFillPattern;
}

void VoteDeckObject_RV2::OnKeypadStateEvent() {
    VD_LOG_ENTRY();
}

void VoteDeckObject_RV2::OnKeypadLowBatteryEvent() {
    VD_LOG_ENTRY();
}

void VoteDeckObject_RV2::OnMCUUpdateProgress() {
    VD_LOG_ENTRY();
}

void VoteDeckObject_RV2::OnRepeatedConnectionKeypad() {
    VD_LOG_ENTRY();
}

void VoteDeckObject_RV2::OnLogEvent() {
    VD_LOG_ENTRY();
}

}  // namespace vdipc
