#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <vector>

#include "platform/child_process.h"
#include "temporary_directory.h"

namespace mos {
namespace {

using test::contentOf;
using test::TemporaryDirectory;

/// While it lives, what the interpreter says about a child's end goes nowhere.
class SilentErrors {
public:
    SilentErrors() : saved(::dup(STDERR_FILENO)) {
        const int sink = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        ::dup2(sink, STDERR_FILENO);
        ::close(sink);
    }
    ~SilentErrors() {
        ::dup2(saved, STDERR_FILENO);
        ::close(saved);
    }
    SilentErrors(const SilentErrors&) = delete;
    SilentErrors& operator=(const SilentErrors&) = delete;

private:
    const int saved;
};

int runShell(const std::string& script) {
    return runThroughInterpreter({"/bin/sh", "-c", script});
}

TEST(ChildProcess, EveryArgumentArrivesUnchanged) {
    const TemporaryDirectory room;
    std::string everyByte;
    for (int value = 1; value < 256; ++value) {
        everyByte.push_back(static_cast<char>(value));
    }
    const std::vector<std::string> arguments{"plain",
                                             "",
                                             "two words",
                                             "'single'",
                                             "\"double\"",
                                             "$(touch made) `touch made` $HOME",
                                             "back\\slash\\",
                                             "line\nfeed\n",
                                             "\xff\xfe\x81\x88",
                                             "'",
                                             "''",
                                             "*",
                                             "~",
                                             "; exit 3",
                                             "-n",
                                             everyByte};
    std::vector<std::string> words{"/bin/sh", "-c",
                                   "out=$1; shift; printf '%s\\0' \"$@\" >\"$out\"", "sh",
                                   (room / "out").string()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    EXPECT_EQ(runThroughInterpreter(words), 0);
    std::string expected;
    for (const std::string& argument : arguments) {
        expected.append(argument).push_back('\0');
    }
    EXPECT_EQ(contentOf(room / "out"), expected);
    EXPECT_EQ(test::namesIn(room.path()), std::vector<std::string>{"out"});
}

TEST(ChildProcess, ManyArgumentsArriveTogether) {
    const TemporaryDirectory room;
    std::vector<std::string> words{"/bin/sh", "-c", "echo $# ${#1} >\"$0\"",
                                   (room / "out").string()};
    words.insert(words.end(), 5000, std::string(100, 'x'));
    EXPECT_EQ(runThroughInterpreter(words), 0);
    EXPECT_EQ(contentOf(room / "out"), "5000 100\n");
    // One argument of the most that the system takes.
    words.resize(4);
    words.push_back(std::string(131071, 'x'));
    EXPECT_EQ(runThroughInterpreter(words), 0);
    EXPECT_EQ(contentOf(room / "out"), "1 131071\n");
}

TEST(ChildProcess, AnArgumentLongerThanTheSystemTakesIsAProgramThatIsNotFound) {
    EXPECT_EQ(runThroughInterpreter({"/bin/true", std::string(200'000, 'x')}), 127);
}

TEST(ChildProcess, ReturnsTheExitStatus) {
    for (const int status : {0, 1, 2, 77, 127, 128, 255}) {
        EXPECT_EQ(runShell("exit " + std::to_string(status)), status);
    }
}

TEST(ChildProcess, ReturnsTheSignalOnTopOf128) {
    const SilentErrors silent;
    EXPECT_EQ(runShell("kill -KILL $$"), 137);
    EXPECT_EQ(runShell("kill -TERM $$"), 143);
}

TEST(ChildProcess, AProgramThatIsNotFoundGivesTheInterpretersStatus) {
    const TemporaryDirectory room;
    const SilentErrors silent;
    EXPECT_EQ(runThroughInterpreter({(room / "missing").string()}), 127);
    EXPECT_EQ(runThroughInterpreter({room.path().string()}), 126);
}

TEST(ChildProcess, TheStatusArrivesWhereTheEndsOfChildrenWereIgnored) {
    void (*const before)(int) = std::signal(SIGCHLD, SIG_IGN);
    const int status = runShell("exit 5");
    std::signal(SIGCHLD, before);
    EXPECT_EQ(status, 5);
}

} // namespace
} // namespace mos
