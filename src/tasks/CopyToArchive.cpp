// SPDX-License-Identifier: Apache-2.0
#include <memory>

#include "base/Text.h"
#include "core/Transaction.h"
#include "db/TableScript.h"
#include "tasks/modArchiveFactTables.h"

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

// Makes the archive server a linked server of the warehouse for the lifetime of this object.
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

    // Reuses the command that created the login.
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
            // The error that led here is the one to report.
        }
    }

    std::unique_ptr<Command> login_;
};

// Lets the warehouse connection write to the archive for the lifetime of this object.
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
            // The connection may then still write to the archive, which does no harm.
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

// The login is put into the statement without escaping. A single quote would end its literal, and
// the rest would be read as SQL and shown in the server's error.
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

void CreateArchiveCopy(Connection& warehouse, Connection& archive, const std::string& table) {
    TableDefinition definition = warehouse.DescribeTable(table);
    definition.Name = table;
    // The next run would take an incomplete table for a complete one.
    Transaction transaction(archive);
    archive.Execute(CreateTableScript(definition));
    archive.Execute("ALTER TABLE " + table +
                    " ADD date_of_archiving datetime NOT NULL DEFAULT getdate() WITH VALUES");
    if (definition.PrimaryKey) {
        const std::string& key = definition.PrimaryKey->Name;
        archive.Execute("ALTER TABLE " + table + " DROP CONSTRAINT " + key);
        std::string sql =
            "ALTER TABLE " + table + " ADD CONSTRAINT " + key + " PRIMARY KEY CLUSTERED (";
        for (const std::string& column : definition.PrimaryKey->Columns) {
            sql += column + ", ";
        }
        archive.Execute(sql + "date_of_archiving) ON [PRIMARY]");
    }
    transaction.Commit();
}

std::string RowsetOf(const ServerLogin& login, const std::string& table) {
    const std::string server(Trim(login.Server));
    const std::string user(Trim(login.UserName));
    const std::string password(Trim(login.Password));
    RequireNoLoneQuote(server, "server name");
    RequireNoLoneQuote(user, "user name");
    RequireNoLoneQuote(password, "password");
    return "OPENROWSET('SQLOLEDB', '" + server + "'; '" + user + "'; '" + password + "', " + table +
           ")";
}

std::int64_t CopyToArchive(Connection& warehouse, Connection& archive, const std::string& table,
                           const std::string& condition, const std::string& timestamp) {
    const std::string server(Trim(archive.Property("Server Name")));
    const CopyTarget target(warehouse, server, archive.DefaultDatabase());
    const std::string archiveTable = archive.DefaultDatabase() + ".dbo." + table;
    const std::string rows =
        " select *, {ts '" + timestamp + "'} from " + table + " where " + condition;
    if (const ServerLogin login = archive.Login(); !login.NTAuthentication) {
        return Insert(warehouse, archive,
                      RowsetOf({server, false, login.UserName, login.Password}, archiveTable),
                      rows);
    }
    ArchiveLink link(warehouse, server);
    const std::int64_t archived = Insert(warehouse, archive, server + "." + archiveTable, rows);
    link.Drop();
    return archived;
}

}  // namespace morvane
