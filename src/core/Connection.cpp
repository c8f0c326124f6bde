#include "core/Connection.h"

#include <algorithm>
#include <map>

#include "core/Text.h"

namespace morvane {

namespace {

// One statement at a time, the ones with parameters as commands that are made once per text.
class ImmediateBatch : public StatementBatch {
  public:
    ImmediateBatch(Connection& connection, RowCountSink counted)
        : connection_(connection), counted_(std::move(counted)) {}

    void Add(std::string_view sql, const std::vector<Parameter>& parameters) override {
        const std::int64_t rows =
            parameters.empty() ? connection_.Execute(sql) : CommandFor(sql, parameters).Execute();
        if (counted_) {
            counted_(added_, rows);
        }
        ++added_;
    }

    void Finish() override {}

  private:
    Command& CommandFor(std::string_view sql, const std::vector<Parameter>& parameters) {
        const auto known = commands_.find(sql);
        if (known != commands_.end()) {
            for (const Parameter& parameter : parameters) {
                known->second->SetParameter(parameter.Name, parameter.Value);
            }
            return *known->second;
        }
        auto command = connection_.CreateCommand();
        command->SetText(sql);
        for (const Parameter& parameter : parameters) {
            command->AppendParameter(parameter);
        }
        return *commands_.emplace(std::string(sql), std::move(command)).first->second;
    }

    Connection& connection_;
    RowCountSink counted_;
    std::size_t added_ = 0;
    std::map<std::string, std::unique_ptr<Command>, std::less<>> commands_;
};

}  // namespace

bool NamedTable::HasColumn(std::string_view name) const {
    return std::any_of(Columns.begin(), Columns.end(), [name](const std::string& column) {
        return EqualsIgnoreCase(column, name);
    });
}

std::unique_ptr<StatementBatch> Connection::CreateBatch(RowCountSink counted) {
    return std::make_unique<ImmediateBatch>(*this, std::move(counted));
}

bool Connection::ColumnExists(std::string_view table, std::string_view column) {
    const auto found = FindTable(table);
    return found && found->HasColumn(column);
}

bool Connection::IsIndexed(std::string_view table) {
    const auto found = FindTable(table);
    return found && found->Indexed;
}

}  // namespace morvane
