#include "registry/transport_messages.h"

#include <gtest/gtest.h>

namespace mos {
namespace {

constexpr auto request = TransportOperation::Request;
constexpr auto download = TransportOperation::Download;

// Deliberate: the texts say WinINet and Win32 on every platform.
TEST(TransportMessages, OfARequest) {
    EXPECT_EQ(offlineMessage(request), "Cannot access registry in offline mode.");
    EXPECT_EQ(invalidUrlMessage(request, "x:y"), "Invalid registry URL: x:y");
    EXPECT_EQ(initializeMessage(request), "Failed to initialize WinINet networking.");
    EXPECT_EQ(connectMessage(request, "host"), "Failed to connect to host: host");
    EXPECT_EQ(openRequestMessage(request), "Failed to create HTTP request.");
    EXPECT_EQ(sendMessage(request, 7), "Network transmission failed (Win32 error 7)");
}

TEST(TransportMessages, OfADownload) {
    EXPECT_EQ(offlineMessage(download), "Cannot download package in offline mode.");
    EXPECT_EQ(invalidUrlMessage(download, "x:y"), "Invalid download URL: x:y");
    EXPECT_EQ(initializeMessage(download), "Failed to initialize WinINet for download.");
    EXPECT_EQ(connectMessage(download, "host"), "Could not connect to host: host");
    EXPECT_EQ(openRequestMessage(download), "Failed to open HTTP download request.");
    EXPECT_EQ(sendMessage(download, 7), "Download request failed (Win32 error 7)");
    EXPECT_EQ(downloadStatusMessage(404), "Registry returned HTTP 404 on download.");
    EXPECT_EQ(openDestinationMessage("some/file"), "Could not open destination file: some/file");
    EXPECT_EQ(writeDestinationMessage("some/file"), "Could not write destination file: some/file");
}

} // namespace
} // namespace mos
