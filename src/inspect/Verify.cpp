// SPDX-License-Identifier: Apache-2.0
#include "inspect/Verify.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <memory>
#include <set>

#include "base/Text.h"
#include "core/ErrorTrap.h"
#include "tasks/Elements.h"
#include "tasks/modArchiveFactTables.h"

namespace morvane {

namespace {

// The name by which a type is compared: two spellings of one type are the same.
std::string TypeOf(const ColumnDefinition& column) {
    std::string name = ToLower(column.TypeName);
    if (name == "integer") {
        name = "int";
    } else if (name == "numeric") {
        name = "decimal";
    }
    return name == "decimal" ? fmt::format("{}({},{})", name, column.Precision, column.Scale)
                             : name;
}

const ColumnDefinition* FindColumn(const TableDefinition& table, std::string_view name) {
    const auto found = std::ranges::find_if(table.Columns, [&](const ColumnDefinition& column) {
        return EqualsIgnoreCase(column.Name, Trim(name));
    });
    return found == table.Columns.end() ? nullptr : &*found;
}

// A temporary table for the lifetime of this object.
class Temporary {
  public:
    // `sql` has "INTO *" for the table's name.
    Temporary(Connection& connection, std::string sql)
        : connection_(connection), name_(NewTemporaryName()) {
        constexpr std::string_view kPlace = "INTO *";
        sql.replace(sql.find(kPlace), kPlace.size(), "INTO " + name_);
        connection_.Execute(sql);
    }
    ~Temporary() { DropTemporary(connection_, name_); }
    Temporary(const Temporary&) = delete;
    Temporary& operator=(const Temporary&) = delete;

    const std::string& Name() const { return name_; }

  private:
    Connection& connection_;
    std::string name_;
};

// The columns of one side of a relation, as "table.c0 AS k0,table.c1 AS k1", and the condition that
// none is NULL.
struct KeySide {
    std::string Columns;
    std::string Known;
};

KeySide SideOf(const std::string& table, const std::vector<std::string>& columns) {
    KeySide side;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const std::string column = table + "." + columns[i];
        side.Columns += (i > 0 ? "," : "") + column + " AS " + KeyColumn(i);
        side.Known += (i > 0 ? " AND " : "") + column + " IS NOT NULL";
    }
    return side;
}

// The condition that a row of `table` has a row in `other` with equal values.
std::string HasPartner(const std::string& table, const std::vector<std::string>& columns,
                       const std::string& other, const std::vector<std::string>& otherColumns) {
    if (columns.size() == 1) {
        return table + "." + columns[0] + " IN (SELECT " + otherColumns[0] + " FROM " + other +
               " WHERE " + otherColumns[0] + " IS NOT NULL)";
    }
    std::string sql = "EXISTS (SELECT 1 FROM " + other + " WHERE ";
    for (std::size_t i = 0; i < columns.size(); ++i) {
        sql += (i > 0 ? " AND " : "") + table + "." + columns[i] + " = " + other + "." +
               otherColumns[i];
    }
    return sql + ")";
}

std::vector<std::string> KeyNames(std::size_t count) {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < count; ++i) {
        names.push_back(KeyColumn(i));
    }
    return names;
}

// A relation with its columns trimmed.
struct Link {
    std::string Foreign;
    std::string Primary;
    std::vector<std::string> ForeignColumns;
    std::vector<std::string> PrimaryColumns;
    std::string ElementKey;  // of a slowly-moving primary table, else empty
};

class Inspection {
  public:
    Inspection(Connection& connection, bool listKeys, const StepReport& report)
        : connection_(connection), listKeys_(listKeys), report_(report) {
        ReadLinks();
    }

    void FindOrphans();
    void FindDoubles();
    void CheckHistories();
    void FindMarkedInUse(bool selectedOnly);
    void CompareTypes();
    void CompareWithArchive(const VerifyOptions& options);
    Verdict Result() && { return std::move(verdict_); }

