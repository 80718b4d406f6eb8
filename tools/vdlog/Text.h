// Text on its way out: the log's bytes become UTF-8 that a terminal and a JSON reader can take, and what is private stays
// inside where that is asked for.
#pragma once

#include "tools/vdlog/CodePage.h"
#include "tools/vdlog/Platform.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vdipc::log {

class Text {
public:
    /// `encoding` empty: UTF-8 where the bytes are, else code page 936 or 1252, as the log shows it. Raises
    /// std::invalid_argument for an encoding that the system doesn't know.
    explicit Text(const std::string& encoding = {}, bool redact = false);

    /// The log as it comes, in pieces of any size, before texts out of it.
    void Meet(std::string_view bytes);

    /// In UTF-8. Nothing else is changed.
    std::string Utf8(std::string_view bytes) const;
    /// For a person, on one line: control characters are shown as \n, \t or \x00.
    std::string Shown(std::string_view bytes) const;
    /// As Shown, for what pupils or teachers wrote or said, and for paths: its length alone when redacting.
    std::string Private(std::string_view bytes) const;
    /// A name that the teaching application gives, as "custom": it stays, unless it looks like a text.
    std::string Name(std::string_view bytes) const;
    /// A device id: it stays where it is a number.
    std::string Device(std::string_view bytes) const;
    /// A word of the protocol: others stay only where nothing is redacted.
    std::string Word(std::string_view bytes) const;
    /// JSON of the pipe, compact and in UTF-8. When redacting, texts stay only where they are the protocol's own words,
    /// numbers, ids or names. Empty where it is no JSON.
    std::string Message(std::string_view json) const;

    bool Redacts() const { return redact_; }

private:
    std::string encoding_;
    bool redact_;
    CodePageGuess guess_;
    std::unique_ptr<Converter> converter_;  // the chosen one
    std::unique_ptr<Converter> chinese_;
    std::unique_ptr<Converter> western_;
};

bool IsUtf8(std::string_view bytes);
/// Whether it is UTF-8 beyond ASCII but for its last character, which is cut: the log cuts lines by bytes.
bool IsCutUtf8(std::string_view bytes);

/// Appends a JSON string with its quotes. The text must be UTF-8; anything that isn't is replaced.
void AppendJsonString(std::string& out, std::string_view utf8);
std::string JsonString(std::string_view utf8);
std::string JsonList(const std::vector<std::string>& texts);

}  // namespace vdipc::log
