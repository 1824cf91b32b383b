#include "tools/gaugely/PosixHost.h"

#include "Meterlane/Simulation/MemoryPreferences.h"
#include "tools/gaugely/HostTimeFormatter.h"

namespace gaugely::tool {

PosixHost::PosixHost(PosixRunLoop& loop, const StateFiles& files, std::string homeFolder,
                     UserNotificationCenter& notifications)
    : loop_(loop),
      homeFolder_(std::move(homeFolder)),
      notifications_(notifications),
      state_(files.state),
      history_(files.history) {}

PosixHost::~PosixHost() = default;

AppAssembly& PosixHost::launch(std::function<void(UsageReader&)> hostSettings, bool keepsProgress) {
    AppPorts ports{
        ReaderEnvironment{
            accessibility_, input_, workspace_, loop_, loop_, log_, state_, notifications_, {}},
        bundle_,
        updates_,
        hostTimeFormatter(),
        loginItems_,
        alerts_,
        [](std::string_view) { return std::make_unique<MemoryPreferences>(); },
        product::feedHost,
        homeFolder_,
        &files_,
        &history_,
        keepsProgress,
        std::move(hostSettings)};
    AppWindows windows{{[](const SettingsViewModel&) {}, [] {}, [](const std::string&) {}},
                       [] {},
                       [] {},
                       [] {},
                       [](std::string) {}};
    app_ = std::make_unique<AppAssembly>(std::move(ports), std::move(windows));
    return *app_;
}

}  // namespace gaugely::tool