  private:
    void ReadLinks();
    void FindOrphans(const Link& link);
    void CheckHistory(const std::string& table, const std::vector<std::string>& key);
    void CheckPeriods(const std::string& table, const std::vector<std::string>& key);
    void FindMarkedInUse(const Link& link);
    void CompareTypes(const Link& link);
    void CompareWithArchive(const std::string& table, const std::string& archived);
    const TableDefinition* Describe(const std::string& table);
    // Adds a finding for the rows of a query, if there are any. The first columns of a row are
    // those of the key.
    void AddFinding(const std::string& check, const std::string& table, const std::string& detail,
                    const std::string& rows, const std::vector<std::string>& key);
    std::vector<std::string> ListKeys(const std::string& rows, const std::vector<std::string>& key);

    Connection& connection_;
    bool listKeys_;
    const StepReport& report_;
    std::vector<Link> links_;
    std::set<std::string> factTables_;  // in lower case
    std::map<std::string, std::optional<TableDefinition>> described_;
    Verdict verdict_;
};

void Inspection::ReadLinks() {
    const auto facts = connection_.OpenRecordset(
        "SELECT table_name FROM dwm_tables WHERE Upper(table_type) = 'FACT'");
    for (; !facts->Eof(); facts->MoveNext()) {
        connection_.RequireTableName((*facts)[0].Text());
        factTables_.insert(ToLower(Trim((*facts)[0].Text())));
    }
    const auto rows = connection_.OpenRecordset(
        "SELECT DISTINCT foreign_table,foreign_columns,primary_table,primary_columns,"
        "slow_moving_dim,original_primary_key FROM dwm_star_relations");
    for (; !rows->Eof(); rows->MoveNext()) {
        const Recordset& row = *rows;
        for (const std::size_t table : {std::size_t{0}, std::size_t{2}}) {
            connection_.RequireTableName(row[table].Text());
            connection_.RequireColumnNames(row[table + 1].Text());
        }
        const std::string elementKey = row[4].Flag() ? row[5].Text() : "";
        if (!elementKey.empty()) {
            connection_.RequireColumnNames(elementKey);
        }
        links_.push_back({std::string(Trim(row[0].Text())), std::string(Trim(row[2].Text())),
                          SplitColumnList(row[1].Text()), SplitColumnList(row[3].Text()),
                          elementKey});
    }
}

std::vector<std::string> Inspection::ListKeys(const std::string& rows,
                                              const std::vector<std::string>& key) {
    std::vector<std::string> list;
    const auto found = connection_.OpenRecordset(rows, RecordsetKind::Streamed);
    for (; !found->Eof(); found->MoveNext()) {
        std::string text;
        for (std::size_t i = 0; i < key.size(); ++i) {
            const Value& value = (*found)[i];
            text += (i > 0 ? ", " : "") + key[i] + " = " + (value.IsNull() ? "NULL" : value.Text());
        }
        list.push_back(std::move(text));
    }
    return list;
}

void Inspection::AddFinding(const std::string& check, const std::string& table,
                            const std::string& detail, const std::string& rows,
                            const std::vector<std::string>& key) {
    const std::int64_t count =
        QueryNumber(connection_, "SELECT COUNT(*) FROM (" + rows + ") AS found");
    if (count > 0) {
        verdict_.Findings.push_back({check, table, detail, count,
                                     listKeys_ ? ListKeys(rows, key) : std::vector<std::string>()});
    }
}

void Inspection::FindOrphans() {
    for (const Link& link : links_) {
        report_(link.Foreign + " -> " + link.Primary);
        FindOrphans(link);
    }
}

