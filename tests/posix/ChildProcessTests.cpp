#include "posix/ChildProcess.h"
#include "posix/FileIO.h"
#include "posix/Pipe.h"
#include "tests/support/TemporaryFolder.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sstream>
#include <unistd.h>

namespace posix {
namespace {

using vostel_tests::TemporaryFolder;

struct Result {
    int status = 0;
    std::string output;

    bool operator==(const Result&) const = default;
};

/// Runs a shell script to its end, and collects what it writes to standard output.
Result run(const std::string& script, std::vector<std::string> environment = {"PATH=/usr/bin:/bin"}) {
    auto output = Pipe::make();
    EXPECT_TRUE(output);
    auto child = ChildProcess::start({.executable = "/bin/sh",
                                      .arguments = {"-c", script},
                                      .environment = std::move(environment),
                                      .output = output->writer.get(),
                                      .error = STDERR_FILENO});
    EXPECT_TRUE(child);
    output->writer = {};
    const std::string text = readRest(output->reader, 1 << 20).value_or("no output");
    return {child->wait(), text};
}

TEST(ChildProcess, runs_a_program_with_its_arguments_variables_and_streams) {
    EXPECT_EQ(run("echo \"$0 $A\"; cat; exit 3", {"PATH=/usr/bin:/bin", "A=b c"}), (Result{3, "/bin/sh b c\n"}));
}

TEST(ChildProcess, runs_the_program_in_the_given_folder) {
    const TemporaryFolder folder;
    auto output = Pipe::make();
    ASSERT_TRUE(output);
    auto child = ChildProcess::start(
        {.executable = "/bin/pwd", .arguments = {"-P"}, .folder = folder.path(), .output = output->writer.get()});
    ASSERT_TRUE(child);
    output->writer = {};
    EXPECT_EQ(readRest(output->reader, 1 << 20), std::filesystem::canonical(folder.path()).string() + "\n");
    EXPECT_EQ(child->wait(), 0);
}

TEST(ChildProcess, gives_the_program_its_input) {
    auto input = Pipe::make();
    ASSERT_TRUE(input);
    auto child = ChildProcess::start(
        {.executable = "/bin/sh", .arguments = {"-c", "read x; exit $x"}, .input = input->reader.get()});
    ASSERT_TRUE(child);
    ASSERT_TRUE(writeAll(input->writer, "7\n", ""));
    EXPECT_EQ(child->wait(), 7);
}

TEST(ChildProcess, gives_the_program_no_other_descriptor) {
    const TemporaryFolder folder;
    const FileDescriptor secret{::open((folder / "secret").c_str(), O_RDWR | O_CREAT, 0600)};
    ASSERT_TRUE(secret.isOpen());
    const Result result = run("ls -l /proc/$$/fd");
    EXPECT_TRUE(result.output.contains("pipe:")) << result.output;
    EXPECT_FALSE(result.output.contains("secret")) << result.output;
}

TEST(ChildProcess, can_have_our_standard_streams_in_another_order) {
    auto pipe = Pipe::make();
    ASSERT_TRUE(pipe);
    const FileDescriptor savedOutput{::dup(STDOUT_FILENO)};
    const FileDescriptor savedError{::dup(STDERR_FILENO)};
    ::dup2(pipe->writer.get(), STDOUT_FILENO);
    // Our standard output is the pipe now. It becomes the child's standard error.
    auto child = ChildProcess::start({.executable = "/bin/sh",
                                      .arguments = {"-c", "echo error >&2"},
                                      .output = STDERR_FILENO,
                                      .error = STDOUT_FILENO});
    ::dup2(savedOutput.get(), STDOUT_FILENO);
    ASSERT_TRUE(child);
    EXPECT_EQ(child->wait(), 0);
    pipe->writer = {};
    EXPECT_EQ(readRest(pipe->reader, 100), "error\n");
}

TEST(ChildProcess, a_program_that_does_not_exist_is_an_error) {
    const auto child = ChildProcess::start({.executable = "/no/program"});
    ASSERT_FALSE(child);
    EXPECT_EQ(child.error(), PosixError{ENOENT});
}

TEST(ChildProcess, reports_the_signal_that_ended_the_program) {
    EXPECT_EQ(run("kill -TERM $$").status, -SIGTERM);
    auto child = ChildProcess::start({.executable = "/bin/sh", .arguments = {"-c", "exec sleep 1000"}});
    ASSERT_TRUE(child);
    EXPECT_FALSE(child->hasEnded());
    ::kill(child->id(), SIGINT);
    EXPECT_EQ(child->wait(), -SIGINT);
}

TEST(ChildProcess, starts_with_default_signals_whatever_we_ignore_and_block) {
    const auto before = std::signal(SIGTERM, SIG_IGN);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigset_t mask;
    ::pthread_sigmask(SIG_BLOCK, &blocked, &mask);
    const Result result = run("kill -TERM $$; exit 0");
    ::pthread_sigmask(SIG_SETMASK, &mask, nullptr);
    std::signal(SIGTERM, before);
    EXPECT_EQ(result.status, -SIGTERM);
}

TEST(ChildProcess, kills_processes_that_the_program_left_running) {
    auto output = Pipe::make();
    ASSERT_TRUE(output);
    {
        auto child = ChildProcess::start(
            {.executable = "/bin/sh", .arguments = {"-c", "sleep 1000 & exit 0"}, .output = output->writer.get()});
        ASSERT_TRUE(child);
        output->writer = {};
    }
    // The output ends when no process has its other end open.
    EXPECT_EQ(readRest(output->reader, 100), "");
}

TEST(ChildProcess, knows_our_own_variables) {
    ::setenv("VOSTEL_TEST_VARIABLE", "value", 1);
    const auto environment = currentEnvironment();
    ::unsetenv("VOSTEL_TEST_VARIABLE");
    EXPECT_EQ(std::ranges::count(environment, "VOSTEL_TEST_VARIABLE=value"), 1);
}

} // namespace
} // namespace posix
