// A message loop that no message ever reaches.
#include "drivers/USBListener.h"

#include <chrono>
#include <thread>

namespace vdipc {

std::uint32_t USBListener::RunMessageLoop() {
    for (;;) {
        std::this_thread::sleep_for(std::chrono::hours(1));
    }
}

}  // namespace vdipc
