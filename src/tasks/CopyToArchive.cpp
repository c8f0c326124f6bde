// SPDX-License-Identifier: Apache-2.0
#include "tasks/CopyToArchive.h"

#include <memory>

#include "base/Text.h"

namespace morvane {

namespace {

constexpr int kProcedureTimeout = 15;  // seconds
constexpr int kNoTimeout = 0;

Parameter TextParameter(std::string name, std::string value) {
    Parameter parameter;
    parameter.Name = std::move(name);
    parameter.Size = static_cast<int>(value.size());
    parameter.Value = Value(std::move(value));
    return parameter;
}

std::unique_ptr<Command> ProcedureCommand(Connection& connection, std::string_view procedure,
                                          const std::string& server, const std::string& second) {
    auto command = connection.CreateCommand();
    command->SetType(CommandType::StoredProcedure);
    command->SetTimeout(kProcedureTimeout);
    command->SetText(procedure);
    command->AppendParameter(TextParameter("server", server));
    command->AppendParameter(TextParameter("second", second));
    return command;
}

// The archive server as a linked server of the warehouse's, for as long as this object lives.
class ArchiveLink {
  public:
    ArchiveLink(Connection& warehouse, const std::string& server) {
        ProcedureCommand(warehouse, "sp_addlinkedserver", server, "SQL Server")->Execute();
        login_ = ProcedureCommand(warehouse, "sp_addlinkedsrvlogin", server, "true");
        try {
            login_->Execute();
        } catch (...) {
            DropQuietly();
            throw;
        }
    }
    ~ArchiveLink() { DropQuietly(); }
    ArchiveLink(const ArchiveLink&) = delete;
    ArchiveLink& operator=(const ArchiveLink&) = delete;

    // The command that made the link's login serves to drop it too.
    void Drop() {
        const auto command = std::move(login_);
        command->SetText("sp_dropserver");
        command->DeleteParameter(1);
        command->Execute();
    }

  private:
    void DropQuietly() {
        try {
            if (login_ != nullptr) {
                Drop();
            }
        } catch (...) {
            // The failure that led here is the one to report.
        }
    }

    std::unique_ptr<Command> login_;
};

// While one lives, the warehouse's connection may write to the archive.
class CopyTarget {
  public:
    CopyTarget(Connection& warehouse, const std::string& server, const std::string& database)
        : warehouse_(warehouse) {
        Set(server, database);
    }
    ~CopyTarget() {
        try {
            Set({}, {});
        } catch (...) {
            // What was allowed stays so: one more INSERT into the archive.
        }
    }
    CopyTarget(const CopyTarget&) = delete;
    CopyTarget& operator=(const CopyTarget&) = delete;

  private:
    void Set(std::string_view server, std::string_view database) {
        warehouse_.SetProperty("Copy Server", server);
        warehouse_.SetProperty("Copy Database", database);
    }

    Connection& warehouse_;
};

std::int64_t Insert(Connection& warehouse, Connection& archive, const std::string& target,
                    const std::string& rows) {
    warehouse.SetProperty("Enable Fastload", "true");
    archive.SetProperty("Enable Fastload", "true");
    const auto command = warehouse.CreateCommand();
    command->SetTimeout(kNoTimeout);
    command->SetText("insert into " + target + rows);
    return command->Execute();
}

// The login stands in the statement as it is. A quote in it would end its literal, and what follows
// would be read as SQL, and shown in the server's error.
void RequireNoLoneQuote(std::string_view value, const std::string& what) {
    for (std::size_t i = value.find('\''); i != std::string_view::npos;
         i = value.find('\'', i + 2)) {
        if (value.substr(i, 2) != "''") {
            throw DatabaseError({"OPENROWSET cannot be given the " + what +
                                 " of the archive, since it holds a single quote."});
        }
    }
}

}  // namespace

std::int64_t CopyToArchive(Connection& warehouse, Connection& archive, const std::string& table,
                           const std::string& condition, const std::string& timestamp) {
    const std::string server(Trim(archive.Property("Server Name")));
    const CopyTarget target(warehouse, server, archive.DefaultDatabase());
    const std::string archiveTable = archive.DefaultDatabase() + ".dbo." + table;
    const std::string rows =
        " select *, {ts '" + timestamp + "'} from " + table + " where " + condition;
    if (const ServerLogin login = archive.Login(); !login.NTAuthentication) {
        const std::string user(Trim(login.UserName));
        const std::string password(Trim(login.Password));
        RequireNoLoneQuote(server, "server name");
        RequireNoLoneQuote(user, "user name");
        RequireNoLoneQuote(password, "password");
        return Insert(warehouse, archive,
                      "OPENROWSET('SQLOLEDB', '" + server + "'; '" + user + "'; '" + password +
                          "', " + archiveTable + ")",
                      rows);
    }
    ArchiveLink link(warehouse, server);
    const std::int64_t archived = Insert(warehouse, archive, server + "." + archiveTable, rows);
    link.Drop();
    return archived;
}

}  // namespace morvane
