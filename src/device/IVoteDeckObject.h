// One kind of receiver hardware, as the handler sees it.
#pragma once

#include "device/IVoteDeckObjectEvent.h"
#include "messages/Commands.h"
#include "messages/Events.h"

#include <cstdint>
#include <set>
#include <string>

namespace vdipc {

/// All operations run on the task thread while that runs. The host's thread makes an object and gives it its path, its
/// listener and its devices before; behind it, the host's thread asks for the devices of an object that is still there. A
/// device id is a keypad's 32-bit number as decimal text; "0" means all keypads of the object.
class IVoteDeckObject {
public:
    virtual ~IVoteDeckObject() = default;
    virtual void SetEventListener(IVoteDeckObjectEvent* listener) = 0;
    /// Brings the hardware up; the result is the status.
    virtual std::int32_t Initialize() = 0;
    virtual void Uninitialize() = 0;
    virtual void SetAudioFileStorageBasePath(const std::string& path) = 0;
    virtual void HandleAsk(const CommandAsk& ask) = 0;
    virtual void HandleStop(const CommandStop& stop) = 0;
    virtual void HandleText(const CommandText& text) = 0;
    virtual void HandleHi(const CommandHi& hi) = 0;
    virtual void HandleDrop(const CommandDrop& drop) = 0;
    virtual void ClearTextForAllDevices() = 0;
    /// -1 is the one number that means usable.
    virtual std::int32_t GetDeviceStatus() = 0;
    virtual DeviceInfoRecord GetDeviceInfo() = 0;
    /// Whether the device's last question is still open and carries this custom text.
    virtual bool CheckLastQuestionCustom(const std::string& device, const std::string& custom) = 0;
    virtual std::set<std::string> GetActivatedDeviceSet() = 0;
    /// Adds, and never removes.
    virtual void SetActivatedDeviceSet(std::set<std::string> devices) = 0;
    virtual void StartQuestion(const std::string& device, QuestionType type) = 0;
    virtual void StopQuestion(const std::string& device) = 0;
    virtual void SetText(const std::string& device, bool has_row1, const std::string& row1, bool has_row2,
                         const std::string& row2, bool has_row3, const std::string& row3) = 0;
};

}  // namespace vdipc
