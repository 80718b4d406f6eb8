#include "support/SchemaCheck.h"

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/schema.h>
#include <rapidjson/stringbuffer.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>

namespace vdipc::test {

namespace {

bool ReadFile(const std::string& path, std::string* content) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return false;
    }
    content->assign(std::istreambuf_iterator<char>(file), {});
    return true;
}

/// The schemas by file name, read when they are asked for, also by a "$ref".
class Schemas : public rapidjson::IRemoteSchemaDocumentProvider {
public:
    const rapidjson::SchemaDocument& Get(const std::string& file) {
        const auto known = documents_.find(file);
        if (known != documents_.end()) {
            return *known->second;
        }
        const std::string path = SchemaFolder() + "/" + file;
        std::string content;
        if (!ReadFile(path, &content)) {
            throw std::runtime_error("cannot read " + path);
        }
        rapidjson::Document document;
        if (document.Parse(content.data(), content.size()).HasParseError()) {
            throw std::runtime_error(path + " is no JSON");
        }
        return *documents_.emplace(file, std::make_unique<rapidjson::SchemaDocument>(document, this))
                    .first->second;
    }

    bool Exists(const std::string& file) const { return std::ifstream(SchemaFolder() + "/" + file).good(); }

    // The length that comes with the address is one short in some releases, so the end is looked for.
    const rapidjson::SchemaDocument* GetRemoteDocument(const char* address, rapidjson::SizeType) override {
        const std::string whole(address);
        return &Get(whole.substr(0, whole.find('#')));
    }

private:
    std::map<std::string, std::unique_ptr<rapidjson::SchemaDocument>> documents_;
};

std::string Text(const rapidjson::Pointer& pointer) {
    rapidjson::StringBuffer buffer;
    pointer.StringifyUriFragment(buffer);
    return {buffer.GetString(), buffer.GetSize()};
}

std::string Validate(const rapidjson::Document& document, const rapidjson::SchemaDocument& schema,
                     const std::string& file) {
    rapidjson::SchemaValidator validator(schema);
    if (document.Accept(validator)) {
        return {};
    }
    return file + ": \"" + validator.GetInvalidSchemaKeyword() + "\" at " +
           Text(validator.GetInvalidSchemaPointer()) + " refuses " +
           Text(validator.GetInvalidDocumentPointer());
}

std::string Check(const std::string& json, const char* kind) {
    static std::mutex mutex;
    static Schemas schemas;
    const std::lock_guard lock(mutex);

    rapidjson::Document document;
    if (document.Parse(json.data(), json.size()).HasParseError()) {
        return std::string("no JSON: ") + rapidjson::GetParseError_En(document.GetParseError()) +
               " at byte " + std::to_string(document.GetErrorOffset());
    }
    if (!document.IsObject()) {
        return "no object";
    }
    const rapidjson::Document::ConstMemberIterator type = document.FindMember(kind);
    if (type == rapidjson::Document::ConstMemberIterator(document.MemberEnd()) || !type->value.IsString()) {
        return std::string("no text under \"") + kind + "\"";
    }
    const std::string name(type->value.GetString(), type->value.GetStringLength());
    const std::string file = std::string(kind) + "-" + name + ".schema.json";
    if (name.find_first_not_of("abcdefghijklmnopqrstuvwxyz-") != std::string::npos || !schemas.Exists(file)) {
        return std::string("unknown ") + kind + " \"" + name + "\"";
    }
    // The schema of this one kind says best what is wrong; the one of all kinds must come to the same result.
    const std::string all = std::string(kind) + "s.schema.json";
    const std::string one_result = Validate(document, schemas.Get(file), file);
    const std::string all_result = Validate(document, schemas.Get(all), all);
    if (one_result.empty() != all_result.empty()) {
        return file + " and " + all + " disagree: " + (one_result.empty() ? all_result : one_result);
    }
    return one_result;
}

}  // namespace

std::string SchemaFolder() {
    std::string named;
    if (const char* folder = std::getenv("VDIPC_SCHEMA_DIR")) {
        named = folder;
    }
#if defined(VDIPC_SOURCE_DIR)
    if (named.empty()) {
        named = std::string(VDIPC_SOURCE_DIR) + "/schema";
    }
#endif
    // Under Wine the root of the Unix file system is the drive Z:.
    for (const std::string& folder : {named, "Z:" + named}) {
        if (std::ifstream(folder + "/events.schema.json")) {
            return folder;
        }
    }
    throw std::runtime_error("no schemas in \"" + named + "\"; VDIPC_SCHEMA_DIR names their folder");
}

std::string CheckEvent(const std::string& json) {
    return Check(json, "event");
}

std::string CheckCommand(const std::string& json) {
    return Check(json, "command");
}

}  // namespace vdipc::test
