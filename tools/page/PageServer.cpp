#include "tools/page/PageServer.h"

#include <json/json.h>

#include <exception>
#include <stdexcept>
#include <thread>
#include <utility>

namespace vdipc::page {
namespace {

constexpr const char* kPlain = "text/plain; charset=utf-8";

// Nothing but the page's own files runs in it, text can't become markup by mistake, and only pages of this machine may
// show it in a frame.
constexpr const char* kPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; connect-src 'self'; "
    "frame-src http://127.0.0.1:* http://localhost:*; "
    "frame-ancestors 'self' http://127.0.0.1:* http://localhost:*; "
    "base-uri 'none'; form-action 'none'; require-trusted-types-for 'script'; trusted-types 'none'";

void Answer(httplib::Response& response, int status, const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    response.status = status;
    response.set_content(Json::writeString(builder, value), "application/json");
}

}  // namespace

PageServer::PageServer(std::size_t threads) {
    server_.new_task_queue = [threads] { return new httplib::ThreadPool(threads); };
    server_.set_tcp_nodelay(true);
    server_.set_default_headers({{"X-Content-Type-Options", "nosniff"},
                                 {"Cross-Origin-Resource-Policy", "same-origin"},
                                 {"Referrer-Policy", "no-referrer"},
                                 {"Cache-Control", "no-store"}});
    server_.set_exception_handler(
        [](const httplib::Request&, httplib::Response& response, std::exception_ptr error) {
            Json::Value value;
            value["ok"] = false;
            try {
                std::rethrow_exception(error);
            } catch (const std::exception& failure) {
                value["error"] = failure.what();
            }
            Answer(response, 400, value);
        });
}

// Asked in each route and not ahead of them all: in a route the request's body has been read. A body that nobody reads would
// be taken for the next request on the connection, and a page writes into a body whatever it likes.
httplib::Server::Handler PageServer::Guarded(Access access, Handler handler) const {
    return [this, access, handler = std::move(handler)](const httplib::Request& request,
                                                        httplib::Response& response) {
        if (const auto refusal = guard_.Refuse(request, access)) {
            Json::Value value;
            value["ok"] = false;
            value["reason"] = refusal->reason;
            value["error"] = refusal->words;
            Answer(response, 403, value);
            return;
        }
        handler(request, response);
    };
}

void PageServer::Get(const std::string& pattern, Handler handler) {
    server_.Get(pattern, Guarded(Access::Read, std::move(handler)));
}

void PageServer::Post(const std::string& pattern, Handler handler) {
    server_.Post(pattern, Guarded(Access::Change, std::move(handler)));
}

void PageServer::AddFiles(const std::vector<PageFile>& files) {
    for (const PageFile& file : files) {
        files_.emplace(file.path, file);
    }
}

void PageServer::ServeFile(const httplib::Request& request, httplib::Response& response) const {
    const bool front = request.path == "/";
    const std::string accepts = request.get_header_value("Accept");
    if (front && !plain_front_.empty() && accepts.find("text/html") == std::string::npos) {
        response.set_content(plain_front_, kPlain);
        return;
    }
    const auto found = files_.find(front ? "/index.html" : request.path);
    if (found == files_.end()) {
        response.status = 404;
        response.set_content("There is nothing of this name here.\n", kPlain);
        return;
    }
    const PageFile& file = found->second;
    response.set_header("Content-Security-Policy", kPolicy);
    response.set_content(file.content.data(), file.content.size(), std::string(file.type).c_str());
}

int PageServer::Listen(int wanted_port) {
    Get("/token", [this](const httplib::Request&, httplib::Response& response) {
        Json::Value value;
        value["token"] = guard_.Token();
        Answer(response, 200, value);
    });
    server_.Get(".*",
                Guarded(Access::Page, [this](const httplib::Request& request, httplib::Response& response) {
                    ServeFile(request, response);
                }));
    constexpr const char* host = "127.0.0.1";
    int port = wanted_port;
    if (wanted_port == 0) {
        port = server_.bind_to_any_port(host);
    } else if (!server_.bind_to_port(host, wanted_port)) {
        port = -1;
    }
    if (port <= 0) {
        throw std::runtime_error("port " + std::to_string(wanted_port) + " of 127.0.0.1 can't be had");
    }
    std::thread([this] { server_.listen_after_bind(); }).detach();
    return port;
}

}  // namespace vdipc::page
