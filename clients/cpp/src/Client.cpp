#include "vdipc/client/Client.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>

namespace vdipc::client {
namespace {

using Clock = std::chrono::steady_clock;

/// Waits on a condition, for ever where the time says so.
template <typename Condition>
bool WaitOn(std::condition_variable& changed, std::unique_lock<std::mutex>& lock,
            std::chrono::milliseconds timeout, Condition condition) {
    if (timeout == kForever) {
        changed.wait(lock, condition);
        return true;
    }
    return changed.wait_for(lock, timeout, condition);
}

}  // namespace

class Client::Engine {
public:
    explicit Engine(ClientOptions options) : options_(std::move(options)), connection_(options_.pipe_name) {}
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;
    ~Engine() { Close(); }

    ConnectResult Connect() {
        Close();
        {
            const std::lock_guard only_one(close_mutex_);
            if (!reader_.joinable()) {
                const std::lock_guard lock(mutex_);
                closing_ = false;
                finished_ = false;
                first_result_.reset();
                incoming_.clear();
                reader_ = std::thread([this] { Run(); });
            }
        }
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return first_result_.has_value(); });
        return *first_result_;
    }

    void Close() {
        const std::lock_guard only_one(close_mutex_);
        {
            const std::lock_guard lock(mutex_);
            closing_ = true;
            changed_.notify_all();
        }
        if (reader_.joinable()) {
            connection_.Cancel();
            reader_.join();
            connection_.Close();
        }
    }

    std::string LastError() const {
        const std::lock_guard lock(mutex_);
        return error_;
    }

    bool IsConnected() const {
        const std::lock_guard lock(mutex_);
        return served_;
    }

    SendResult Send(std::string bytes) {
        const std::lock_guard lock(mutex_);
        return Queue(std::move(bytes));
    }

    std::size_t Unsent() const {
        const std::lock_guard lock(mutex_);
        return unsent_;
    }

    bool Flush(std::chrono::milliseconds timeout) {
        std::unique_lock lock(mutex_);
        const std::uint64_t last = gone_ + outgoing_.size();
        WaitOn(changed_, lock, timeout, [this, last] { return gone_ >= last; });
        return gone_ >= last && (last <= lost_behind_ || last > lost_up_to_);
    }

    std::optional<std::chrono::duration<double, std::milli>> Ping(std::chrono::milliseconds timeout) {
        std::unique_lock lock(mutex_);
        const Clock::time_point begin = Clock::now();
        if (Queue(PingBytes()) != SendResult::Queued) {
            return {};
        }
        const std::uint64_t visit = visit_;
        const std::uint64_t mine = ++pings_;
        WaitOn(changed_, lock, timeout,
               [this, visit, mine] { return replies_ >= mine || !served_ || visit_ != visit; });
        if (visit_ != visit || replies_ < mine) {
            return {};
        }
        return Clock::now() - begin;
    }

    std::optional<Incoming> Next(std::chrono::milliseconds timeout) {
        std::unique_lock lock(mutex_);
        WaitOn(changed_, lock, timeout, [this] { return !incoming_.empty() || closing_ || finished_; });
        if (incoming_.empty()) {
            return {};
        }
        Incoming next = std::move(incoming_.front());
        incoming_.pop_front();
        return next;
    }

    std::size_t Waiting() const {
        const std::lock_guard lock(mutex_);
        return incoming_.size();
    }

