// Short forms of the commands, for people: "ask 0 single-choice custom=q1" instead of JSON.
#pragma once

#include <string>
#include <vector>

namespace vdipc::tools {

/// The JSON text (UTF-8) of a command in its short form. Raises std::invalid_argument with words for the person who typed
/// it.
///
///   init KIND                         non-audio, audio or any
///   ask DEVICE TYPE [key=value ...]   row1 row2 row3 custom id, stem (repeatable), param (JSON), prefix
///   stop DEVICE [row1= row2= row3= id=]
///   text DEVICE [row1= row2= row3= id=]
///   hi DEVICE [ARGUMENT ...]          led:COLOR:TIMES:INTERVAL:DURATION, motor:T:I:D, beep:T:I:D
///   drop DEVICE
///   quit
///
/// With force, words of the protocol are not checked: KIND, TYPE, and an argument's type and COLOR.
std::string JsonOfShortForm(const std::vector<std::string>& words, bool force = false);

/// Splits a line at blanks; double quotes hold blanks together.
std::vector<std::string> SplitWords(const std::string& line);

/// Help text of the short forms, one line each.
std::string ShortFormHelp();

}  // namespace vdipc::tools
