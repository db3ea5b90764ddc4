#include "platform/environment.h"
#include "registry/http_transport.h"
#include "registry/package_registry.h"
#include "registry/remote_registry.h"

namespace mos {

bool isOfflineForced() {
    const auto value = environmentVariable("MOS_OFFLINE");
    // Any other value does not count.
    return value == "1" || value == "true";
}

std::shared_ptr<RemoteRegistry> makeRemoteRegistry() {
    // Unset and empty are the same: the registry then takes the default address.
    return std::make_shared<RemoteRegistry>(environmentVariable("MOS_REGISTRY").value_or(""),
                                            isOfflineForced(), httpTransport());
}

std::shared_ptr<IRegistry> makeRegistry() {
    return makeRemoteRegistry();
}

} // namespace mos
