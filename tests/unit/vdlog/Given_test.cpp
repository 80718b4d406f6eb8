// What a user gives by mistake, or can't be given: the same log twice, empty words, a place that takes no output.
#include "tools/vdlog/Commands.h"

#include "support/Logs.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <ostream>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

namespace vdipc::log::test {
namespace {

std::string OnePress() {
    LogText log;
    log.Start().Client().Init(1, "\"RV2\"").StationLogon("2").StationKey("2", 2).Found("2", false);
    return log.Line("IpcHandler::TaskLoop:124 task loop end").Text();
}

TEST(Program, SameLogTwice_IsReadOnceAndSaid) {
    const Folder folder;
    const std::string log = folder.Write("a.log", OnePress());
    const std::string other = (folder.Path() / "." / "a.log").string();
    const Printed once = RunVdlog({"why", log});
    EXPECT_EQ(once.error, "");
    const Printed twice = RunVdlog({"why", log, log});
    EXPECT_EQ(twice.code, 0);
    EXPECT_EQ(twice.out, once.out);
    EXPECT_EQ(twice.error, "vdlog: " + log + " is given twice; it is read once\n");
    const Printed by_other_name = RunVdlog({"why", log, other});
    EXPECT_EQ(by_other_name.out, once.out);
    EXPECT_EQ(by_other_name.error, "vdlog: " + other + " is the same file as " + log + "; it is read once\n");
}

TEST(Program, CopyOfALog_IsWarnedOf) {
    const Folder folder;
    const std::string log = folder.Write("a.log", OnePress());
    const std::string copy = folder.Write("b.log", OnePress());
    const Printed printed = RunVdlog({"why", log, copy});
    EXPECT_EQ(printed.code, 0);
    EXPECT_EQ(printed.error, "vdlog: " + copy + " begins with the same lines as " + log +
                                 "; if it is a copy, all that both hold is counted twice\n");
    LogText later;
    later.Pass(5000);
    EXPECT_EQ(RunVdlog({"why", log, folder.Write("c.log", later.Start().Text())}).error, "");
}

/// Takes no byte, for this reason.
class FullPlace final : public std::streambuf {
public:
    explicit FullPlace(int reason) : reason_(reason) {}

protected:
    int_type overflow(int_type) override {
        errno = reason_;
        return traits_type::eof();
    }
    int sync() override {
        errno = reason_;
        return -1;
    }

private:
    int reason_;
};

TEST(Program, OutputThatTakesNothing_IsAnErrorUnlessItsReaderHasGone) {
    const Folder folder;
    const std::string log = folder.Write("a.log", OnePress());
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"summary", log},
                                               {"why", log},
                                               {"keypad", "2", log},
                                               {"pipe", log},
                                               {"lesson", log, "-o", "-"},
                                               {"trace", log, "-o", "-"},
                                               {"timeline", log, "-o", folder.Name("x.html")},
                                               {"compare", log, log},
                                               {"watch", log},
                                               {"--help"}}) {
        FullPlace full(ENOSPC);
        std::ostream out(&full);
        std::ostringstream error;
        EXPECT_EQ(RunProgram(arguments, out, error), 2) << arguments[0];
        EXPECT_NE(error.str().find("vdlog: can't write"), std::string::npos) << arguments[0] << error.str();
        EXPECT_EQ(error.str().find('\n'), error.str().size() - 1) << error.str();
    }
    FullPlace gone(EPIPE);
    std::ostream out(&gone);
    std::ostringstream error;
    EXPECT_EQ(RunProgram({"summary", log}, out, error), 0);
    EXPECT_EQ(error.str(), "");
}

TEST(Program, EmptyWordsAndDaysThatAreNone_AreBadWords) {
    const Folder folder;
    const std::string log = folder.Write("a.log", OnePress());
    for (const std::string option : {"--keypad", "--from", "--to", "--encoding"}) {
        const Printed printed = RunVdlog({"why", option, "", log});
        EXPECT_EQ(printed.code, 2) << option;
        EXPECT_NE(printed.error.find(option + ": "), std::string::npos) << printed.error;
        EXPECT_NE(printed.error.find("empty"), std::string::npos) << printed.error;
    }
    EXPECT_EQ(RunVdlog({"keypad", "", log}).code, 2);
    EXPECT_EQ(RunVdlog({"why", "--custom", "", log}).code, 0);  // a question may have none
    for (const std::string day : {"2026-02-30", "2026-02-29 08:10", "2026-04-31 08:10", "2100-02-29"}) {
        const Printed printed = RunVdlog({"why", "--from", day, log});
        EXPECT_EQ(printed.code, 2) << day;
        EXPECT_NE(printed.error.find("is no time"), std::string::npos) << printed.error;
    }
    EXPECT_EQ(RunVdlog({"why", "--from", "2024-02-29 08:10", log}).code, 0);
}

}  // namespace
}  // namespace vdipc::log::test
