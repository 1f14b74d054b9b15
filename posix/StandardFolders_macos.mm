#include "posix/StandardFolders.h"

#import <Foundation/Foundation.h>

namespace posix {

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
        return executable.fileSystemRepresentation;
    }
}

} // namespace posix
