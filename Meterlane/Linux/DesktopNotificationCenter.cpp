#include "Meterlane/Linux/DesktopNotificationCenter.h"

#include <dlfcn.h>
#include <systemd/sd-bus.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

namespace gaugely {
namespace {

constexpr const char* objectPath = "/org/freedesktop/Notifications";
constexpr const char* interfaceName = "org.freedesktop.Notifications";
// Notify's expire_timeout: the server's own default.
constexpr int32_t serverDefaultTimeout = -1;
constexpr const char* libsystemdName = "libsystemd.so.0";

// sd-bus, loaded the first time a notification goes out. Linked, libsystemd and the six
// libraries it needs would be loaded at every start of the tool, a millisecond and a half of a
// prompt's status line, though most runs never notify. Its soname has been stable for a decade.
struct SdBus {
    decltype(&sd_bus_open_user) openUser = nullptr;
    decltype(&sd_bus_set_method_call_timeout) setMethodCallTimeout = nullptr;
    decltype(&sd_bus_call_method) callMethod = nullptr;
    decltype(&sd_bus_message_read) messageRead = nullptr;
    decltype(&sd_bus_message_unref) messageUnref = nullptr;
    decltype(&sd_bus_flush_close_unref) flushCloseUnref = nullptr;
    decltype(&sd_bus_error_is_set) errorIsSet = nullptr;
    decltype(&sd_bus_error_has_names_sentinel) errorHasNamesSentinel = nullptr;
    decltype(&sd_bus_error_free) errorFree = nullptr;
    std::string failure;
};

template <typename Function>
void bind(void* library, const char* name, Function& function, std::string& failure) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    if (function == nullptr && failure.empty()) {
        failure = std::string(libsystemdName) + " has no " + name;
    }
}

// Loaded once and kept for the life of the process: a notifier may come and go, the library
// need not.
const SdBus& sdBus() {
    static const SdBus loaded = [] {
        SdBus bus;
        void* library = dlopen(libsystemdName, RTLD_NOW | RTLD_LOCAL);
        if (library == nullptr) {
            const char* reason = dlerror();
            bus.failure = std::string(libsystemdName) + " cannot be loaded" +
                          (reason != nullptr ? ": " + std::string(reason) : std::string());
            return bus;
        }
        bind(library, "sd_bus_open_user", bus.openUser, bus.failure);
        bind(library, "sd_bus_set_method_call_timeout", bus.setMethodCallTimeout, bus.failure);
        bind(library, "sd_bus_call_method", bus.callMethod, bus.failure);
        bind(library, "sd_bus_message_read", bus.messageRead, bus.failure);
        bind(library, "sd_bus_message_unref", bus.messageUnref, bus.failure);
        bind(library, "sd_bus_flush_close_unref", bus.flushCloseUnref, bus.failure);
        bind(library, "sd_bus_error_is_set", bus.errorIsSet, bus.failure);
        bind(library, "sd_bus_error_has_names_sentinel", bus.errorHasNamesSentinel, bus.failure);
        bind(library, "sd_bus_error_free", bus.errorFree, bus.failure);
        return bus;
    }();
    return loaded;
}

// An sd-bus error that frees itself.
struct BusError {
    // Zeroed, as SD_BUS_ERROR_NULL makes it (a C compound literal).
    sd_bus_error error{nullptr, nullptr, 0};
    ~BusError() { sdBus().errorFree(&error); }
};

struct MessageReference {
    sd_bus_message* message = nullptr;
    ~MessageReference() { sdBus().messageUnref(message); }
};

std::string errnoText(int result) {
    return std::strerror(result < 0 ? -result : result);
}

// Why a call failed, in the user's terms: no service answering on the bus, or no bus at all.
std::string callFailure(int result, const sd_bus_error& error) {
    const SdBus& sd = sdBus();
    // sd_bus_error_has_names is a macro over the sentinel-terminated function.
    if (sd.errorHasNamesSentinel(&error, SD_BUS_ERROR_SERVICE_UNKNOWN,
                                 SD_BUS_ERROR_NAME_HAS_NO_OWNER, SD_BUS_ERROR_UNKNOWN_METHOD,
                                 SD_BUS_ERROR_UNKNOWN_OBJECT, SD_BUS_ERROR_UNKNOWN_INTERFACE,
                                 nullptr)) {
        return "no notification service on the session bus: " + std::string(error.message);
    }
    if (sd.errorIsSet(&error)) {
        return "the notification service failed: " +
               std::string(error.message ? error.message : error.name);
    }
    return "the session bus failed: " + errnoText(result);
}

}  // namespace

