#include <cstdint>
#include <string>
#include <string_view>

#include "core/DatabaseError.h"
#include "db/embedded/StatementCache.h"
#include "db/embedded/Tokens.h"
#include "db/embedded/Translation.h"

// Whatever a user writes as a condition is translated or refused, and a translated statement is one
// that the tokenizer can read again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace morvane::embedded;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    DeleteByLiterals().Parse(text);
    static const SqliteDatabase catalogue = [] {
        SqliteDatabase database = SqliteDatabase::InMemory();
        database.Run("CREATE TABLE t(a datetime, b date, c int)");
        return database;
    }();
    try {
        Tokenize(Translate(text, {"/nowhere", "dw", {"sqlite:/x"}, &catalogue}).Sql);
    } catch (const morvane::DatabaseError&) {
    }
    return 0;
}
