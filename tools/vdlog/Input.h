// The log's files, in the order of their times.
#pragma once

#include "tools/vdlog/Options.h"
#include "tools/vdlog/Story.h"

#include <fstream>
#include <string>
#include <vector>

namespace vdipc::log {

/// Opens a log. Raises std::runtime_error for a directory, and for a file that can't be opened.
std::ifstream OpenLog(const std::string& name);

/// The files in the order of their first line's time; those without one keep their places at the end. Standard input is
/// last. Raises std::runtime_error for a file that can't be opened.
std::vector<std::string> InOrder(const std::vector<std::string>& files);

/// Reads all files through to the end of the log. On a terminal, progress goes to standard error for large ones.
/// Raises std::runtime_error for a file that can't be read, and for files without any line of a log.
void ReadLogs(const std::vector<std::string>& files, Story& story);

}  // namespace vdipc::log