struct DesktopNotificationCenter::Bus {
    sd_bus* bus = nullptr;
    ~Bus() { sdBus().flushCloseUnref(bus); }
};

DesktopNotificationCenter::DesktopNotificationCenter(std::string applicationName,
                                                     UserNotificationCenter& fallback,
                                                     UnavailableHandler unavailable)
    : applicationName_(std::move(applicationName)),
      fallback_(fallback),
      unavailable_(std::move(unavailable)) {}

DesktopNotificationCenter::~DesktopNotificationCenter() = default;

void DesktopNotificationCenter::failed(const std::string& reason) {
    bus_.reset();
    server_.reset();
    if (!toldUnavailable_) {
        toldUnavailable_ = true;
        if (unavailable_) {
            unavailable_(reason);
        }
    }
}

bool DesktopNotificationCenter::connect() {
    const SdBus& sd = sdBus();
    if (!sd.failure.empty()) {
        failed("no session bus: " + sd.failure);
        return false;
    }
    auto bus = std::make_unique<Bus>();
    // The session bus of $DBUS_SESSION_BUS_ADDRESS, else $XDG_RUNTIME_DIR/bus.
    if (const int result = sd.openUser(&bus->bus); result < 0) {
        failed(result == -ENOMEDIUM
                   ? "no session bus: neither DBUS_SESSION_BUS_ADDRESS nor XDG_RUNTIME_DIR is set"
                   : "no session bus: " + errnoText(result));
        return false;
    }
    sd.setMethodCallTimeout(bus->bus, static_cast<uint64_t>(callTimeoutSeconds * 1'000'000));
    BusError error;
    MessageReference reply;
    // Also starts a service that the bus activates on demand.
    const int result =
        sd.callMethod(bus->bus, std::string(serviceName).c_str(), objectPath, interfaceName,
                      "GetServerInformation", &error.error, &reply.message, "");
    if (result < 0) {
        failed(callFailure(result, error.error));
        return false;
    }
    const char* name = nullptr;
    const char* vendor = nullptr;
    const char* version = nullptr;
    const char* specification = nullptr;
    if (sd.messageRead(reply.message, "ssss", &name, &vendor, &version, &specification) >= 0) {
        server_ = std::string(name) + " " + version + " (" + vendor + ")";
    } else {
        server_ = "an unnamed notification service";
    }
    bus_ = std::move(bus);
    toldUnavailable_ = false;
    return true;
}

void DesktopNotificationCenter::getNotificationSettings(
    std::function<void(NotificationAuthorizationStatus)> completion) {
    if (completion) {
        completion(NotificationAuthorizationStatus::authorized);
    }
}

void DesktopNotificationCenter::requestAuthorization(
    uint32_t /*options*/,
    std::function<void(bool granted, std::optional<std::string> error)> completion) {
    if (completion) {
        completion(true, std::nullopt);
    }
}

void DesktopNotificationCenter::add(
    const NotificationRequest& request,
    std::function<void(std::optional<std::string> error)> completion) {
    if (!bus_ && !connect()) {
        fallback_.add(request, std::move(completion));
        return;
    }
    BusError error;
    MessageReference reply;
    // Notify(app_name, replaces_id, app_icon, summary, body, actions, hints, expire_timeout):
    // replacing nothing, no icon, no actions, no hints.
    const int result = sdBus().callMethod(
        bus_->bus, std::string(serviceName).c_str(), objectPath, interfaceName, "Notify",
        &error.error, &reply.message, "susssasa{sv}i", applicationName_.c_str(), uint32_t{0}, "",
        request.title.c_str(), request.body.c_str(), 0, 0, serverDefaultTimeout);
    if (result < 0) {
        failed(callFailure(result, error.error));
        fallback_.add(request, std::move(completion));
        return;
    }
    if (completion) {
        completion(std::nullopt);
    }
}

}  // namespace gaugely
