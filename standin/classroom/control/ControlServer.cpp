#include "classroom/control/ControlServer.h"

#include "classroom/control/ActionReader.h"
#include "classroom/control/LiveStream.h"
#include "tools/page/PageServer.h"

#include <httplib.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vdipc::page {
std::vector<PageFile> ClassroomPageFiles();  // standin/page, as it was built in
}

namespace vdipc::classroom {
namespace {

constexpr const char* kJson = "application/json";

// Also the number of event streams that can be open at once, so there are a few more than anybody needs.
constexpr std::size_t kServerThreads = 24;

constexpr const char* kWelcome =
    "SIMULATED classroom\n\n"
    "  POST /do             one JSON action or an array of them\n"
    "  GET  /state          the whole world; ?keypads=0, ?kind=LW, ?keypad=7\n"
    "  GET  /saw            what the product did, as server-sent events; "
    "?since=N as an array, &wait_ms=MS\n"
    "  GET  /live           both, for the page that a browser gets here; ?tail=N\n\n"
    "docs/classroom.md describes all of it.\n";

/// A number among the parameters of the address; raises ActionError where it is none.
std::optional<std::uint64_t> Parameter(const httplib::Request& request, const char* name) {
    if (!request.has_param(name)) {
        return std::nullopt;
    }
    const std::string text = request.get_param_value(name);
    if (text.empty() || text.size() > 18 || text.find_first_not_of("0123456789") != std::string::npos) {
        throw ActionError(std::string(name) + " must be a number, not '" + text + "'");
    }
    return std::stoull(text);
}

Json::Value ParseBody(const std::string& body) {
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value value;
    std::string errors;
    if (!reader->parse(body.data(), body.data() + body.size(), &value, &errors)) {
        throw ActionError("the body must be JSON: " + errors);
    }
    return value;
}

std::string JoinArray(const std::vector<std::string>& records) {
    std::string text = "[";
    for (const std::string& record : records) {
        text += (text.size() > 1 ? ",\n" : "") + record;
    }
    return text + "]";
}

}  // namespace

struct ControlServer::Http {
    page::PageServer server{kServerThreads};
};

ControlServer::ControlServer(World& world, Actions& actions)
    : world_(world), actions_(actions), http_(std::make_unique<Http>()) {
    AddRoutes();
}

ControlServer::~ControlServer() = default;

void ControlServer::AddRoutes() {
    page::PageServer& server = http_->server;
    server.AddFiles(page::ClassroomPageFiles());
    server.SetPlainFront(kWelcome);
    server.Post("/do", [this](const httplib::Request& request, httplib::Response& response) {
        response.set_content(CompactJson(actions_.Do(ParseBody(request.body))), kJson);
    });
    server.Get("/state", [this](const httplib::Request& request, httplib::Response& response) {
        std::optional<Kind> kind;
        for (const Kind known : kKinds) {
            if (request.get_param_value("kind") == KindName(known)) {
                kind = known;
            }
        }
        if (request.has_param("kind") && !kind) {
            throw ActionError("kind must be RV2, TQ1, TQ2, RV1 or LW");
        }
        std::optional<std::uint32_t> number;
        if (const auto keypad = Parameter(request, "keypad")) {
            number = static_cast<std::uint32_t>(*keypad);
        }
        const bool keypads = Parameter(request, "keypads").value_or(1) != 0;
        response.set_content(CompactJson(actions_.State(keypads, kind, number)), kJson);
    });
    server.Get("/saw", [this](const httplib::Request& request, httplib::Response& response) {
        if (const auto since = Parameter(request, "since")) {
            const std::chrono::milliseconds wait(Parameter(request, "wait_ms").value_or(0));
            std::uint64_t next = 0;
            response.set_content(JoinArray(world_.journal.Since(*since, SIZE_MAX, wait, next)), kJson);
            return;
        }
        const auto next = std::make_shared<std::uint64_t>(0);
        response.set_chunked_content_provider(
            "text/event-stream", [this, next](std::size_t, httplib::DataSink& sink) {
                const std::vector<std::string> records =
                    world_.journal.Since(*next, 1000, std::chrono::milliseconds(1000), *next);
                // A comment when there is nothing to tell: writing is how a lost reader is found out.
                std::string events = records.empty() ? ": SIMULATED\n\n" : "";
                for (const std::string& record : records) {
                    events += "data: " + record + "\n\n";
                }
                return sink.write(events.data(), events.size());
            });
    });
    server.Get("/live", [this](const httplib::Request& request, httplib::Response& response) {
        const auto stream =
            std::make_shared<LiveStream>(world_, actions_, Parameter(request, "tail").value_or(0));
        response.set_chunked_content_provider("text/event-stream",
                                              [stream](std::size_t, httplib::DataSink& sink) {
                                                  const std::string events = stream->Next();
                                                  return sink.write(events.data(), events.size());
                                              });
    });
}

int ControlServer::Listen(int wanted_port) {
    return http_->server.Listen(wanted_port);
}

}  // namespace vdipc::classroom
