// The part of Foundation that we use, declared for builds on Linux. Names, types and values are those of macOS.
#pragma once

#include <objc/objc.h>

using NSInteger = long;
using NSUInteger = unsigned long;

__attribute__((objc_root_class))
@interface NSObject
@end

@interface NSString : NSObject
- (BOOL)isEqualToString:(NSString*)other;
@end

@interface NSArray<__covariant ObjectType> : NSObject
@property(readonly) ObjectType firstObject;
@end

@interface NSURL : NSObject
+ (NSURL*)fileURLWithFileSystemRepresentation:(const char*)path
                                  isDirectory:(BOOL)isDirectory
                                relativeToURL:(NSURL*)base;
@property(readonly) const char* fileSystemRepresentation __attribute__((objc_returns_inner_pointer));
@end

@interface NSError : NSObject
@property(readonly) NSString* domain;
@property(readonly) NSInteger code;
@end

extern "C" NSString* const NSPOSIXErrorDomain;

@interface NSBundle : NSObject
@property(class, readonly) NSBundle* mainBundle;
@property(readonly) NSURL* executableURL;
@end

enum NSSearchPathDirectory : NSUInteger { NSApplicationSupportDirectory = 14 };
enum NSSearchPathDomainMask : NSUInteger { NSUserDomainMask = 1 };

@interface NSFileManager : NSObject
@property(class, readonly) NSFileManager* defaultManager;
- (NSArray<NSURL*>*)URLsForDirectory:(NSSearchPathDirectory)directory inDomains:(NSSearchPathDomainMask)domains;
@end

extern "C" Class NSClassFromString(NSString* name);
