#include "posix/StandardFolders.h"

#import <Foundation/Foundation.h>

namespace posix {

// Checked because the cross-build on Linux has its own declarations of these values.
static_assert(NSApplicationSupportDirectory == 14 && NSUserDomainMask == 1);

std::filesystem::path applicationSupportDirectory() {
    @autoreleasepool {
        NSURL* directory = [[NSFileManager defaultManager] URLsForDirectory:NSApplicationSupportDirectory
                                                                  inDomains:NSUserDomainMask]
                               .firstObject;
        if (directory != nil) return directory.fileSystemRepresentation;
    }
    return homeDirectory() / "Library" / "Application Support";
}

std::optional<std::filesystem::path> ownExecutable() {
    @autoreleasepool {
        NSURL* executable = [NSBundle mainBundle].executableURL;
        if (executable == nil) return std::nullopt;
        // Deliberate: the bundle does not resolve links, but an AI client may start us by a link into the application.
        std::error_code failure;
        auto resolved = std::filesystem::canonical(executable.fileSystemRepresentation, failure);
        if (failure) return std::nullopt;
        return resolved;
    }
}

} // namespace posix
