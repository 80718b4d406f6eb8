// All that crossed the pipe, one JSON object a line.
#include "tools/vdlog/Commands.h"
#include "tools/vdlog/Input.h"
#include "tools/vdlog/Text.h"

#include <CLI/CLI.hpp>

#include <ostream>

namespace vdipc::log {
namespace {

class PipePrinter final : public FactSink {
public:
    PipePrinter(const Options& options, std::ostream& out, const Text& text)
        : out_(out), text_(text), several_(options.files.size() > 1) {}

    void OnFact(const Fact& fact) override {
        switch (fact.kind) {
        case FactKind::MessageReceived:
            Print(fact, "to-library");
            break;
        case FactKind::CommandBegin:
            // Where the log begins between the two.
            if (!fact.command->received.IsSet()) {
                Print(fact, "to-library");
            }
            break;
        case FactKind::EventSent:
            Print(fact, "to-client");
            break;
        case FactKind::Ping:
            Print(fact, "to-library", R"("ping":true)");
            break;
        case FactKind::ClientConnected:
            Print(fact, "none", R"("client":"connected")");
            break;
        case FactKind::ClientLost:
            Print(fact, "none", R"("client":"lost")");
            break;
        default:
            break;
        }
    }

private:
    void Print(const Fact& fact, const char* direction, const char* note = nullptr) {
        line_ = "{\"time\":\"" + IsoTimeText(fact.at.time) + "\",\"line\":" + std::to_string(fact.at.line);
        if (several_) {
            line_ += ",\"file\":" + std::to_string(fact.at.file + 1);
        }
        line_ += ",\"direction\":\"";
        line_ += direction;
        line_ += "\",";
        if (note != nullptr) {
            line_ += note;
        } else {
            const std::string message = text_.Message(fact.text);
            if (message.empty()) {
                line_ += "\"text\":";
                AppendJsonString(line_, text_.Redacts() ? text_.Private(fact.text) : text_.Utf8(fact.text));
            } else {
                line_ += "\"message\":" + message;
            }
            if (fact.kind == FactKind::EventSent && fact.number == 1) {
                line_ += ",\"lost\":true";
            }
        }
        line_ += "}\n";
        out_ << line_;
    }

    std::ostream& out_;
    const Text& text_;
    bool several_;
    std::string line_;
};

int RunPipe(const Options& options, std::ostream& out) {
    Text text(options.encoding, options.redact);
    PipePrinter printer(options, out, text);
    Story story(printer);
    ReadLogs(options.files, story, text);
    return kDone;
}

}  // namespace

const CommandEntry kPipeCommand = {
    "pipe", "all that crossed the pipe, one JSON object a line, for jq and grep", nullptr, &RunPipe};

}  // namespace vdipc::log
