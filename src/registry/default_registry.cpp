#include "registry/default_registry.h"

namespace mos {

std::string defaultRegistryUrl() {
    return MOS_DEFAULT_REGISTRY_URL;
}

} // namespace mos
