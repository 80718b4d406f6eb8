// Why did keypad 7 stay silent: reads the library's log and says what happened. docs/log.md has more of it.
#include "tools/vdlog/Commands.h"
#include "tools/vdlog/Platform.h"

#include <iostream>

int main(int count, char** values) {
    vdipc::log::PrepareStreams();
    std::ios::sync_with_stdio(false);
    return vdipc::log::RunProgram(vdipc::log::Arguments(count, values), std::cout, std::cerr);
}
