#include "tools/vdclient/CommandCheck.h"

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/schema.h>
#include <rapidjson/stringbuffer.h>

#include <stdexcept>

namespace vdipc::tools {

struct CommandCheck::Schema {
    rapidjson::Document source;
    std::unique_ptr<rapidjson::SchemaDocument> document;
};

namespace {

std::string Text(const rapidjson::Pointer& pointer) {
    rapidjson::StringBuffer buffer;
    pointer.Stringify(buffer);
    return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace

CommandCheck::CommandCheck(const std::vector<page::PageFile>& files) {
    const std::string begin = "/schema/command-";
    const std::string end = ".schema.json";
    for (const page::PageFile& file : files) {
        const std::string path(file.path);
        if (path.rfind(begin, 0) != 0 || path.size() <= begin.size() + end.size()) {
            continue;
        }
        auto schema = std::make_unique<Schema>();
        schema->source.Parse(file.content.data(), file.content.size());
        if (schema->source.HasParseError()) {
            throw std::runtime_error(path + " is no JSON");
        }
        schema->document = std::make_unique<rapidjson::SchemaDocument>(schema->source);
        schemas_.emplace(path.substr(begin.size(), path.size() - begin.size() - end.size()),
                         std::move(schema));
    }
    if (schemas_.empty()) {
        throw std::runtime_error("there are no schemas of commands");
    }
}

CommandCheck::~CommandCheck() = default;

std::string CommandCheck::Complaint(const std::string& json) const {
    rapidjson::Document command;
    if (command.Parse<rapidjson::kParseValidateEncodingFlag>(json.data(), json.size()).HasParseError()) {
        return "this is no JSON, from byte " + std::to_string(command.GetErrorOffset()) +
               " on: " + rapidjson::GetParseError_En(command.GetParseError());
    }
    if (!command.IsObject() || !command.HasMember("command") || !command["command"].IsString()) {
        return "a command is a JSON object with the text \"command\"";
    }
    const std::string name(command["command"].GetString(), command["command"].GetStringLength());
    const auto found = schemas_.find(name);
    if (found == schemas_.end()) {
        std::string names;
        for (const auto& [known, schema] : schemas_) {
            names += (names.empty() ? "\"" : ", \"") + known + "\"";
        }
        return "there is no command \"" + name + "\"; there are " + names;
    }
    rapidjson::SchemaValidator validator(*found->second->document);
    if (command.Accept(validator)) {
        return {};
    }
    const std::string place = Text(validator.GetInvalidDocumentPointer());
    return (place.empty() ? "the command" : place.substr(1)) + " doesn't fit the schema of \"" + name +
           "\" (" + validator.GetInvalidSchemaKeyword() + ")";
}

}  // namespace vdipc::tools