void Inspection::FindOrphans(const Link& link) {
    const KeySide side = SideOf(link.Foreign, link.ForeignColumns);
    const std::vector<std::string> names = KeyNames(link.ForeignColumns.size());
    const Temporary used(connection_,
                         "SELECT DISTINCT " + side.Columns + " INTO * FROM " + link.Foreign);
    // The element's column comes first: its collation decides in every engine.
    std::string match;
    for (std::size_t i = 0; i < names.size(); ++i) {
        match += (i > 0 ? " AND " : "") + link.Primary + "." + link.PrimaryColumns[i] + " = used." +
                 names[i];
    }
    std::vector<std::string> columns;
    for (const std::string& name : names) {
        columns.push_back("used." + name);
    }
    const Temporary orphans(connection_, "SELECT " + Join(columns, ",") + " INTO * FROM " +
                                             used.Name() + " AS used LEFT JOIN " + link.Primary +
                                             " ON " + match + " WHERE " + link.Primary + "." +
                                             link.PrimaryColumns[0] + " IS NULL AND " +
                                             SideOf("used", names).Known);
    const std::int64_t keys = QueryNumber(connection_, "SELECT COUNT(*) FROM " + orphans.Name());
    if (keys == 0) {
        return;
    }
    const std::int64_t rows = QueryNumber(
        connection_, "SELECT COUNT(*) FROM " + link.Foreign + " WHERE " +
                         HasPartner(link.Foreign, link.ForeignColumns, orphans.Name(), names));
    verdict_.Findings.push_back(
        {"orphans", link.Foreign,
         fmt::format("rows refer to {} keys that {} does not have", keys, link.Primary), rows,
         listKeys_ ? ListKeys("SELECT * FROM " + orphans.Name(), link.ForeignColumns)
                   : std::vector<std::string>()});
}

void Inspection::FindDoubles() {
    std::set<std::string> seen;
    for (const Link& link : links_) {
        const std::string columns = Join(link.PrimaryColumns, ",");
        if (!seen.insert(ToLower(link.Primary + " " + columns)).second) {
            continue;
        }
        report_(link.Primary);
        AddFinding("doubles", link.Primary, "keys (" + columns + ") that several rows have",
                   "SELECT " + columns + " FROM " + link.Primary + " WHERE " +
                       SideOf(link.Primary, link.PrimaryColumns).Known + " GROUP BY " + columns +
                       " HAVING COUNT(*) > 1",
                   link.PrimaryColumns);
    }
}

void Inspection::CheckHistories() {
    std::set<std::string> seen;
    for (const Link& link : links_) {
        if (!link.ElementKey.empty() && seen.insert(ToLower(link.Primary)).second) {
            report_(link.Primary);
            CheckHistory(link.Primary, SplitColumnList(link.ElementKey));
        }
    }
}

void Inspection::CheckHistory(const std::string& table, const std::vector<std::string>& key) {
    const std::string columns = Join(key, ",");
    const auto byCurrent = [&](const std::string& having) {
        return "SELECT " + columns + " FROM " + table + " GROUP BY " + columns +
               " HAVING SUM(CASE WHEN is_current = 1 THEN 1 ELSE 0 END) " + having;
    };
    AddFinding("no_current", table, "elements without a current version", byCurrent("= 0"), key);
    AddFinding("several_current", table, "elements with several current versions", byCurrent("> 1"),
               key);
    CheckPeriods(table, key);
}

// A version has to end on the day on which the next one starts: re-linking finds it there.
void Inspection::CheckPeriods(const std::string& table, const std::vector<std::string>& key) {
    const std::string columns = Join(key, ",");
    const std::string versions = "(SELECT " + columns +
                                 ",start_date,end_date,LEAD(start_date) OVER (PARTITION BY " +
                                 columns + " ORDER BY start_date) AS next_start FROM " + table +
                                 " WHERE start_date IS NOT NULL) AS versions";
    const auto where = [&](const std::string& condition) {
        return "SELECT " + columns + ",start_date,end_date FROM " + versions + " WHERE " +
               condition;
    };
    std::vector<std::string> shown = key;
    shown.insert(shown.end(), {"start_date", "end_date"});
    AddFinding("gaps", table, "versions that end before the day on which the next one starts",
               where("datediff(day, end_date, next_start) > 0"), shown);
    AddFinding("overlaps", table, "versions that end after the next one starts",
               where("next_start IS NOT NULL AND (end_date IS NULL OR datediff(day, end_date, "
                     "next_start) < 0)"),
               shown);
    AddFinding("reversed", table, "versions that end before they start",
               where("datediff(day, start_date, end_date) < 0"), shown);
}

