// Just enough of the system's declarations to compile Platform_macos.mm where there is no Mac.
#pragma once

#import <Foundation/Foundation.h>

@interface NSRunningApplication : NSObject
@end

@interface NSWorkspaceOpenConfiguration : NSObject
+ (instancetype)configuration;
@property BOOL activates;
@property BOOL addsToRecentItems;
@end

@interface NSWorkspace : NSObject
@property(class, readonly) NSWorkspace* sharedWorkspace;
- (void)openApplicationAtURL:(NSURL*)url
               configuration:(NSWorkspaceOpenConfiguration*)configuration
           completionHandler:(void (^)(NSRunningApplication* application, NSError* error))completionHandler;
@end
