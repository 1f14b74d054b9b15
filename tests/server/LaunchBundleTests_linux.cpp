#include "posix/FileDescriptor.h"
#include "server/LaunchBundle_linux.h"
#include "tests/server/PropertyListText.h"
#include "tests/support/Table.h"
#include "tests/support/TemporaryFolder.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <map>
#include <poll.h>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// True while a test simulates an old kernel.
bool closeRangeIsUnknown = false;

/// A system call that always fails, in this process or in the processes that it forks.
struct Refusal {
    const char* call;
    bool inThisProcess = false;
};
std::optional<Refusal> refusal;
const pid_t thisProcess = ::getpid();

bool isRefused(std::string_view call) {
    if (!refusal || call != refusal->call || (::getpid() == thisProcess) != refusal->inThisProcess) return false;
    errno = EIO;
    return true;
}

/// While true, a signal interrupts every second call that can be interrupted.
bool signalsInterrupt = false;

bool isInterrupted() {
    static bool wasInterrupted = false;
    wasInterrupted = signalsInterrupt && !wasInterrupted;
    if (wasInterrupted) errno = EINTR;
    return wasInterrupted;
}

} // namespace

// The linker sends the server's calls of close_range here.
extern "C" int __real_close_range(unsigned first, unsigned last, int flags);
extern "C" int __wrap_close_range(unsigned first, unsigned last, int flags);
int __wrap_close_range(unsigned first, unsigned last, int flags) {
    if (!closeRangeIsUnknown) return __real_close_range(first, last, flags);
    errno = ENOSYS;
    return -1;
}

// The linker also sends these calls here.
extern "C" {
pid_t __real_fork();
pid_t __wrap_fork();
pid_t __wrap_fork() { return isRefused("fork") ? -1 : __real_fork(); }
pid_t __real_setsid();
pid_t __wrap_setsid();
pid_t __wrap_setsid() { return isRefused("setsid") ? -1 : __real_setsid(); }
int __real_chdir(const char* path);
int __wrap_chdir(const char* path);
int __wrap_chdir(const char* path) { return isRefused("chdir") ? -1 : __real_chdir(path); }
int __real_dup2(int from, int to);
int __wrap_dup2(int from, int to);
int __wrap_dup2(int from, int to) { return isRefused("dup2") ? -1 : __real_dup2(from, to); }
int __real_setrlimit(int resource, const rlimit* limit);
int __wrap_setrlimit(int resource, const rlimit* limit);
int __wrap_setrlimit(int resource, const rlimit* limit) {
    return isRefused("setrlimit") ? -1 : __real_setrlimit(resource, limit);
}
ssize_t __real_read(int descriptor, void* bytes, size_t length);
ssize_t __wrap_read(int descriptor, void* bytes, size_t length);
ssize_t __wrap_read(int descriptor, void* bytes, size_t length) {
    return isRefused("read") || isInterrupted() ? -1 : __real_read(descriptor, bytes, length);
}
ssize_t __real_write(int descriptor, const void* bytes, size_t length);
ssize_t __wrap_write(int descriptor, const void* bytes, size_t length);
ssize_t __wrap_write(int descriptor, const void* bytes, size_t length) {
    return isRefused("write") || isInterrupted() ? -1 : __real_write(descriptor, bytes, length);
}
pid_t __real_waitpid(pid_t child, int* status, int options);
pid_t __wrap_waitpid(pid_t child, int* status, int options);
pid_t __wrap_waitpid(pid_t child, int* status, int options) {
    return isInterrupted() ? -1 : __real_waitpid(child, status, options);
}
}

namespace vostel_mcp {
namespace {

using vostel_tests::propertyList;
using vostel_tests::TemporaryFolder;
using VostelMCPKit::PosixError;

/// Differs from the limit of the test process.
constexpr rlimit descriptorLimit{.rlim_cur = 99, .rlim_max = 100};

/// A small bundle whose executable reports through a FIFO.
class Bundle final {
public:
    explicit Bundle(const std::string& name = "Small") : name_{name} {
        if (::mkfifo(fifo().c_str(), 0600) != 0) std::abort();
    }

    [[nodiscard]] std::filesystem::path path() const { return folder_.path() / (name_ + ".app"); }
    void writePropertyList(const std::string& text) const { folder_.write(inside("Info.plist"), text); }
    void writeExecutable(const std::string& name, const std::string& content, mode_t mode = 0700) const {
        const auto file = folder_.write(inside("MacOS/" + name), content);
        if (::chmod(file.c_str(), mode) != 0) std::abort();
    }
    /// A shell script that runs `command`, whose output is the report.
    void writeScript(const std::string& name, const std::string& command) const {
        writeExecutable(name, "#!/bin/sh\n" + command + " > '" + fifo() + "'\n");
    }