private:
    /// With the lock.
    SendResult Queue(std::string bytes) {
        if (!served_) {
            return SendResult::NotConnected;
        }
        if (unsent_ != 0 && unsent_ + bytes.size() > options_.send_limit) {
            return SendResult::Full;
        }
        unsent_ += bytes.size();
        outgoing_.push_back(std::move(bytes));
        changed_.notify_all();
        return SendResult::Queued;
    }

    /// The reader's thread: one visit to the library after the other.
    void Run() {
        ConnectResult result = Enter(options_.connect_timeout);
        while (result == ConnectResult::Connected) {
            Stay();
            if (!options_.reconnect || !Pause()) {
                break;
            }
            result = Enter(kForever);
        }
        const std::lock_guard lock(mutex_);
        if (visit_ > 0 && (result == ConnectResult::NotServed || result == ConnectResult::Failed)) {
            Push({ConnectionGivenUp{result}, {}});
        }
        finished_ = true;
        changed_.notify_all();
    }

    /// The pause before a connection is made anew; false when there is no other.
    bool Pause() {
        std::unique_lock lock(mutex_);
        return !changed_.wait_for(lock, options_.reconnect_pause, [this] { return closing_; });
    }

    /// Opens the pipe, and makes sure that somebody serves it.
    ConnectResult Enter(std::chrono::milliseconds timeout) {
        const Clock::time_point begin = Clock::now();
        ConnectResult result = ConnectResult::Failed;
        Frame first;
        for (;;) {
            std::chrono::milliseconds left = kForever;
            if (timeout != kForever) {
                left = timeout - std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
            }
            result = connection_.Open(left);
            if (result != ConnectResult::Connected) {
                break;
            }
            // Whatever comes shows that somebody serves: events that nobody has heard yet come before the reply.
            const Clock::time_point asked = Clock::now();
            if (connection_.Write(PingBytes(), options_.ping_timeout) &&
                connection_.Read(first, options_.ping_timeout)) {
                break;
            }
            NoteError();
            const bool silence = Clock::now() - asked >= options_.ping_timeout;
            connection_.Close();
            if (silence) {
                result = ConnectResult::NotServed;
                break;
            }
            // Whoever was there has hung up; the next one may stay.
            if (!Pause()) {
                result = ConnectResult::Cancelled;
                break;
            }
            result = ConnectResult::Failed;
            if (left != kForever && Clock::now() - begin >= timeout) {
                break;
            }
        }
        if (result != ConnectResult::Connected && result != ConnectResult::NotServed) {
            NoteError();
        }
        const std::lock_guard lock(mutex_);
        if (result == ConnectResult::Connected) {
            served_ = true;
            pings_ = 1;
            replies_ = 0;
            if (++visit_; first_result_) {
                Push({ConnectionBack{}, {}});
            }
            Take(std::move(first));
        }
        if (!first_result_) {
            first_result_ = closing_ ? ConnectResult::Cancelled : result;
        }
        changed_.notify_all();
        return result;
    }

    /// Reads, and lets another thread write, until the connection is lost.
    void Stay() {
        std::thread writer([this] { WriteUntilLost(); });
        Frame frame;
        while (connection_.Read(frame)) {
            const std::lock_guard lock(mutex_);
            Take(std::move(frame));
        }
        NoteError();
        {
            const std::lock_guard lock(mutex_);
            served_ = false;
            changed_.notify_all();
        }
        connection_.Cancel();
        writer.join();
        connection_.Close();
        const std::lock_guard lock(mutex_);
        if (!closing_) {
            Push({ConnectionLost{error_, outgoing_.size()}, {}});
        }
        if (!outgoing_.empty()) {
            lost_behind_ = gone_;
            lost_up_to_ = gone_ += outgoing_.size();
            outgoing_.clear();
        }
        unsent_ = 0;
        changed_.notify_all();
    }

    void NoteError() {
        std::string words = connection_.LastError();
        const std::lock_guard lock(mutex_);
        error_ = std::move(words);
    }

    void WriteUntilLost() {
        std::unique_lock lock(mutex_);
        for (;;) {
            changed_.wait(lock, [this] { return !outgoing_.empty() || !served_; });
            if (!served_) {
                return;
            }
            // It stays in its place until it is written, so that what was lost can be counted.
            const std::string& bytes = outgoing_.front();
            lock.unlock();
            const bool written = connection_.Write(bytes);
            lock.lock();
            if (!written) {
                return;
            }
            unsent_ -= outgoing_.front().size();
            outgoing_.pop_front();
            ++gone_;
            changed_.notify_all();
        }
    }

    /// With the lock.
    void Take(Frame frame) {
        if (IsPingReply(frame) && replies_ < pings_) {
            ++replies_;
            changed_.notify_all();
        } else if (IsPingReply(frame)) {
            Push({Event(UnknownEvent{"a reply that no ping asked for"}), std::move(frame)});
        } else if (IsMessage(frame)) {
            Event event = ParseEvent(frame.payload);
            Push({std::move(event), std::move(frame)});
        } else {
            Push({Event(UnknownEvent{"a frame of an unknown kind"}), std::move(frame)});
        }
    }

    void Push(Incoming incoming) {
        incoming_.push_back(std::move(incoming));
        changed_.notify_all();
    }

    const ClientOptions options_;
    Connection connection_;
    std::thread reader_;
    std::mutex close_mutex_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    bool closing_ = true;
    bool finished_ = true;
    bool served_ = false;
    std::optional<ConnectResult> first_result_;
    std::string error_;
    std::uint64_t visit_ = 0;
    std::uint64_t pings_ = 0;
    std::uint64_t replies_ = 0;
    std::deque<std::string> outgoing_;
    std::size_t unsent_ = 0;
    /// So many frames have left the queue; of them the last connection that was lost took the ones between the next two.
    std::uint64_t gone_ = 0;
    std::uint64_t lost_behind_ = 0;
    std::uint64_t lost_up_to_ = 0;
    std::deque<Incoming> incoming_;
};

Client::Client(ClientOptions options) : engine_(std::make_unique<Engine>(std::move(options))) {}

Client::~Client() = default;

ConnectResult Client::Connect() {
    return engine_->Connect();
}

std::string Client::LastError() const {
    return engine_->LastError();
}

bool Client::IsConnected() const {
    return engine_->IsConnected();
}

SendResult Client::Send(const Command& command) {
    try {
        return SendJson(ToJson(command));
    } catch (const std::invalid_argument&) {
        return SendResult::Invalid;
    }
}

SendResult Client::SendJson(const std::string& json) {
    return engine_->Send(JsonFrameBytes(json));
}

SendResult Client::SendBytes(std::string bytes) {
    return engine_->Send(std::move(bytes));
}

std::size_t Client::Unsent() const {
    return engine_->Unsent();
}

bool Client::Flush(std::chrono::milliseconds timeout) {
    return engine_->Flush(timeout);
}

std::optional<std::chrono::duration<double, std::milli>> Client::Ping(std::chrono::milliseconds timeout) {
    return engine_->Ping(timeout);
}

std::optional<Incoming> Client::Next(std::chrono::milliseconds timeout) {
    return engine_->Next(timeout);
}

std::size_t Client::Waiting() const {
    return engine_->Waiting();
}

void Client::Close() {
    engine_->Close();
}

}  // namespace vdipc::client
