// SPDX-License-Identifier: Apache-2.0
// How a name of several parts, or an OPENROWSET, becomes a table of a database file.

#include <filesystem>

#include "base/modFileFunctions.h"
#include "db/embedded/Databases.h"
#include "db/embedded/EmbeddedConnection.h"
#include "db/embedded/Sqlite.h"
#include "db/embedded/Translator.h"

namespace morvane::embedded {

std::size_t Translator::RewriteNameChain(std::size_t i) {
    const bool space = tokens_[i].SpaceBefore;
    std::vector<std::size_t> parts = {i};  // token positions; the end for an empty part
    std::size_t next = i + 1;
    while (IsAt(next, ".")) {
        ++next;
        const bool part = next < tokens_.size() && (tokens_[next].IsName() || IsAt(next, "*"));
        parts.push_back(part ? next : tokens_.size());
        next += part ? 1 : 0;
    }
    std::size_t first = 0;
    for (std::size_t part = 0; part + 1 < parts.size(); ++part) {
        if (parts[part] == tokens_.size() ||
            EqualsIgnoreCase(tokens_[parts[part]].NameText(), "dbo")) {
            first = part + 1;
        }
    }
    if (parts.back() == tokens_.size()) {
        Fail("Incorrect syntax near '.'.");
    }
    if (first + 1 == parts.size() && IsAt(parts.back(), "*")) {
        FailUnknown("\"*\" without a table before it here");
    }
    if (first >= 2 && ReplaceDatabase(parts, first)) {
        return next;
    }
    for (std::size_t part = first; part < parts.size(); ++part) {
        Emit(part > first ? "." : "", part == first && space);
        out_ += tokens_[parts[part]].Text;
    }
    return next;
}

bool Translator::ReplaceDatabase(const std::vector<std::size_t>& parts, std::size_t first) {
    if (first > 2) {
        const std::string server = LinkedServer(parts);
        EmitForeignTable(parts[0], server, tokens_[parts[1]].NameText(),
                         tokens_[parts.back()].NameText());
        return true;
    }
    const std::string database = tokens_[parts[0]].NameText();
    if (EqualsIgnoreCase(database, "master") &&
        EqualsIgnoreCase(tokens_[parts[first]].NameText(), "sysdatabases")) {
        Emit(DatabaseList(context_.Folder), tokens_[parts[0]].SpaceBefore);
        return true;
    }
    if (!EqualsIgnoreCase(database, context_.Database)) {
        Fail("The embedded warehouse cannot reach the database \"" + database + "\" from \"" +
             context_.Database + "\".");
    }
    return false;
}

std::string Translator::LinkedServer(const std::vector<std::size_t>& parts) const {
    const std::string server = tokens_[parts[0]].NameText();
    const auto& linked = context_.LinkedServers;
    const bool known = std::any_of(linked.begin(), linked.end(), [&](const std::string& name) {
        return EqualsIgnoreCase(name, server);
    });
    if (!known) {
        Fail("Could not find server '" + server + "'; it is not a linked server.");
    }
    if (parts.size() != 4 || parts[1] == tokens_.size()) {
        FailUnknown("this form of a four-part name");
    }
    return server;
}

void Translator::EmitForeignTable(std::size_t at, const std::string& server,
                                  const std::string& database, const std::string& table) {
    const std::string folder = FolderOfServer(server);
    const bool isTarget = at == 2 && IsAt(0, "insert") && IsAt(1, "into");
    if (!isTarget || server != context_.CopyServer || database != context_.CopyDatabase) {
        Fail(
            "The embedded warehouse reaches no other database but the one that fact tables are"
            " archived in, and that only to copy rows there.");
    }
    const std::string file = DatabaseFile(folder, database);
    std::error_code error;
    const bool own = std::filesystem::equivalent(
        ToPath(file), ToPath(DatabaseFile(context_.Folder, context_.Database)), error);
    if (!own) {
        attachedFiles_.push_back(file);
    }
    Emit(QuotedName(own ? "main" : file) + "." + QuotedName(table), tokens_[at].SpaceBefore);
}

std::size_t Translator::RewriteRowset(std::size_t i, std::size_t close) {
    constexpr std::array<std::string_view, 4> kSeparators = {",", ";", ";", ","};
    std::size_t next = i + 2;
    std::string server;
    for (std::size_t part = 0; part < kSeparators.size(); ++part, next += 2) {
        if (next + 1 >= close || tokens_[next].Kind != TokenKind::Text ||
            !tokens_[next + 1].Is(kSeparators[part])) {
            FailUnknown("this form of OPENROWSET");
        }
        server = part == 1 ? LiteralText(tokens_[next].Text) : server;
    }
    const bool threeParts = close == next + 5 && tokens_[next + 1].Is(".") &&
                            tokens_[next + 2].Is("dbo") && tokens_[next + 3].Is(".");
    if (!threeParts) {
        FailUnknown("this form of OPENROWSET");
    }
    EmitForeignTable(i, server, tokens_[next].NameText(), tokens_[next + 4].NameText());
    return close + 1;
}

}  // namespace morvane::embedded
