#include "registry/transport_messages.h"

namespace mos {
namespace {

std::string choose(TransportOperation operation, std::string_view request,
                   std::string_view download) {
    return std::string(operation == TransportOperation::Request ? request : download);
}

} // namespace

std::string offlineMessage(TransportOperation operation) {
    return choose(operation, "Cannot access registry in offline mode.",
                  "Cannot download package in offline mode.");
}

std::string invalidUrlMessage(TransportOperation operation, std::string_view url) {
    return choose(operation, "Invalid registry URL: ", "Invalid download URL: ").append(url);
}

std::string initializeMessage(TransportOperation operation) {
    return choose(operation, "Failed to initialize WinINet networking.",
                  "Failed to initialize WinINet for download.");
}

std::string connectMessage(TransportOperation operation, std::string_view host) {
    return choose(operation, "Failed to connect to host: ", "Could not connect to host: ")
        .append(host);
}

std::string openRequestMessage(TransportOperation operation) {
    return choose(operation, "Failed to create HTTP request.",
                  "Failed to open HTTP download request.");
}

std::string sendMessage(TransportOperation operation, long errorNumber) {
    return choose(operation, "Network transmission failed (Win32 error ",
                  "Download request failed (Win32 error ") +
           std::to_string(errorNumber) + ")";
}

std::string downloadStatusMessage(int status) {
    return "Registry returned HTTP " + std::to_string(status) + " on download.";
}

std::string openDestinationMessage(const std::filesystem::path& path) {
    return "Could not open destination file: " + path.string();
}

std::string writeDestinationMessage(const std::filesystem::path& path) {
    return "Could not write destination file: " + path.string();
}

} // namespace mos
