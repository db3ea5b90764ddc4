#include <cstdio>

#include "platform/standard_input.h"

namespace mos {

int readInputByte() {
    return std::getc(stdin);
}

} // namespace mos
