// The part of AppKit that we use, declared for builds on Linux. It is never linked: see openWithoutActivating.
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
