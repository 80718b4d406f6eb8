#include "tools/vdclient/Desk.h"

#include "tools/common/ClassroomClient.h"

#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

namespace vdipc::page {
std::vector<PageFile> TeacherPageFiles();  // tools/vdclient/page and the schemas, as they were built in
}

namespace vdipc::tools {
namespace {

using namespace std::chrono_literals;
using client::ConnectResult;

constexpr std::size_t kServerThreads = 24;
constexpr std::size_t kRecords = 20000;
constexpr auto kPingEvery = 2s;

constexpr const char* kPlainFront = "The teacher's desk\n\n"
                                    "  POST /send   a command; it is held against its schema first\n"
                                    "  GET  /live   the connection's state and all that crosses the pipe, as "
                                    "server-sent events; ?since=N\n\n"
                                    "In a browser this address is a page.\n";

Json::Value Okay() {
    Json::Value value;
    value["ok"] = true;
    return value;
}

void Answer(httplib::Response& response, const Json::Value& value) {
    response.set_content(CompactJson(value), "application/json");
}

}  // namespace

Desk::Desk(std::function<int()> classroom)
    : classroom_(std::move(classroom)), check_(page::TeacherPageFiles()), log_(kRecords),
      server_(kServerThreads) {
    AddRoutes();
}

void Desk::AddRoutes() {
    server_.AddFiles(page::TeacherPageFiles());
    server_.SetPlainFront(kPlainFront);
    server_.Get("/about", [this](const httplib::Request&, httplib::Response& response) {
        Json::Value value;
        value["classroom"] = classroom_();
        Answer(response, value);
    });
    server_.Get("/live", [this](const httplib::Request& request, httplib::Response& response) {
        const auto place = std::make_shared<DeskLog::Place>();
        const std::string since = request.get_param_value("since");
        if (!since.empty() && since.size() < 18 &&
            since.find_first_not_of("0123456789") == std::string::npos) {
            place->next = std::stoull(since);
        }
        response.set_chunked_content_provider("text/event-stream",
                                              [this, place](std::size_t, httplib::DataSink& sink) {
                                                  std::string events = log_.Next(*place, 1s);
                                                  if (events.empty()) {
                                                      events = ": nothing\n\n";
                                                  }
                                                  return sink.write(events.data(), events.size());
                                              });
    });
    server_.Post("/send", [this](const httplib::Request& request, httplib::Response& response) {
        SendCommand(request.body);
        Answer(response, Okay());
    });
    server_.Post("/connection", [this](const httplib::Request& request, httplib::Response& response) {
        const Json::Value value = ParseJsonText(request.body);
        if (!value.isObject() || !value["wanted"].isBool()) {
            throw std::invalid_argument(R"(the body must be {"wanted": true} or {"wanted": false})");
        }
        Want(value["wanted"].asBool());
        Answer(response, Okay());
    });
}

int Desk::Listen(int wanted_port) {
    const int port = server_.Listen(wanted_port);
    std::thread([this] { PingWhileOpen(); }).detach();
    return port;
}

void Desk::Tell(const char* state, const std::string& words) {
    const std::lock_guard lock(mutex_);
    open_ = std::string(state) == "open";
    status_ = Json::Value();
    status_["state"] = state;
    status_["words"] = words;
    log_.SetStatus(status_);
    changed_.notify_all();
}

void Desk::Want(bool wanted) {
    const std::lock_guard lock(mutex_);
    wanted_ = wanted;
    if (!wanted) {
        connection_.Cancel();
    }
    changed_.notify_all();
}

void Desk::Run() {
    for (;;) {
        {
            std::unique_lock lock(mutex_);
            if (!wanted_) {
                lock.unlock();
                Tell("closed", "");
                lock.lock();
            }
            changed_.wait(lock, [this] { return wanted_; });
        }
        ConnectResult result = ConnectResult::Failed;
        {
            const std::lock_guard lock(writing_);
            connection_.Close();
            result = connection_.Open(2s);
        }
        if (result == ConnectResult::Connected) {
            Tell("open", "");
            ReadUntilLost();
            Tell("lost", connection_.LastError());
        } else if (result != ConnectResult::Cancelled) {
            Tell("waiting", client::Describe(result));
            // A refusal comes at once, and would come as quickly again.
            std::unique_lock lock(mutex_);
            changed_.wait_for(lock, 500ms, [this] { return !wanted_; });
        }
    }
}

void Desk::ReadUntilLost() {
    client::Frame frame;
    while (connection_.Read(frame)) {
        if (client::IsPingReply(frame)) {
            const std::lock_guard lock(mutex_);
            const auto way = std::chrono::duration_cast<std::chrono::microseconds>(
                std::chrono::steady_clock::now() - ping_sent_);
            status_["ping_ms"] = static_cast<double>(way.count()) / 1000.0;
            log_.SetStatus(status_);
        } else if (client::IsMessage(frame)) {
            Json::Value message;
            try {
                message = ParseJsonText(frame.payload);
            } catch (const std::runtime_error&) {
                message = frame.payload;
            }
            log_.Note("came", message);
        }
    }
}

void Desk::PingWhileOpen() {
    for (;;) {
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [this] { return open_; });
            ping_sent_ = std::chrono::steady_clock::now();
        }
        {
            const std::lock_guard lock(writing_);
            connection_.Write(client::PingBytes(), kPingEvery);
        }
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, kPingEvery, [this] { return !open_; });
    }
}

void Desk::SendCommand(const std::string& json) {
    const std::string complaint = check_.Complaint(json);
    if (!complaint.empty()) {
        throw std::invalid_argument(complaint);
    }
    {
        const std::lock_guard lock(mutex_);
        if (!open_) {
            throw std::runtime_error("there is no connection to the library");
        }
    }
    const std::lock_guard lock(writing_);
    // Noted before its answers can be.
    log_.Note("sent", ParseJsonText(json));
    if (!connection_.Write(client::JsonFrameBytes(json), 10s)) {
        throw std::runtime_error("the connection was lost: " + connection_.LastError());
    }
}

}  // namespace vdipc::tools
