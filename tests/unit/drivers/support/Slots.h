// Interfaces to closed libraries as bare tables of function pointers: calls are noted with the slot that they came
// through, whichever side was written by hand. A member function takes its object first, under every compiler for x64.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <type_traits>
#include <utility>
#include <vector>

// A hand-made object has no type for the sanitizer to find.
#if defined(__GNUC__)
#define VDIPC_HAND_MADE_OBJECT __attribute__((no_sanitize("vptr")))
#else
#define VDIPC_HAND_MADE_OBJECT
#endif

namespace vdipc::test {

/// One call: its slot, and its arguments as numbers.
struct SlotCall {
    int slot = -1;
    std::vector<std::uint64_t> arguments;

    bool operator==(const SlotCall&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const SlotCall& call) {
    out << "slot " << call.slot << " (";
    for (const std::uint64_t argument : call.arguments) {
        out << " " << argument;
    }
    return out << " )";
}

template <typename T>
std::uint64_t AsWord(const T& value) {
    if constexpr (std::is_same_v<T, float>) {
        return std::bit_cast<std::uint32_t>(value);
    } else if constexpr (std::is_pointer_v<T>) {
        return reinterpret_cast<std::uintptr_t>(value);
    } else if constexpr (std::is_class_v<T>) {
        return value ? 1 : 0;  // a function object
    } else {
        return static_cast<std::uint64_t>(value);
    }
}

inline std::vector<SlotCall>& SlotCalls() {
    static std::vector<SlotCall> calls;
    return calls;
}

inline std::vector<SlotCall> TakeSlotCalls() {
    return std::exchange(SlotCalls(), {});
}

template <typename... Arguments>
void NoteSlot(int slot, const Arguments&... arguments) {
    SlotCalls().push_back({slot, {AsWord(arguments)...}});
}

/// What every operation with a result answers.
template <typename Result>
Result SlotAnswer() {
    if constexpr (std::is_pointer_v<Result>) {
        return reinterpret_cast<Result>(std::uintptr_t{0x7A0});
    } else if constexpr (std::is_same_v<Result, bool>) {
        return true;
    } else if constexpr (!std::is_void_v<Result>) {
        return static_cast<Result>(-77);
    }
}

using SlotFunction = void (*)();

/// One row of a table, by its place and its types.
template <int Index, typename Result, typename... Arguments>
struct SlotRow {
    static constexpr int kIndex = Index;

    /// An entry of a hand-made table.
    static Result Enter(void*, Arguments... arguments) {
        NoteSlot(Index, arguments...);
        return SlotAnswer<Result>();
    }

    /// Calls an object the way a binary caller does.
    static Result Call(void* object, Arguments... arguments) {
        const SlotFunction* const table = *static_cast<SlotFunction* const*>(object);
        return reinterpret_cast<Result (*)(void*, Arguments...)>(table[Index])(object,
                                                                               std::move(arguments)...);
    }
};

/// A hand-made object: nothing but the pointer to its table.
template <typename... Rows>
class HandMadeObject {
public:
    template <typename Interface>
    Interface* As() {
        return reinterpret_cast<Interface*>(this);
    }

private:
    template <std::size_t... Places>
    static constexpr bool InOrder(std::index_sequence<Places...>) {
        return ((Rows::kIndex == static_cast<int>(Places)) && ...);
    }
    static_assert(InOrder(std::index_sequence_for<Rows...>()));

    inline static const SlotFunction kEntries[] = {reinterpret_cast<SlotFunction>(&Rows::Enter)...};
    const SlotFunction* table_ = kEntries;
};

}  // namespace vdipc::test
