#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/Recordset.h"
#include "db/odbc/OdbcHandle.h"
#include "db/odbc/OdbcTypes.h"

namespace morvane::odbc {

// The rows of an executed statement, fetched as they are asked for. The statement is owned; while
// the recordset lives, its connection can carry no other open result.
class OdbcRecordset : public Recordset {
  public:
    OdbcRecordset(OdbcHandle statement, std::string sql, bool blanksCount);

    bool Eof() const override { return eof_; }
    void MoveNext() override;
    const std::vector<Field>& Fields() const override { return fields_; }

  private:
    void DescribeColumns(bool blanksCount);
    void Fetch();
    void FetchValue(std::size_t column);
    void FetchText(SQLUSMALLINT position, SQLSMALLINT type, Value& value);

    OdbcHandle statement_;
    std::string sql_;
    std::vector<Field> fields_;
    std::string buffer_;
    bool eof_ = false;
};

}  // namespace morvane::odbc
