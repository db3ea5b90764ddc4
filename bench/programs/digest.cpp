// Prints the SHA-256 of a file, computed as for the archives of packages.
#include <cstdio>

#include "store/sha256.h"

int main(int argc, char** argv) {
    const std::string digest = argc == 2 ? mos::sha256File(argv[1]) : std::string();
    if (digest.empty()) {
        static_cast<void>(std::fputs("usage: mos_digest FILE\n", stderr));
        return 2;
    }
    return std::puts(digest.c_str()) < 0 ? 1 : 0;
}
