// Puts a function of the test's own in the place of one that this program imports.
#pragma once

#include <windows.h>

namespace vdipc::test {

/// While it lives, calls through the import slot (__imp_NAME) go to the replacement, on any thread.
class ImportHook {
public:
    /// `real` gets the imported function, for the replacement to call; may be null.
    template <typename Function>
    ImportHook(void** slot, Function replacement, Function* real) : slot_(slot), former_(*slot) {
        if (real != nullptr) {
            *real = reinterpret_cast<Function>(former_);
        }
        Write(reinterpret_cast<void*>(replacement));
    }
    ~ImportHook() { Write(former_); }
    ImportHook(const ImportHook&) = delete;
    ImportHook& operator=(const ImportHook&) = delete;

private:
    void Write(void* function) {
        DWORD protection = 0;
        VirtualProtect(slot_, sizeof(*slot_), PAGE_READWRITE, &protection);
        *static_cast<void* volatile*>(slot_) = function;
        VirtualProtect(slot_, sizeof(*slot_), protection, &protection);
    }

    void** slot_;
    void* former_;
};

}  // namespace vdipc::test
