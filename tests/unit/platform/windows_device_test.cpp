#include "platform/windows_device.h"

#include <gtest/gtest.h>

namespace mos {
namespace {

TEST(WindowsDevice, DevicesAreDevicesInEveryCaseAndWithEveryExtension) {
    for (const char* const name :
         {"con", "PRN", "aux.moss", "nul.tar.gz", "NUL .txt", "CONIN$", "conout$.x", "clock$",
          "com0", "COM9.moss", "lpt1", "com\xC2\xB9", "lpt\xC2\xB2.x", "Com\xC2\xB3"}) {
        EXPECT_TRUE(isWindowsDevice(name)) << name;
    }
}

TEST(WindowsDevice, OtherNamesAreNot) {
    for (const char* const name : {"", ".", "..", ".con", " con", "console", "com", "lpt", "com10",
                                   "coma", "a.con", "nul_", "com\xC2\xB4", "conin", "xcom1"}) {
        EXPECT_FALSE(isWindowsDevice(name)) << name;
    }
}

} // namespace
} // namespace mos
