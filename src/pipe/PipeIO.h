// Traffic on one connected server end of the pipe: a reader thread that hands each frame to a callback, and a writer
// thread fed by a queue.
#pragma once

#include "common/Event.h"
#include "common/Mutex.h"
#include "pipe/PipeData.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

namespace vdipc {

using PipeHandle = void*;

/// Handle value that stands for no pipe.
PipeHandle InvalidPipeHandle();

/// Lives from the moment that a client has connected until the client is dropped; an object that exists has been
/// started. A read failure ends the reader, and the object then waits for its owner to destroy it.
class PipeIO {
public:
    using DataCallback = std::function<void(const PipeData&)>;
    using ErrorCallback = std::function<void()>;

    /// The handle is borrowed. Both callbacks run on the reader thread; the error callback comes at most once, and must
    /// not destroy the object.
    PipeIO(PipeHandle pipe, DataCallback data_callback, ErrorCallback error_callback);
    PipeIO(const PipeIO&) = delete;
    PipeIO& operator=(const PipeIO&) = delete;
    /// Stops; frames still queued are freed unsent.
    virtual ~PipeIO();

    void Start();
    /// Ends and joins both threads. No system operation is cancelled: whoever owns the handle disconnects it afterwards.
    void Stop();
    /// Queues the record, of which the caller keeps nothing or a deep copy. Any thread; never waits for the pipe, and
    /// reports nothing.
    void Send(PipeData data);

private:
    friend struct PipeIOAccess;

    void ReadThread();
    void WriteThread();
    /// One read of a header field, by way of a buffer of its size; false unless it came whole.
    bool ReadField(std::vector<char>& bytes, std::int32_t& field);
    /// One overlapped operation each: the number of bytes that the system reports, 0 on every failure. It has as many bytes
    /// as the buffer. An operation that fails keeps the buffer, which the system may still use.
    std::uint32_t Read(std::vector<char>& buffer);
    std::uint32_t Write(std::vector<char>& buffer);
    /// Waits for the operation in progress, without time-out. An operation that was begun while Stop was looking for its
    /// event is not waited for: nobody would signal it.
    void WaitForOperation(const std::atomic<EventHandle>& event);

    const PipeHandle pipe_;  // owned by PipeServer
    // The event of the operation in progress, or null. Stop signals and nulls it from outside, without a lock.
    std::atomic<EventHandle> write_event_{nullptr};
    std::atomic<EventHandle> read_event_{nullptr};
    std::unique_ptr<std::thread> write_thread_;
    std::unique_ptr<std::thread> read_thread_;
    DataCallback data_callback_;
    ErrorCallback error_callback_;
    std::atomic<bool> running_{false};
    Mutex mutex_;  // guards send_queue_ alone, never held during I/O
    std::deque<PipeData> send_queue_;
    Condition send_cond_;
};

}  // namespace vdipc
