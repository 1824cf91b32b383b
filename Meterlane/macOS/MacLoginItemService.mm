#include "Meterlane/macOS/MacLoginItemService.h"

#import <Foundation/Foundation.h>
#import <ServiceManagement/ServiceManagement.h>

#include <os/log.h>

namespace gaugely {

static_assert(SMAppServiceStatusNotRegistered == 0 && SMAppServiceStatusEnabled == 1 &&
                  SMAppServiceStatusRequiresApproval == 2 && SMAppServiceStatusNotFound == 3,
              "the login-item statuses are mapped by their values");

namespace {

// Looked up by name rather than linked, so the same code links against an SDK that predates the
// class; every system the app runs on (macOS 13 and later) has it.
SMAppService* mainAppService() {
    Class service = NSClassFromString(@"SMAppService");
    return service != nil ? [service mainAppService] : nil;
}

bool logged(BOOL succeeded, NSError* error, const char* what) {
    if (!succeeded) {
        os_log_error(OS_LOG_DEFAULT, "Launch at Login: %{public}s failed: %{public}@", what,
                     error.localizedDescription);
    }
    return succeeded;
}

}  // namespace

LoginItemService::Status MacLoginItemService::status() {
    SMAppService* service = mainAppService();
    if (service == nil) {
        return Status::unknown;
    }
    switch (service.status) {
        case SMAppServiceStatusNotRegistered:
            return Status::notRegistered;
        case SMAppServiceStatusEnabled:
            return Status::enabled;
        case SMAppServiceStatusRequiresApproval:
            return Status::requiresApproval;
        case SMAppServiceStatusNotFound:
            return Status::notFound;
    }
    return Status::unknown;
}

bool MacLoginItemService::registerAsLoginItem() {
    NSError* error = nil;
    return logged([mainAppService() registerAndReturnError:&error], error, "register");
}

bool MacLoginItemService::unregisterAsLoginItem() {
    NSError* error = nil;
    return logged([mainAppService() unregisterAndReturnError:&error], error, "unregister");
}

void MacLoginItemService::openLoginItemsSettings() {
    Class service = NSClassFromString(@"SMAppService");
    if (service != nil) {
        [service openSystemSettingsLoginItems];
    }
}

}  // namespace gaugely
