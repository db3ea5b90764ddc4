#include "server/cli/store_commands.h"

#include <array>
#include <iostream>

#include "server/cli/data_option.h"
#include "server/cli/password_prompt.h"
#include "server/store/accounts.h"
#include "server/store/packages.h"
#include "server/store/public_files.h"
#include "server/store/store_check.h"

namespace mos::server {
namespace {

Account accountOf(Database& database, const std::string& name) {
    auto account = findUser(database, name);
    if (!account) {
        throw Failure("there is no user '" + name + "'", exitFailed);
    }
    return *std::move(account);
}

/// A directory to export into: new or empty, so that nothing old stays among the files.
std::filesystem::path emptyDirectory(const std::string& name) {
    std::filesystem::path directory = std::filesystem::absolute(name);
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    if (error || !std::filesystem::is_empty(directory, error) || error) {
        throw Failure(name + " is not an empty directory", exitFailed);
    }
    return directory;
}

} // namespace

int userAddCommand(const Arguments& arguments) {
    const auto words = arguments.words(std::array<std::string_view, 1>{"NAME"});
    if (!arguments.has("--email")) {
        throw usageError("--email E is needed");
    }
    const DataDirectory data = dataDirectoryOf(arguments, MissingData::IsCreated);
    Database database(data.database());
    const std::string refusal =
        addUser(database, words[0], arguments.text("--email", ""), askForNewPassword());
    if (!refusal.empty()) {
        throw Failure(refusal, exitFailed);
    }
    std::cout << "Added the user " << words[0] << '\n';
    return exitDone;
}

int tokenCreateCommand(const Arguments& arguments) {
    const auto words = arguments.words(std::array<std::string_view, 1>{"USER"});
    const DataDirectory data = dataDirectoryOf(arguments, MissingData::IsAFailure);
    Database database(data.database());
    const Account account = accountOf(database, words[0]);
    const std::string token = createToken(database, account, arguments.text("--label", ""));
    // Nobody would know of a token that is valid, and nothing can show it again.
    if (!(std::cout << token << '\n' << std::flush)) {
        static_cast<void>(revokeToken(database, token.substr(0, tokenIdLength)));
        throw Failure("the token could not be printed; it is revoked", exitFailed);
    }
    return exitDone;
}

int tokenListCommand(const Arguments& arguments) {
    const auto words = arguments.words({});
    const DataDirectory data = dataDirectoryOf(arguments, MissingData::IsAFailure);
    Database database(data.database());
    for (const TokenRecord& token : listTokens(database, arguments.text("--user", ""))) {
        std::cout << token.id << '\t' << token.user << '\t' << token.created << '\t'
                  << (token.revoked.empty() ? "valid" : "revoked " + token.revoked) << '\t'
                  << token.label << '\n';
    }
    return exitDone;
}

int tokenRevokeCommand(const Arguments& arguments) {
    const auto words = arguments.words(std::array<std::string_view, 1>{"ID"});
    const DataDirectory data = dataDirectoryOf(arguments, MissingData::IsAFailure);
    Database database(data.database());
    // Of a whole token the rest is a secret, which nothing prints or keeps.
    const std::string id = words[0].substr(0, tokenIdLength);
    if (!revokeToken(database, id)) {
        throw Failure("there is no valid token " + id, exitFailed);
    }
    std::cout << "Revoked the token " << id << '\n';
    return exitDone;
}

int yankCommand(const Arguments& arguments) {
    const auto words = arguments.words(std::array<std::string_view, 2>{"NAME", "VERSION"});
    const DataDirectory data = dataDirectoryOf(arguments, MissingData::IsAFailure);
    const bool isUndone = arguments.has("--undo");
    Database database(data.database());
    const std::string title = words[0] + " " + words[1];
    const YankResult result = setYanked(database, words[0], words[1], !isUndone);
    if (result == YankResult::NotFound) {
        throw Failure("there is no version " + title, exitFailed);
    }
    // Even if nothing changes: the time before, the files may have been what failed.
    refreshPublicFiles(database, data, words[0], words[1]);
    if (result == YankResult::Unchanged) {
        std::cout << title << (isUndone ? " is not yanked\n" : " is yanked already\n");
        return exitDone;
    }
    std::cout << (isUndone ? "Listed " : "Yanked ") << title << (isUndone ? " again\n" : "\n");
    return exitDone;
}

int exportCommand(const Arguments& arguments) {
    const auto words = arguments.words(std::array<std::string_view, 1>{"DIR"});
    const std::string layout = arguments.text("--layout", "tree");
    if (layout != "tree" && layout != "flat") {
        throw usageError("--layout is tree or flat");
    }
    const DataDirectory data = dataDirectoryOf(arguments, MissingData::IsAFailure);
    const auto directory = emptyDirectory(words[0]);
    Database database(data.database());
    exportFiles(database, data, layout == "tree" ? FileLayout::Tree : FileLayout::Flat, directory);
    std::cout << "Exported to " << words[0] << '\n';
    return exitDone;
}

int rebuildCommand(const Arguments& arguments) {
    const auto words = arguments.words({});
    const DataDirectory data = dataDirectoryOf(arguments, MissingData::IsAFailure);
    Database database(data.database());
    rewriteDocuments(database);
    const auto problems = rebuildPublicFiles(database, data);
    for (const std::string& problem : problems) {
        std::cout << problem << '\n';
    }
    std::cout << "Rebuilt the documents and " << data.publicFiles().string() << '\n';
    return problems.empty() ? exitDone : exitDamaged;
}

int checkCommand(const Arguments& arguments) {
    const auto words = arguments.words({});
    const DataDirectory data = dataDirectoryOf(arguments, MissingData::IsAFailure);
    Database database(data.database());
    const StoreReport report = checkStore(database, data);
    for (const std::string& problem : report.problems) {
        std::cout << problem << '\n';
    }
    std::cout << report.versions << " versions, " << report.bytes << " bytes, "
              << report.unusedArchives << " unused archives, " << report.problems.size()
              << " problems\n";
    return report.problems.empty() ? exitDone : exitDamaged;
}

} // namespace mos::server