void Inspection::FindMarkedInUse(bool selectedOnly) {
    const std::vector<std::string> selected = SelectedDimensions(connection_);
    std::map<std::string, std::int64_t> marked;  // by table
    for (const Link& link : links_) {
        const bool isSelected = std::ranges::any_of(selected, [&](const std::string& name) {
            return EqualsIgnoreCase(Trim(name), link.Primary);
        });
        if ((selectedOnly && !isSelected) || factTables_.contains(ToLower(link.Primary))) {
            continue;
        }
        const auto [count, isNew] = marked.emplace(link.Primary, 0);
        if (isNew) {
            count->second = QueryNumber(
                connection_, "SELECT COUNT(*) FROM " + link.Primary + " WHERE is_deletable = 1");
        }
        if (count->second > 0) {
            report_(link.Primary + " <- " + link.Foreign);
            FindMarkedInUse(link);
        }
    }
}

void Inspection::FindMarkedInUse(const Link& link) {
    const KeySide side = SideOf(link.Foreign, link.ForeignColumns);
    const std::string kept =
        factTables_.contains(ToLower(link.Foreign)) ? "" : " AND is_deletable = 0";
    const Temporary used(connection_, "SELECT DISTINCT " + side.Columns + " INTO * FROM " +
                                          link.Foreign + " WHERE " + side.Known + kept);
    const std::vector<std::string> names = KeyNames(link.ForeignColumns.size());
    AddFinding("marked_in_use", link.Primary,
               "elements are marked, and rows of " + link.Foreign + " refer to them",
               "SELECT " + Join(link.PrimaryColumns, ",") + " FROM " + link.Primary +
                   " WHERE is_deletable = 1 AND " +
                   HasPartner(link.Primary, link.PrimaryColumns, used.Name(), names),
               link.PrimaryColumns);
}

const TableDefinition* Inspection::Describe(const std::string& table) {
    auto& known = described_.try_emplace(ToLower(table)).first->second;
    if (!known) {
        known.emplace();
        std::string error;
        if (!TrapErrors(error, [&] {
                known = connection_.DescribeTable(table);
                return true;
            })) {
            verdict_.NotLookedAt.push_back("the columns of " + table + ": " + OneLine(error));
        }
    }
    return known->Columns.empty() ? nullptr : &*known;
}

void Inspection::CompareTypes() {
    for (const Link& link : links_) {
        CompareTypes(link);
    }
}

void Inspection::CompareTypes(const Link& link) {
    const TableDefinition* foreign = Describe(link.Foreign);
    const TableDefinition* primary = Describe(link.Primary);
    if (foreign == nullptr || primary == nullptr) {
        return;
    }
    const std::size_t pairs = std::min(link.ForeignColumns.size(), link.PrimaryColumns.size());
    for (std::size_t i = 0; i < pairs; ++i) {
        const ColumnDefinition* a = FindColumn(*foreign, link.ForeignColumns[i]);
        const ColumnDefinition* b = FindColumn(*primary, link.PrimaryColumns[i]);
        if (a != nullptr && b != nullptr && TypeOf(*a) != TypeOf(*b)) {
            verdict_.Findings.push_back(
                {"types",
                 link.Foreign,
                 fmt::format("{} is {}, and {}.{} to which it refers is {}", a->Name, TypeOf(*a),
                             link.Primary, b->Name, TypeOf(*b)),
                 1,
                 {}});
        }
    }
}