    /// Launches the bundle and returns its report. Waits at most ten seconds for the report.
    [[nodiscard]] std::string report(bool signalsInterruptLaunch = false) const {
        const posix::FileDescriptor reading{::open(fifo().c_str(), O_RDONLY | O_NONBLOCK)};
        signalsInterrupt = signalsInterruptLaunch;
        const auto launched = launchBundle(path(), descriptorLimit);
        signalsInterrupt = false;
        if (!launched) return "not launched: " + launched.error().systemText();
        std::string text;
        for (char bytes[4096];;) {
            pollfd ready{reading.get(), POLLIN, 0};
            if (::poll(&ready, 1, /*timeout=*/10'000) <= 0) return text + "(no end)";
            const ssize_t count = ::read(reading.get(), bytes, sizeof bytes);
            if (count <= 0) return text;
            text.append(bytes, static_cast<std::size_t>(count));
        }
    }

private:
    [[nodiscard]] std::string fifo() const { return folder_.path() / "report"; }
    [[nodiscard]] std::filesystem::path inside(const std::string& name) const {
        return std::filesystem::path{name_ + ".app"} / "Contents" / name;
    }

    const std::string name_;
    const TemporaryFolder folder_;
};

/// The fields of /proc/PID/status.
std::map<std::string, std::string> statusFields(const std::string& status) {
    std::map<std::string, std::string> fields;
    std::istringstream lines{status};
    for (std::string line; std::getline(lines, line);) {
        const auto tab = line.find(":\t");
        if (tab != line.npos) fields[line.substr(0, tab)] = line.substr(tab + 2);
    }
    return fields;
}

TEST(LaunchBundle, runs_the_executable_that_the_property_list_names) {
    Bundle bundle;
    bundle.writePropertyList(propertyList("<key>CFBundleExecutable</key>\n\t<string>Other</string>"));
    bundle.writeScript("Other", "echo \"$0\"");
    bundle.writeScript("Small", "echo wrong");
    EXPECT_EQ(bundle.report(), (bundle.path() / "Contents/MacOS/Other").string() + "\n");
}

TEST(LaunchBundle, otherwise_runs_the_executable_with_the_name_of_the_bundle) {
    struct Row {
        const char* when;
        std::optional<std::string> propertyList;
    };
    const Row rows[] = {
        {"no property list", std::nullopt},
        {"an empty one", ""},
        {"it names no executable", propertyList("<key>CFBundleName</key><string>Other</string>")},
        {"it names a path", propertyList("<key>CFBundleExecutable</key><string>../Other</string>")},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        Bundle bundle{"A small One"};
        if (row.propertyList) bundle.writePropertyList(*row.propertyList);
        bundle.writeScript("A small One", "echo here");
        EXPECT_EQ(bundle.report(), "here\n");
    });
}

TEST(LaunchBundle, a_property_list_that_is_not_a_regular_file_is_ignored) {
    for (const bool fifo : {false, true}) {
        SCOPED_TRACE(fifo ? "a FIFO" : "a folder");
        Bundle bundle;
        bundle.writeScript("Small", "echo here");
        const auto propertyList = bundle.path() / "Contents" / "Info.plist";
        if (fifo) {
            ASSERT_EQ(::mkfifo(propertyList.c_str(), 0600), 0);
        } else {
            std::filesystem::create_directory(propertyList);
        }
        EXPECT_EQ(bundle.report(), "here\n");
    }
}

TEST(LaunchBundle, the_process_is_in_a_session_of_its_own_and_not_our_child) {
    Bundle bundle;
    bundle.writeScript("Small", "exec cat /proc/self/status");
    const auto fields = statusFields(bundle.report());
    ASSERT_TRUE(fields.contains("NSsid"));
    EXPECT_NE(fields.at("NSsid"), std::to_string(getsid(0)));
    EXPECT_NE(fields.at("NSpgid"), std::to_string(::getpgid(0)));
    EXPECT_NE(fields.at("NSsid"), fields.at("Pid")) << "a session leader could acquire a terminal";
    EXPECT_NE(fields.at("PPid"), std::to_string(::getpid()));
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

void expectOnlyStandardStreamsToBeInherited() {
    const posix::FileDescriptor ours{::open("/etc/passwd", O_RDONLY)};
    const posix::FileDescriptor high{::fcntl(ours.get(), F_DUPFD, 200)};
    Bundle bundle;
    // The script lists the descriptors before its standard output becomes the report.
    bundle.writeScript("Small", "out=$(readlink /proc/$$/fd/1)\nexec 3>&-\n"
                                "{ echo \"1 $out\"; exec ls -l /proc/self/fd; }");
    std::istringstream lines{bundle.report()};
    std::vector<std::string> descriptors;
    for (std::string line; std::getline(lines, line);) {
        if (line == "1 /dev/null") descriptors.push_back(line);
        if (const auto arrow = line.find(" -> "); arrow != line.npos) {
            descriptors.push_back(line.substr(line.rfind(' ', arrow - 1) + 1));
        }
    }
    ASSERT_EQ(descriptors.size(), 5U) << lines.str();
    EXPECT_EQ(descriptors[0], "1 /dev/null");
    EXPECT_EQ(descriptors[1], "0 -> /dev/null");
    EXPECT_TRUE(descriptors[2].starts_with("1 -> ") && descriptors[2].ends_with("/report")) << descriptors[2];
    EXPECT_EQ(descriptors[3], "2 -> /dev/null");
    EXPECT_TRUE(descriptors[4].starts_with("3 -> /proc/")) << "the listing itself: " << descriptors[4];
}

TEST(LaunchBundle, the_standard_streams_are_null_and_no_descriptor_of_ours_is_inherited) {
    expectOnlyStandardStreamsToBeInherited();
}

TEST(LaunchBundle, no_descriptor_is_inherited_when_the_kernel_cannot_close_a_range) {
    closeRangeIsUnknown = true;
    expectOnlyStandardStreamsToBeInherited();
    closeRangeIsUnknown = false;
}

TEST(LaunchBundle, the_process_inherits_no_blocked_and_no_ignored_signal) {
    sigset_t some, before;
    sigemptyset(&some);
    sigaddset(&some, SIGUSR1);
    ::pthread_sigmask(SIG_BLOCK, &some, &before);
    const auto brokenPipe = std::signal(SIGPIPE, SIG_IGN);
    const auto hangUp = std::signal(SIGHUP, SIG_IGN);
    Bundle bundle;
    bundle.writeScript("Small", "exec cat /proc/self/status");
    const auto fields = statusFields(bundle.report());
    std::signal(SIGHUP, hangUp);
    std::signal(SIGPIPE, brokenPipe);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    ASSERT_TRUE(fields.contains("SigBlk"));
    EXPECT_EQ(fields.at("SigBlk"), "0000000000000000");
    EXPECT_EQ(fields.at("SigIgn"), "0000000000000000");
}

TEST(LaunchBundle, the_process_starts_in_the_root_folder_with_its_path_as_its_only_argument) {
    Bundle bundle;
    bundle.writeScript("Small", "echo \"$(pwd) $# $0\"");
    EXPECT_EQ(bundle.report(), "/ 0 " + (bundle.path() / "Contents/MacOS/Small").string() + "\n");
}

TEST(LaunchBundle, an_executable_that_cannot_run_fails_before_the_operation_returns) {
    struct Row {
        const char* when;
        std::function<void(const Bundle&)> arrange;
        int code;
    };
    const Row rows[] = {
        {"no bundle", [](const Bundle&) {}, ENOENT},
        {"no executable", [](const Bundle& bundle) { bundle.writePropertyList(propertyList("")); }, ENOENT},
        {"not the named one",
         [](const Bundle& bundle) {
             bundle.writePropertyList(propertyList("<key>CFBundleExecutable</key><string>Other</string>"));
             bundle.writeScript("Small", "echo here");
         },
         ENOENT},
        {"not executable", [](const Bundle& bundle) { bundle.writeExecutable("Small", "#!/bin/sh\n", 0600); }, EACCES},
        {"a folder",
         [](const Bundle& bundle) { std::filesystem::create_directories(bundle.path() / "Contents/MacOS/Small"); },
         EACCES},
        {"no format that can run", [](const Bundle& bundle) { bundle.writeExecutable("Small", "hello"); }, ENOEXEC},
        {"no interpreter", [](const Bundle& bundle) { bundle.writeExecutable("Small", "#!/nowhere/sh\n"); }, ENOENT},
    };
    const posix::FileDescriptor before{::dup(0)};
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const Bundle bundle;
        row.arrange(bundle);
        const auto launched = launchBundle(bundle.path(), descriptorLimit);
        ASSERT_FALSE(launched);
        EXPECT_EQ(launched.error(), PosixError{row.code});
    });
    const posix::FileDescriptor after{::dup(0)};
    EXPECT_EQ(after.get(), before.get() + 1);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "nothing is left to reap";
}

TEST(LaunchBundle, an_ignored_child_signal_does_not_hide_success_or_failure) {
    const auto before = std::signal(SIGCHLD, SIG_IGN);
    Bundle bundle;
    bundle.writeScript("Small", "echo here");
    EXPECT_EQ(bundle.report(), "here\n");
    bundle.writeExecutable("Small", "hello");
    EXPECT_FALSE(launchBundle(bundle.path(), descriptorLimit));
    std::signal(SIGCHLD, before);
}

TEST(LaunchBundle, a_failure_is_known_even_when_standard_streams_are_closed) {
    Bundle bundle;
    bundle.writeExecutable("Small", "hello");
    // Some sanitizers flush buffers when a forked child ends.
    std::fflush(nullptr);
    const posix::FileDescriptor savedInput{::fcntl(0, F_DUPFD_CLOEXEC, 10)};
    const posix::FileDescriptor savedOutput{::fcntl(1, F_DUPFD_CLOEXEC, 10)};
    const posix::FileDescriptor savedError{::fcntl(2, F_DUPFD_CLOEXEC, 10)};
    for (int stream = 0; stream <= 2; ++stream) ::close(stream);
    const auto launched = launchBundle(bundle.path(), descriptorLimit);
    ::dup2(savedInput.get(), 0);
    ::dup2(savedOutput.get(), 1);
    ::dup2(savedError.get(), 2);
    ASSERT_FALSE(launched);
    EXPECT_EQ(launched.error(), PosixError{ENOEXEC});
}

TEST(LaunchBundle, the_process_has_the_given_limit_of_descriptors) {
    Bundle bundle;
    bundle.writeScript("Small", "{ ulimit -Sn; ulimit -Hn; }");
    EXPECT_EQ(bundle.report(), "99\n100\n");
}

/// Launches the bundle while we can open only `descriptors` more descriptors.
std::expected<void, PosixError> launchWithRoomFor(unsigned descriptors, const Bundle& bundle) {
    const posix::FileDescriptor next{::dup(0)};
    rlimit before{};
    if (::getrlimit(RLIMIT_NOFILE, &before) != 0) std::abort();
    const rlimit scarce{.rlim_cur = static_cast<rlim_t>(next.get()) + 1 + descriptors, .rlim_max = before.rlim_max};
    if (::setrlimit(RLIMIT_NOFILE, &scarce) != 0) std::abort();
    const auto launched = launchBundle(bundle.path(), descriptorLimit);
    if (::setrlimit(RLIMIT_NOFILE, &before) != 0) std::abort();
    return launched;
}

TEST(LaunchBundle, the_process_is_not_launched_without_room_for_its_streams) {
    for (const unsigned descriptors : {0U, 1U, 2U, 3U}) {
        SCOPED_TRACE(descriptors);
        const Bundle bundle;
        bundle.writeScript("Small", "echo here");
        EXPECT_FALSE(launchWithRoomFor(descriptors, bundle));
    }
}

TEST(LaunchBundle, a_failure_is_known_even_when_there_is_no_room_to_report_it) {
    for (const unsigned descriptors : {2U, 3U, 4U}) {
        SCOPED_TRACE(descriptors);
        const Bundle bundle;
        bundle.writeExecutable("Small", "hello");
        EXPECT_FALSE(launchWithRoomFor(descriptors, bundle));
    }
}

TEST(LaunchBundle, a_system_call_that_is_refused_fails_the_launch_and_nothing_runs) {
    struct Row {
        const char* when;
        Refusal refusal;
    };
    const Row rows[] = {
        {"no process", {"fork", /*inThisProcess=*/true}},
        {"no process for the application", {"fork"}},
        {"no session of its own", {"setsid"}},
        {"no root folder", {"chdir"}},
        {"standard streams that cannot be replaced", {"dup2"}},
        {"a limit that cannot be set", {"setrlimit"}},
        {"a report that cannot be written", {"write"}},
    };
    vostel_tests::forEachRow(rows, [](const Row& row) {
        const Bundle bundle;
        bundle.writeScript("Small", "echo here");
        refusal = row.refusal;
        const auto launched = launchBundle(bundle.path(), descriptorLimit);
        refusal.reset();
        EXPECT_EQ(launched, (std::expected<void, PosixError>{std::unexpect, EIO}));
        EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "nothing is left to reap";
        EXPECT_EQ(bundle.report(), "here\n") << "and nothing from the launch that was refused";
    });
}

TEST(LaunchBundle, a_launch_whose_report_cannot_be_read_has_failed) {
    const Bundle bundle;
    bundle.writeExecutable("Small", "#!/bin/sh\n");
    refusal = Refusal{"read", /*inThisProcess=*/true};
    const auto launched = launchBundle(bundle.path(), descriptorLimit);
    refusal.reset();
    EXPECT_EQ(launched, (std::expected<void, PosixError>{std::unexpect, EIO}));
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "nothing is left to reap";
}

TEST(LaunchBundle, signals_do_not_disturb_a_launch) {
    Bundle bundle;
    bundle.writePropertyList(propertyList("<key>CFBundleExecutable</key><string>Other</string>"));
    bundle.writeScript("Other", "echo here");
    EXPECT_EQ(bundle.report(/*signalsInterruptLaunch=*/true), "here\n");
    bundle.writeExecutable("Other", "hello");
    EXPECT_TRUE(bundle.report(/*signalsInterruptLaunch=*/true).starts_with("not launched"));
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "nothing is left to reap";
}

TEST(LaunchBundle, a_property_list_that_cannot_be_opened_is_not_read) {
    struct Row {
        const char* when;
        const char* target;
        int error;
    };
    const Row rows[] = {
        {"there is none", nullptr, ENOENT},
        {"a link to nothing", "nothing", ENOENT},
        {"a link to itself", "Info.plist", ELOOP},
    };
    vostel_tests::forEachRow(rows, [](const Row& row) {
        Bundle bundle;
        bundle.writeScript("Small", "echo here");
        const auto list = bundle.path() / "Contents" / "Info.plist";
        if (row.target != nullptr) std::filesystem::create_symlink(row.target, list);
        errno = 0;
        const auto executable = bundleExecutable(bundle.path());
        EXPECT_EQ(errno, row.error) << "the last call that failed opened the file";
        EXPECT_EQ(executable, bundle.path() / "Contents" / "MacOS" / "Small");
    });
}

TEST(LaunchBundle, only_the_first_64_KiB_of_the_property_list_are_read) {
    const std::string key = "<key>CFBundleExecutable</key><string>Other</string>";
    const std::string filler(65'536, ' ');
    struct Row {
        const char* when;
        std::string content;
        const char* executable;
    };
    const Row rows[] = {
        {"the name comes before their end", key + filler, "Other"},
        {"the name comes after their end", filler + key, "Small"},
    };
    vostel_tests::forEachRow(rows, [](const Row& row) {
        const Bundle bundle;
        bundle.writePropertyList(propertyList(row.content));
        EXPECT_EQ(bundleExecutable(bundle.path()).filename(), row.executable);
    });
}

TEST(LaunchBundle, the_executable_name_is_read_from_a_well_formed_property_list_only) {
    const std::string key = "<key>CFBundleExecutable</key>";
    struct Row {
        const char* when;
        std::string text;
        std::string name;
    };
    const Row rows[] = {
        {"on one line", propertyList(key + "<string>Vostel</string>"), "Vostel"},
        {"on two lines", propertyList(key + "\r\n\t <string>Vostel</string>"), "Vostel"},
        {"among others",
         propertyList("<key>CFBundleName</key><string>X</string>" + key +
                      "<string>Vostel</string>"
                      "<key>CFBundleVersion</key><string>4</string>"),
         "Vostel"},
        {"with a space and beyond ASCII", propertyList(key + "<string>Vostel Größe</string>"), "Vostel Größe"},
        {"empty text", "", ""},
        {"no key", propertyList("<key>CFBundleName</key><string>Vostel</string>"), ""},
        {"a value of another type", propertyList(key + "<integer>4</integer>"), ""},
        {"no value", propertyList(key), ""},
        {"an empty value", propertyList(key + "<string></string>"), ""},
        {"no end", key + "<string>Vostel", ""},
        {"the end of the text after the key", key, ""},
        {"the end of the text inside the tag", key + "<stri", ""},
        {"a path", propertyList(key + "<string>/bin/sh</string>"), ""},
        {"a path out of the bundle", propertyList(key + "<string>../../sh</string>"), ""},
        {"the folder itself", propertyList(key + "<string>.</string>"), ""},
        {"the folder above", propertyList(key + "<string>..</string>"), ""},
        {"entities", propertyList(key + "<string>a&amp;&#x62;&#99;&quot;</string>"), "a&bc\""},
        {"markup", propertyList(key + "<string>a<b/></string>"), ""},
        {"a NUL", propertyList(key + "<string>sh" + std::string(1, '\0') + "x</string>"), ""},
        {"a binary property list",
         std::string{"bplist00\xD1\x01\x02_\x10\x12"
                     "CFBundleExecutable"},
         ""},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(executableName(row.text), row.name); });
}

} // namespace
} // namespace vostel_mcp
