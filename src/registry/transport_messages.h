#pragma once

#include <filesystem>
#include <string>
#include <string_view>

/// Every text of the transport, shared by its back ends so that they cannot drift apart. The texts
/// name WinINet and Win32 on every platform: scripts match them.
namespace mos {

/// The two operations of the transport; each words the same failures in its own way.
enum class TransportOperation { Request, Download };

[[nodiscard]] std::string offlineMessage(TransportOperation operation);
[[nodiscard]] std::string invalidUrlMessage(TransportOperation operation, std::string_view url);
[[nodiscard]] std::string initializeMessage(TransportOperation operation);
[[nodiscard]] std::string connectMessage(TransportOperation operation, std::string_view host);
[[nodiscard]] std::string openRequestMessage(TransportOperation operation);

/// No reply came; `errorNumber` is the client library's own.
[[nodiscard]] std::string sendMessage(TransportOperation operation, long errorNumber);

/// A download was answered with a status other than 200.
[[nodiscard]] std::string downloadStatusMessage(int status);
[[nodiscard]] std::string openDestinationMessage(const std::filesystem::path& path);
[[nodiscard]] std::string writeDestinationMessage(const std::filesystem::path& path);

} // namespace mos
