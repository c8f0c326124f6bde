// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/Recordset.h"
#include "db/odbc/OdbcSession.h"

namespace morvane::odbc {

// The rows of an executed statement, fetched on demand. While the recordset is open, its connection
// cannot have another open result.
class OdbcRecordset : public Recordset {
  public:
    explicit OdbcRecordset(OdbcStatement statement);

    // Takes the statement back, so that it can be executed again. Only at the end of the rows.
    OdbcStatement TakeStatement() { return std::move(statement_); }

    bool Eof() const override { return eof_; }
    void MoveNext() override;
    const std::vector<Field>& Fields() const override { return fields_; }

  private:
    void DescribeColumns();
    template <typename Number>
    bool FetchNumber(SQLUSMALLINT position, SQLSMALLINT type, Number& number);
    void Fetch();
    void FetchValue(std::size_t column);
    void FetchText(SQLUSMALLINT position, SQLSMALLINT type, Value& value);
    std::size_t PieceLength(std::size_t start, std::size_t terminator) const;

    OdbcStatement statement_;
    std::vector<Field> fields_;
    std::string buffer_;
    bool eof_ = false;
};

}  // namespace morvane::odbc
