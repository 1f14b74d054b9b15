#include "server/Platform.h"

#import <AppKit/AppKit.h>
#import <Foundation/Foundation.h>
#include <cerrno>
#include <dlfcn.h>
#include <malloc/malloc.h>

namespace vostel_mcp {

using VostelMCPKit::PosixError;
using VostelMCPKit::Task;

namespace {

using Opened = std::expected<void, PosixError>;

/// An awaitable. Asks the workspace to open a bundle. Its completion handler, on any thread, resumes the awaiter on the
/// awaiter's executor. Not movable: name it, then await it.
class Opening final {
public:
    explicit Opening(const std::filesystem::path& bundle) : bundle_{bundle} {}
    Opening(Opening&&) = delete;

    bool await_ready() const noexcept { return false; }
    template <class P>
    bool await_suspend(std::coroutine_handle<P> awaiter) {
        return begin(awaiter, awaiter.promise().executor);
    }
    Opened await_resume() const { return result_; }

private:
    /// False when there is no workspace: then no completion handler will run, and the result is a failure. After the
    /// request to the workspace, this object may be destroyed at any moment.
    bool begin(std::coroutine_handle<> awaiter, VostelMCPKit::Executor* executor) {
        @autoreleasepool {
            // Deliberate: AppKit is loaded here and not linked, because most runs of the server never need it.
            dlopen("/System/Library/Frameworks/AppKit.framework/AppKit", RTLD_LAZY | RTLD_LOCAL);
            NSWorkspaceOpenConfiguration* configuration =
                [NSClassFromString(@"NSWorkspaceOpenConfiguration") configuration];
            NSWorkspace* workspace = [NSClassFromString(@"NSWorkspace") sharedWorkspace];
            if (configuration == nil || workspace == nil) {
                result_ = std::unexpected(PosixError{ENOSYS});
                return false;
            }
            NSURL* url = [NSURL fileURLWithFileSystemRepresentation:bundle_.c_str() isDirectory:YES relativeToURL:nil];
            [configuration setActivates:NO];
            [configuration setAddsToRecentItems:NO];
            [workspace openApplicationAtURL:url
                              configuration:configuration
                          completionHandler:^(NSRunningApplication*, NSError* error) {
                            // The system runs this on a thread that may have no autorelease pool, and the call
                            // continues inside post.
                            @autoreleasepool {
                                result_ = outcome(error);
                                executor->post(awaiter);
                            }
                          }];
            return true;
        }
    }

    static Opened outcome(NSError* error) {
        if (error == nil) return {};
        const bool isPosix = [error.domain isEqualToString:NSPOSIXErrorDomain];
        return std::unexpected(PosixError{isPosix ? static_cast<int>(error.code) : EIO});
    }

    const std::filesystem::path bundle_;
    Opened result_;
};

} // namespace

// The workspace starts the application, so it inherits nothing from this process.
Task<Opened> openWithoutActivating(std::filesystem::path bundle, rlimit /*descriptorLimit*/) {
    Opening opening{bundle};
    co_return co_await opening;
}

// The system's allocator returns large blocks by itself.
void keepIdleMemorySmall() {}

void releaseFreeMemory() { malloc_zone_pressure_relief(/*every zone*/ nullptr, /*as much as possible*/ 0); }

} // namespace vostel_mcp
