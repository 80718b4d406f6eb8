#include "tools/common/ClassroomClient.h"

#include <httplib.h>

#include <stdexcept>

namespace vdipc::tools {

struct ClassroomClient::Connection {
    explicit Connection(int port) : client("127.0.0.1", port) {
        // A connection that is kept makes the server look at it a hundred times a second, to the end of the host's process,
        // and Wine hangs now and then in the end of a process that is in the middle of a request.
        client.set_keep_alive(false);
        client.set_tcp_nodelay(true);
        client.set_connection_timeout(10);
        client.set_read_timeout(60);
    }
    httplib::Client client;
};

ClassroomClient::ClassroomClient(int port) : connection_(std::make_unique<Connection>(port)) {}

ClassroomClient::~ClassroomClient() = default;

Json::Value ClassroomClient::Do(const Json::Value& action) {
    const auto answer = connection_->client.Post("/do", CompactJson(action), "application/json");
    if (!answer) {
        throw std::runtime_error("the simulated classroom doesn't answer: " +
                                 httplib::to_string(answer.error()));
    }
    Json::Value value = ParseJsonText(answer->body);
    if (answer->status != 200) {
        throw std::runtime_error("the simulated classroom refuses " + CompactJson(action) + ": " +
                                 (value["error"].isString() ? value["error"].asString() : answer->body));
    }
    return value;
}

Json::Value ClassroomClient::State() {
    return Get("/state");
}

Json::Value ClassroomClient::SawSince(std::uint64_t number, std::uint32_t wait_ms) {
    return Get("/saw?since=" + std::to_string(number) + "&wait_ms=" + std::to_string(wait_ms));
}

Json::Value ClassroomClient::Get(const std::string& path) {
    const auto answer = connection_->client.Get(path.c_str());
    if (!answer || answer->status != 200) {
        throw std::runtime_error("the simulated classroom doesn't answer " + path);
    }
    return ParseJsonText(answer->body);
}

std::string CompactJson(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

Json::Value ParseJsonText(const std::string& text) {
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value value;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors)) {
        throw std::runtime_error("no JSON: " + errors);
    }
    return value;
}

}  // namespace vdipc::tools
