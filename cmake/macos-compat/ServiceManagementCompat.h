// Declarations the cross-check's older SDK lacks, force-included into Objective-C++ by the cross
// build only. A macOS 13 or later SDK declares all of this itself, and then this file is empty.
#pragma once

#import <Foundation/Foundation.h>
#import <ServiceManagement/ServiceManagement.h>

#if !defined(__MAC_13_0)
typedef NS_ENUM(NSInteger, SMAppServiceStatus) {
    SMAppServiceStatusNotRegistered = 0,
    SMAppServiceStatusEnabled = 1,
    SMAppServiceStatusRequiresApproval = 2,
    SMAppServiceStatusNotFound = 3,
};

@interface SMAppService : NSObject
@property(class, readonly) SMAppService* mainAppService;
@property(readonly) SMAppServiceStatus status;
- (BOOL)registerAndReturnError:(NSError**)error;
- (BOOL)unregisterAndReturnError:(NSError**)error;
+ (void)openSystemSettingsLoginItems;
@end
#endif
