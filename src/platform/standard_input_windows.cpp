#include <windows.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <string>

#include "platform/standard_input.h"

// The C runtime would ask a console for text in the console's input code page, which is that of
// old programs for most users, and not all of what can be typed has a place in it.

namespace mos {
namespace {

constexpr wchar_t endOfInput = L'\x1a'; // what Ctrl-Z types

std::string narrow(const wchar_t* text, int length) {
    const int size = WideCharToMultiByte(CP_UTF8, 0, text, length, nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, length, bytes.data(), size, nullptr, nullptr);
    return bytes;
}

/// What is typed at a console, a line at a time.
class TypedText {
public:
    explicit TypedText(HANDLE input) : console(input) {}

    [[nodiscard]] int next() {
        if (position == bytes.size() && !readLine()) {
            return EOF;
        }
        return static_cast<unsigned char>(bytes[position++]);
    }

private:
    /// False at the end of the input.
    [[nodiscard]] bool readLine() {
        // A line may come in pieces, but no character in halves.
        std::wstring line;
        do {
            std::array<wchar_t, 1024> piece{};
            DWORD length = 0;
            if (ReadConsoleW(console, piece.data(), static_cast<DWORD>(piece.size()), &length,
                             nullptr) == FALSE ||
                length == 0) {
                return false;
            }
            line.append(piece.data(), length);
        } while (line.back() != L'\n' && line.front() != endOfInput);
        if (line.front() == endOfInput) {
            return false;
        }
        bytes = narrow(line.data(), static_cast<int>(line.size()));
        position = 0;
        return !bytes.empty();
    }

    HANDLE console;
    std::string bytes;
    std::size_t position = 0;
};

} // namespace

int readInputByte() {
    static HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    static DWORD mode = 0;
    static const bool isConsole = GetConsoleMode(input, &mode) != FALSE;
    static TypedText typed(input);
    return isConsole ? typed.next() : std::getc(stdin);
}

} // namespace mos
