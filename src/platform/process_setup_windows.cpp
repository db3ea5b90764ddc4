#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <initializer_list>

#include "platform/process_setup.h"

namespace mos {
namespace {

/// Has a console interpret the color sequences. False when the stream leads elsewhere.
bool setUpConsole(DWORD stream) noexcept {
    HANDLE console = GetStdHandle(stream);
    DWORD mode = 0;
    if (GetConsoleMode(console, &mode) == FALSE) {
        return false;
    }
    // Consoles that do not know the sequences refuse and show them as they are.
    SetConsoleMode(console, mode | ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
    return true;
}

} // namespace

void setUpProcess() noexcept {
    // The C runtime would write "\r\n" for "\n" and end its input at the byte 0x1A.
    for (const int descriptor : {0, 1, 2}) {
        _setmode(descriptor, _O_BINARY);
    }
    const bool outputIsConsole = setUpConsole(STD_OUTPUT_HANDLE);
    const bool errorIsConsole = setUpConsole(STD_ERROR_HANDLE);
    if (outputIsConsole || errorIsConsole) {
        // Left so at the end: the console may be shared with programs that write at this moment.
        SetConsoleOutputCP(CP_UTF8);
    }
}

} // namespace mos
