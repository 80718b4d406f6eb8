#include "tests/system/support/Resources.h"

#include "tests/system/support/SystemTest.h"

#include <windows.h>

#include <psapi.h>
#include <tlhelp32.h>
#include <winternl.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <utility>

namespace vdipc::test {
namespace {

struct HandleEntry {
    void* object;
    std::uintptr_t process_id;
    std::uintptr_t handle;
    std::uint32_t rest[4];
};

/// Counted in the system's list of all handles: to the question about one process Wine says 0, and its list of processes
/// has the size of their tables.
std::size_t HandlesOf(std::uint32_t process_id) {
    using Query = NTSTATUS(NTAPI*)(ULONG, PVOID, ULONG, PULONG);
    constexpr ULONG kAllHandles = 64;
    const auto query = reinterpret_cast<Query>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
    // Two numbers, the first of them that of the entries, and the entries.
    std::vector<std::uintptr_t> room(1 << 20);
    ULONG used = 0;
    if (query == nullptr ||
        query(kAllHandles, room.data(), static_cast<ULONG>(room.size() * sizeof room[0]), &used) < 0) {
        return 0;
    }
    const auto* const first = reinterpret_cast<const HandleEntry*>(&room[2]);
    return static_cast<std::size_t>(std::count_if(
        first, first + room[0], [=](const HandleEntry& entry) { return entry.process_id == process_id; }));
}

std::size_t ThreadsOf(std::uint32_t process_id) {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    std::size_t count = 0;
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Thread32First(snapshot, &entry); more != FALSE; more = Thread32Next(snapshot, &entry)) {
        count += entry.th32OwnerProcessID == process_id ? 1U : 0U;
    }
    CloseHandle(snapshot);
    return count;
}

}  // namespace

Resources ResourcesOf(std::uint32_t process_id) {
    Resources resources;
    const HANDLE process = OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, process_id);
    if (process == nullptr) {
        return resources;
    }
    PROCESS_MEMORY_COUNTERS_EX memory{};
    GetProcessMemoryInfo(process, reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&memory), sizeof memory);
    resources.private_kib = (memory.PrivateUsage != 0 ? memory.PrivateUsage : memory.PagefileUsage) / 1024;
    DWORD handles = 0;
    GetProcessHandleCount(process, &handles);
    CloseHandle(process);
    resources.handles = handles != 0 ? handles : HandlesOf(process_id);
    resources.threads = ThreadsOf(process_id);
    return resources;
}

std::size_t Repeated(std::size_t count) {
    const char* const text = std::getenv("VDIPC_FAULT_FACTOR");
    const unsigned long factor = text != nullptr ? std::strtoul(text, nullptr, 10) : 1;
    return count * std::max<std::size_t>(factor, 1);
}

FaultRow::FaultRow(std::string name, std::uint32_t process_id) : name_(std::move(name)) {
    Rebase(process_id);
}

void FaultRow::Rebase(std::uint32_t process_id) {
    process_id_ = process_id;
    before_ = Now();
    // Without figures there would be nothing to compare.
    EXPECT_GT(before_.handles, 0U);
    EXPECT_GT(before_.threads, 0U);
    EXPECT_GT(before_.private_kib, 0U);
}

bool FaultRow::IsWithin(const Resources& now, const Resources& allowed) const {
    return now.handles <= before_.handles + allowed.handles &&
           now.threads <= before_.threads + allowed.threads &&
           now.private_kib <= before_.private_kib + allowed.private_kib;
}

void FaultRow::Finish(const Resources& allowed) {
    // What comes and goes with the system's own threads is not read a second time.
    Resources after;
    WaitFor(
        [&] {
            after = Now();
            return IsWithin(after, allowed);
        },
        kPatience);
    std::cout << "row " << name_ << ": " << times_ << " times, handles " << before_.handles << " -> "
              << after.handles << ", threads " << before_.threads << " -> " << after.threads
              << ", private KiB " << before_.private_kib << " -> " << after.private_kib << std::endl;
    EXPECT_GT(after.handles, 0U) << "the host is gone";
    EXPECT_LE(after.handles, before_.handles + allowed.handles) << name_;
    EXPECT_LE(after.threads, before_.threads + allowed.threads) << name_;
    EXPECT_LE(after.private_kib, before_.private_kib + allowed.private_kib) << name_;
}

void FaultRow::FinishPlaying(const std::function<void()>& faults, const Resources& allowed) {
    for (int measure = 0; measure < 3 && !testing::Test::HasFailure(); ++measure) {
        Rebase(process_id_);
        faults();
        if (testing::Test::HasFailure() ||
            WaitFor([&] { return IsWithin(Now(), allowed); }, std::chrono::seconds(10))) {
            break;
        }
    }
    Finish(allowed);
}

}  // namespace vdipc::test
