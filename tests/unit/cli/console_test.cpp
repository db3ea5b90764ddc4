#include "cli/console.h"

#include <gtest/gtest.h>

namespace mos {
namespace {

TEST(Console, wordsItsLinesWithAndWithoutColor) {
    EXPECT_EQ(statusLine("Created", "x", true), "\x1b[1;32mCreated\x1b[0m x\n");
    EXPECT_EQ(statusLine("Created", "x", false), "Created x\n");
    EXPECT_EQ(headingLine("Package", "x", true), "\x1b[1;36mPackage\x1b[0m x\n");
    EXPECT_EQ(headingLine("Package", "x", false), "Package x\n");
    EXPECT_EQ(errorLine("x", true), "\x1b[1;31merror\x1b[0m: x\n");
    EXPECT_EQ(errorLine("x", false), "error: x\n");
    EXPECT_EQ(debugLine("x"), "  [DEBUG] x\n");
}

TEST(Console, writesAnErrorBlockOfTwoLinesWithoutAndThreeWithHelp) {
    EXPECT_EQ(diagnosticBlock(MosException(ErrorCode::BuildFailed, "m", "", 1)),
              "error[MOS012]: build failed\n  m\n");
    EXPECT_EQ(diagnosticBlock(MosException(ErrorCode::AuthError, "m", "h", 1)),
              "error[MOS009]: authentication error\n  m\n  = help: h\n");
    EXPECT_EQ(diagnosticBlock(MosException(static_cast<ErrorCode>(12), "m", "", 1)),
              "error[MOS000]: error\n  m\n");
}

/// What the printing functions write under `settings`.
std::string captured(const OutputSettings& settings) {
    const OutputSettings saved = outputSettings();
    outputSettings() = settings;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    printStatus("S", "s");
    printHeading("H", "h");
    printDebug("d");
    printError("e");
    printDiagnostic(MosException(ErrorCode::AuthError, "m", "", 1), stderr);
    flushOutput();
    outputSettings() = saved;
    const std::string out = testing::internal::GetCapturedStdout();
    return "out: " + out + "err: " + testing::internal::GetCapturedStderr();
}

TEST(Console, printsAsTheSettingsSay) {
    const std::string lines = "\x1b[1;32mS\x1b[0m s\n\x1b[1;36mH\x1b[0m h\n";
    const std::string errors =
        "err: \x1b[1;31merror\x1b[0m: e\nerror[MOS009]: authentication error\n  m\n";
    EXPECT_EQ(captured({0, true, false}), "out: " + lines + errors);
    EXPECT_EQ(captured({1, true, false}), "out: " + lines + errors);
    EXPECT_EQ(captured({2, true, false}), "out: " + lines + "  [DEBUG] d\n" + errors);
    EXPECT_EQ(captured({3, true, false}), "out: " + lines + "  [DEBUG] d\n" + errors);
    EXPECT_EQ(captured({3, true, true}), "out: " + errors);
    EXPECT_EQ(captured({0, false, false}),
              "out: S s\nH h\nerr: error: e\nerror[MOS009]: authentication error\n  m\n");
}

} // namespace
} // namespace mos
