#include "platform/processor.h"

#include <cpuid.h>

namespace mos {
namespace {

bool askProcessor() noexcept {
    constexpr unsigned sse41Bit = 1U << 19U; // leaf 1, ECX
    constexpr unsigned ssse3Bit = 1U << 9U;  // leaf 1, ECX
    constexpr unsigned shaBit = 1U << 29U;   // leaf 7, subleaf 0, EBX
    unsigned eax = 0;
    unsigned ebx = 0;
    unsigned ecx = 0;
    unsigned edx = 0;
    if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) == 0 || (ecx & sse41Bit) == 0 ||
        (ecx & ssse3Bit) == 0) {
        return false;
    }
    return __get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0 && (ebx & shaBit) != 0;
}

} // namespace

bool processorHasSha256() noexcept {
    // Under a hypervisor the question costs microseconds; the answer does not change.
    static const bool answer = askProcessor();
    return answer;
}

bool processorHasAvx2() noexcept {
    return __builtin_cpu_supports("avx2") != 0;
}

} // namespace mos
