#include "platform/processor.h"

#include <intrin.h>
#include <windows.h>

#include <array>

namespace mos {
namespace {

enum Register { eax, ebx, ecx, edx };
using Registers = std::array<int, 4>;

Registers ask(int leaf) noexcept {
    Registers registers{};
    __cpuidex(registers.data(), leaf, 0);
    return registers;
}

bool has(int word, unsigned bit) noexcept {
    return (static_cast<unsigned>(word) >> bit & 1U) != 0;
}

bool askProcessor() noexcept {
    constexpr unsigned sse41Bit = 19; // leaf 1, ECX
    constexpr unsigned ssse3Bit = 9;  // leaf 1, ECX
    constexpr unsigned shaBit = 29;   // leaf 7, subleaf 0, EBX
    const Registers basic = ask(1);
    return has(basic[ecx], sse41Bit) && has(basic[ecx], ssse3Bit) && ask(0)[eax] >= 7 &&
           has(ask(7)[ebx], shaBit);
}

} // namespace

bool processorHasSha256() noexcept {
    // Under a hypervisor the question costs microseconds; the answer does not change.
    static const bool answer = askProcessor();
    return answer;
}

bool processorHasAvx2() noexcept {
    constexpr unsigned avx2Bit = 5; // leaf 7, subleaf 0, EBX
    static const bool answer = (GetEnabledXStateFeatures() & XSTATE_MASK_AVX) != 0 &&
                               ask(0)[eax] >= 7 && has(ask(7)[ebx], avx2Bit);
    return answer;
}

} // namespace mos
