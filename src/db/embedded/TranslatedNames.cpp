// SPDX-License-Identifier: Apache-2.0
// Translates names of several parts and OPENROWSET to tables of database files.

#include <filesystem>

#include "base/Platform.h"
#include "base/modFileFunctions.h"
#include "db/embedded/Databases.h"
#include "db/embedded/EmbeddedConnection.h"
#include "db/embedded/Translator.h"
#include "sql/Quoting.h"

namespace morvane::embedded {

std::size_t Translator::RewriteNameChain(TokenSpan tokens, std::size_t i) {
    const Token& start = tokens[i];
    NameParts parts = {&start};
    std::size_t next = i + 1;
    while (IsAt(tokens, next, ".")) {
        ++next;
        const bool part = next < tokens.size() && (tokens[next].IsName() || tokens[next].Is("*"));
        parts.push_back(part ? &tokens[next] : nullptr);
        next += part ? 1 : 0;
    }
    std::size_t first = 0;
    for (std::size_t part = 0; part + 1 < parts.size(); ++part) {
        if (parts[part] == nullptr || EqualsIgnoreCase(parts[part]->NameText(), "dbo")) {
            first = part + 1;
        }
    }
    if (parts.back() == nullptr) {
        Fail("Incorrect syntax near '.'.");
    }
    if (first + 1 == parts.size() && parts.back()->Is("*")) {
        FailUnknown("\"*\" without a table before it here");
    }
    if (first >= 2 && ReplaceDatabase(parts, first, IsInsertTarget(start))) {
        return next;
    }
    for (std::size_t part = first; part < parts.size(); ++part) {
        Emit(part > first ? "." : "", part == first && start.SpaceBefore);
        out_ += parts[part]->Text;
    }
    return next;
}

bool Translator::ReplaceDatabase(const NameParts& parts, std::size_t first, bool isTarget) {
    const bool space = parts[0]->SpaceBefore;
    if (first > 2) {
        const std::string server = LinkedServer(parts);
        EmitForeignTable(isTarget, space, server, parts[1]->NameText(), parts.back()->NameText());
        return true;
    }
    const std::string database = parts[0]->NameText();
    if (EqualsIgnoreCase(database, "master") &&
        EqualsIgnoreCase(parts[first]->NameText(), "sysdatabases")) {
        Emit(DatabaseList(context_.Folder), space);
        return true;
    }
    if (!EqualsIgnoreCase(database, context_.Database)) {
        if (context_.ReadsOnly && !context_.CopyServer.empty()) {
            EmitForeignTable(isTarget, space, context_.CopyServer, database,
                             parts.back()->NameText());
            return true;
        }
        Fail("The embedded warehouse cannot reach the database \"" + database + "\" from \"" +
             context_.Database + "\".");
    }
    return false;
}

std::string Translator::LinkedServer(const NameParts& parts) const {
    const std::string server = parts[0]->NameText();
    const auto& linked = context_.LinkedServers;
    const bool known = std::any_of(linked.begin(), linked.end(), [&](const std::string& name) {
        return EqualsIgnoreCase(name, server);
    });
    if (!known) {
        Fail("Could not find server '" + server + "'; it is not a linked server.");
    }
    if (parts.size() != 4 || parts[1] == nullptr) {
        FailUnknown("this form of a four-part name");
    }
    return server;
}

bool Translator::IsInsertTarget(const Token& token) const {
    return statement_.size() > 2 && &token == &statement_[2] && statement_[0].Is("insert") &&
           statement_[1].Is("into");
}

void Translator::EmitForeignTable(bool isTarget, bool spaceBefore, const std::string& server,
                                  const std::string& database, const std::string& table) {
    const std::string folder = FolderOfServer(server);
    if (!(isTarget || context_.ReadsOnly) || server != context_.CopyServer ||
        database != context_.CopyDatabase) {
        Fail(
            "The embedded warehouse reaches no other database but the one that fact tables are"
            " archived in, and that only to copy rows there.");
    }
    const std::string file = DatabaseFile(folder, database);
    const bool own =
        AreEquivalent(ToPath(file), ToPath(DatabaseFile(context_.Folder, context_.Database)));
    if (!own) {
        attachedFiles_.push_back(file);
    }
    Emit(QuotedName(own ? "main" : file) + "." + QuotedName(table), spaceBefore);
}

void Translator::RewriteRowset(const Token& name, TokenSpan arguments) {
    constexpr std::array<std::string_view, 4> kSeparators = {",", ";", ";", ","};
    std::size_t next = 0;
    std::string server;
    for (std::size_t part = 0; part < kSeparators.size(); ++part, next += 2) {
        if (!IsAt(arguments, next + 1, kSeparators[part]) ||
            arguments[next].Kind != TokenKind::Text) {
            FailUnknown("this form of OPENROWSET");
        }
        server = part == 1 ? Unquoted(arguments[next].Text) : server;
    }
    const bool threeParts = arguments.size() == next + 5 && IsAt(arguments, next + 1, ".") &&
                            IsAt(arguments, next + 2, "dbo") && IsAt(arguments, next + 3, ".");
    if (!threeParts) {
        FailUnknown("this form of OPENROWSET");
    }
    EmitForeignTable(IsInsertTarget(name), name.SpaceBefore, server, arguments[next].NameText(),
                     arguments[next + 4].NameText());
}

}  // namespace morvane::embedded
