#include "platform/processor.h"

#include <cpuid.h>
#include <immintrin.h>

namespace mos {
namespace {

struct Answers {
    bool sha256 = false;
    bool avx2 = false;
};

/// Whether the system keeps the 256-bit registers. Only for processors with OSXSAVE.
[[gnu::target("xsave")]] bool systemKeepsWideRegisters() noexcept {
    constexpr unsigned long long registers = 6; // 128-bit ones, upper halves
    return (static_cast<unsigned long long>(_xgetbv(0)) & registers) == registers;
}

Answers askProcessor() noexcept {
    constexpr unsigned ssse3Bit = 1U << 9U;    // leaf 1, ECX
    constexpr unsigned sse41Bit = 1U << 19U;   // leaf 1, ECX
    constexpr unsigned osxsaveBit = 1U << 27U; // leaf 1, ECX
    constexpr unsigned avx2Bit = 1U << 5U;     // leaf 7, subleaf 0, EBX
    constexpr unsigned shaBit = 1U << 29U;     // leaf 7, subleaf 0, EBX
    unsigned eax = 0;
    unsigned extended = 0;
    unsigned basic = 0;
    unsigned ecx = 0;
    unsigned edx = 0;
    if (__get_cpuid_count(7, 0, &eax, &extended, &ecx, &edx) == 0) {
        return {};
    }
    unsigned ebx = 0;
    __cpuid(1, eax, ebx, basic, edx);
    return {(basic & ssse3Bit) != 0 && (basic & sse41Bit) != 0 && (extended & shaBit) != 0,
            (basic & osxsaveBit) != 0 && (extended & avx2Bit) != 0 && systemKeepsWideRegisters()};
}

/// Under a hypervisor every question costs many microseconds; the answers do not change. For the
/// same reason this is not left to __builtin_cpu_supports, which asks at every start.
const Answers& answers() noexcept {
    static const Answers known = askProcessor();
    return known;
}

} // namespace

bool processorHasSha256() noexcept {
    return answers().sha256;
}

bool processorHasAvx2() noexcept {
    return answers().avx2;
}

} // namespace mos