void Inspection::CompareWithArchive(const VerifyOptions& options) {
    const std::string database(Trim(options.Archive.Database));
    if (database.empty()) {
        verdict_.NotLookedAt.push_back("the archive: dwm_archive names no database");
        return;
    }
    const ServerLogin& login = options.Archive.Login;
    const std::string server(Trim(login.Server));
    const bool sameServer = EqualsIgnoreCase(server, Trim(connection_.Property("Data Source")));
    if (options.OpenArchive == nullptr || (!sameServer && login.NTAuthentication)) {
        verdict_.NotLookedAt.push_back("the archive: this server reaches the server " + server +
                                       " only while a run archives");
        return;
    }
    std::string error;
    if (!TrapErrors(error, [&] {
            const auto archive = options.OpenArchive(options.Archive);
            connection_.SetProperty("Copy Server", server);
            connection_.SetProperty("Copy Database", database);
            for (const std::string& table : factTables_) {
                if (archive->TableExists(table)) {
                    report_(table);
                    CompareWithArchive(table, sameServer
                                                  ? database + ".dbo." + table
                                                  : RowsetOf(login, database + ".dbo." + table));
                }
            }
            return true;
        })) {
        verdict_.NotLookedAt.push_back("the archive: " + OneLine(error));
    }
}

// `archived`: the archive table as a statement names it.
void Inspection::CompareWithArchive(const std::string& table, const std::string& archived) {
    const TableDefinition* definition = Describe(table);
    if (definition == nullptr) {
        return;
    }
    std::vector<std::string> key;
    if (definition->PrimaryKey) {
        key = definition->PrimaryKey->Columns;
    } else {
        for (const ColumnDefinition& column : definition->Columns) {
            key.push_back(column.Name);
        }
    }
    std::vector<std::string> names;
    for (const std::string& column : key) {
        names.push_back("[" + column + "]");
    }
    const std::string columns = Join(names, ",");
    const Temporary both(connection_, "SELECT * INTO * FROM (SELECT " + columns + " FROM " + table +
                                          " INTERSECT SELECT " + columns + " FROM " + archived +
                                          ") AS in_both");
    AddFinding("in_archive", table,
               definition->PrimaryKey ? "rows whose key is in the archive as well"
                                      : "rows that are in the archive as well",
               "SELECT * FROM " + both.Name(), key);
}

}  // namespace

Verdict Verify(Connection& connection, const VerifyOptions& options, const StepReport& report) {
    Inspection inspection(connection, options.ListKeys, report);
    inspection.FindOrphans();
    inspection.FindDoubles();
    inspection.CheckHistories();
    inspection.FindMarkedInUse(false);
    inspection.CompareTypes();
    inspection.CompareWithArchive(options);
    return std::move(inspection).Result();
}

std::vector<Finding> MarkedButReferredTo(Connection& connection, bool listKeys,
                                         const StepReport& report) {
    Inspection inspection(connection, listKeys, report);
    inspection.FindMarkedInUse(true);
    return std::move(inspection).Result().Findings;
}

Answer VerifyAnswer(const Verdict& verdict) {
    Answer answer;
    answer.Columns = {{"check", "check"},
                      {"table", "table"},
                      {"count", "count"},
                      {"detail", "what is wrong"},
                      {"key", "key"}};
    for (const Finding& finding : verdict.Findings) {
        answer.Rows.push_back(
            {finding.Check, finding.Table, finding.Count, finding.Detail, Cell()});
        for (const std::string& key : finding.Keys) {
            answer.Rows.push_back({finding.Check, finding.Table, Cell(), Cell(), key});
        }
    }
    for (const std::string& what : verdict.NotLookedAt) {
        answer.Notes.push_back("Not looked at: " + what);
    }
    answer.Found = !verdict.Findings.empty();
    return answer;
}

}  // namespace morvane
