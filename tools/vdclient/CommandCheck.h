// Holds a command against the protocol's schemas before it is sent: the library drops a bad one without a word, and some
// end its process.
#pragma once

#include "tools/page/PageFile.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace vdipc::tools {

/// Any thread may ask, one at a time or all at once.
class CommandCheck {
public:
    /// Takes the schemas of commands from among the files; raises std::runtime_error where there is none.
    explicit CommandCheck(const std::vector<page::PageFile>& files);
    CommandCheck(const CommandCheck&) = delete;
    CommandCheck& operator=(const CommandCheck&) = delete;
    ~CommandCheck();

    /// Empty for a command that fits its schema, else words for the user.
    std::string Complaint(const std::string& json) const;

private:
    struct Schema;
    std::map<std::string, std::unique_ptr<Schema>> schemas_;  // by the command's name
};

}  // namespace vdipc::tools
