#include "GlassHobGallery/data/Sqlite.h"

#include "GlassHobGallery/data/DiskRefusal.h"

#include <sqlite3.h>

namespace glasshob::gallery {

namespace {

[[noreturn]] void fail(sqlite3* database, int code) {
    const std::string what = std::string("SQLite: ") + (database ? sqlite3_errmsg(database) : sqlite3_errstr(code));
    switch (code & 0xff) {
    case SQLITE_FULL:
    case SQLITE_IOERR:
    case SQLITE_READONLY:
    case SQLITE_CANTOPEN: throw DiskRefusal(what);
    default: break;
    }
    SqliteError error(what);
    error.isConflict = (code & 0xff) == SQLITE_CONSTRAINT;
    error.isDamage = (code & 0xff) == SQLITE_CORRUPT || (code & 0xff) == SQLITE_NOTADB;
    throw error;
}

} // namespace

SqliteQuery::~SqliteQuery() {
    if (!statement_) return;
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
}

void SqliteQuery::check(int code) const {
    if (code != SQLITE_OK) fail(database_, code);
}

bool SqliteQuery::step() {
    const int code = sqlite3_step(statement_);
    if (code == SQLITE_ROW) return true;
    if (code != SQLITE_DONE) fail(database_, code);
    return false;
}

std::int64_t SqliteQuery::integer(int column) const {
    return sqlite3_column_int64(statement_, column);
}

std::string SqliteQuery::text(int column) const {
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement_, column));
    return bytes ? std::string(bytes, std::size_t(sqlite3_column_bytes(statement_, column))) : std::string();
}

bool SqliteQuery::isNull(int column) const {
    return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

void SqliteQuery::bind(std::int64_t value) {
    check(sqlite3_bind_int64(statement_, next_++, value));
}

void SqliteQuery::bind(std::string_view text) {
    // No text is not NULL, which a null pointer would be.
    check(sqlite3_bind_text(statement_, next_++, text.data() ? text.data() : "", int(text.size()), SQLITE_TRANSIENT));
}

void SqliteQuery::bind(Blob blob) {
    check(sqlite3_bind_blob(statement_, next_++, blob.bytes.data(), int(blob.bytes.size()), SQLITE_TRANSIENT));
}

void SqliteQuery::bind(std::nullopt_t) {
    check(sqlite3_bind_null(statement_, next_++));
}

SqliteConnection::SqliteConnection(const std::string& path) {
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
    if (const int code = sqlite3_open_v2(path.c_str(), &database_, flags, nullptr); code != SQLITE_OK) {
        sqlite3_close(std::exchange(database_, nullptr));
        fail(nullptr, code);
    }
    sqlite3_extended_result_codes(database_, 1);
    sqlite3_busy_timeout(database_, 5000);
    try {
        // What is deleted is overwritten, so that it cannot be read from the file afterwards.
        script("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA foreign_keys = ON; PRAGMA trusted_schema "
               "= OFF; PRAGMA secure_delete = ON;");
    } catch (...) {
        sqlite3_close(database_);
        throw;
    }
}

SqliteConnection::~SqliteConnection() {
    for (const auto& [sql, statement] : statements_)
        sqlite3_finalize(statement);
    sqlite3_close(database_);
}

void SqliteConnection::script(const std::string& sql) {
    if (const int code = sqlite3_exec(database_, sql.c_str(), nullptr, nullptr, nullptr); code != SQLITE_OK)
        fail(database_, code);
}

sqlite3_stmt* SqliteConnection::prepared(std::string_view sql) {
    std::string key(sql);
    if (const auto found = statements_.find(key); found != statements_.end()) return found->second;
    sqlite3_stmt* statement = nullptr;
    const int code =
        sqlite3_prepare_v3(database_, sql.data(), int(sql.size()), SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    if (code != SQLITE_OK) fail(database_, code);
    statements_.emplace(std::move(key), statement);
    return statement;
}

std::int64_t SqliteConnection::lastRow() const {
    return sqlite3_last_insert_rowid(database_);
}

std::int64_t SqliteConnection::totalChanges() const {
    return sqlite3_total_changes64(database_);
}

int SqliteConnection::changes() const {
    return sqlite3_changes(database_);
}

void SqliteConnection::copyTo(const std::string& path) {
    run("VACUUM INTO ?", path);
}

} // namespace glasshob::gallery
