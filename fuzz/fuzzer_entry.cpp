#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "targets.h"

// libFuzzer's entry points. One program holds every target; the environment chooses.

namespace {

const mos::fuzz::Target* chosen = nullptr;

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    const char* const name = std::getenv("MOS_FUZZ_TARGET");
    for (const mos::fuzz::Target& target : mos::fuzz::targets()) {
        if (name != nullptr && target.name == name) {
            chosen = &target;
        }
    }
    if (chosen == nullptr) {
        std::fputs("MOS_FUZZ_TARGET has to name one of:\n", stderr);
        for (const mos::fuzz::Target& target : mos::fuzz::targets()) {
            std::fprintf(stderr, "  %.*s\n", static_cast<int>(target.name.size()),
                         target.name.data());
        }
        std::exit(2);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    chosen->run({reinterpret_cast<const char*>(data), size});
    return 0;
}
