#include "common/HostPath.h"

#include <windows.h>

#include <string>

#include <gtest/gtest.h>

namespace vdipc {
namespace {

TEST(HostPath, Executable_IsTheFullPathOfThisProgram) {
    const std::string path = GetHostExecutablePath();
    EXPECT_NE(path.find(":\\"), std::string::npos) << path;
    EXPECT_EQ(path.substr(path.rfind('\\') + 1), "unit_common.exe");
    EXPECT_NE(GetFileAttributesA(path.c_str()), INVALID_FILE_ATTRIBUTES);
}

}  // namespace
}  // namespace vdipc
