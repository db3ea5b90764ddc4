#include "platform/environment.h"
#include "registry/http_transport.h"
#include "registry/package_registry.h"
#include "registry/remote_registry.h"

namespace mos {
namespace {

/// MOS_OFFLINE counts when it is exactly "1" or "true".
bool isOfflineForced() {
    const auto value = environmentVariable("MOS_OFFLINE");
    return value == "1" || value == "true";
}

} // namespace

std::shared_ptr<RemoteRegistry> makeRemoteRegistry() {
    // Unset and empty are the same: the registry then takes the default address.
    return std::make_shared<RemoteRegistry>(environmentVariable("MOS_REGISTRY").value_or(""),
                                            isOfflineForced(), httpTransport());
}

std::shared_ptr<IRegistry> makeRegistry() {
    return makeRemoteRegistry();
}

} // namespace mos
