// The record and the buffer of one overlapped operation. An operation that is given up is not cancelled: the system goes
// on using both until it completes by itself, or until the pipe is closed.
#pragma once

#include <windows.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace vdipc {

struct OverlappedOperation {
    OVERLAPPED overlapped = {};
    std::vector<char> buffer;
};

/// An operation that has not begun, with an empty buffer. Any thread.
std::unique_ptr<OverlappedOperation> TakeOperation();

/// Frees an operation that is done, or keeps it for the next one to take; keeps another one as long as the system needs
/// it. Null stands for one that never began: the record of a call that failed at once looks pending for ever. Any thread.
void ReleaseOperation(std::unique_ptr<OverlappedOperation> operation);

/// Operations that are kept. Those that have become done meanwhile count until the next release.
std::size_t PendingOperations();

}  // namespace vdipc
