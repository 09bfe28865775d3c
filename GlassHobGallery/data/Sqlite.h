#pragma once

// SQLite as values: a connection, and statements that are prepared once for each connection. What SQLite refuses is
// thrown as SqliteError; a row that would break a rule of the tables is one too, with `isConflict`. A disk that is full
// or cannot be written is a DiskRefusal. A connection is used by one thread at a time.

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

struct sqlite3;
struct sqlite3_stmt;

namespace glasshob::gallery {

struct SqliteError : std::runtime_error {
    using std::runtime_error::runtime_error;
    bool isConflict = false;
    // The file is no database, or parts of it cannot be read.
    bool isDamage = false;
};

// Bytes that are no text.
struct Blob {
    std::string_view bytes;
};

// A statement with its values, from its first step until it goes.
class SqliteQuery {
  public:
    SqliteQuery(sqlite3* database, sqlite3_stmt* statement) : database_(database), statement_(statement) {}
    SqliteQuery(SqliteQuery&& other) noexcept
        : database_(other.database_), statement_(std::exchange(other.statement_, nullptr)), next_(other.next_) {}
    ~SqliteQuery();

    // Whether there is a row, or another one.
    bool step();
    std::int64_t integer(int column) const;
    std::string text(int column) const; // and blobs; empty for NULL
    bool isNull(int column) const;

    void bind(std::int64_t value);
    void bind(int value) { bind(std::int64_t(value)); }
    void bind(bool value) { bind(std::int64_t(value)); }
    void bind(std::string_view text);
    void bind(const char* text) { bind(std::string_view(text)); }
    void bind(const std::string& text) { bind(std::string_view(text)); }
    void bind(Blob blob);
    void bind(std::nullopt_t);
    template <class Value>
    void bind(const std::optional<Value>& value) {
        if (value)
            bind(*value);
        else
            bind(std::nullopt);
    }

  private:
    void check(int code) const;
    sqlite3* database_;
    sqlite3_stmt* statement_;
    int next_ = 1;
};

class SqliteConnection {
  public:
    // Opens or makes the file; waits for other writers for five seconds before it gives up.
    explicit SqliteConnection(const std::string& path);
    ~SqliteConnection();
    SqliteConnection(const SqliteConnection&) = delete;
    SqliteConnection& operator=(const SqliteConnection&) = delete;

    // Several statements without values.
    void script(const std::string& sql);
    // One statement, ready to be stepped through.
    template <class... Values>
    SqliteQuery query(std::string_view sql, const Values&... values) {
        SqliteQuery made(database_, prepared(sql));
        (made.bind(values), ...);
        return made;
    }
    // One statement that gives no rows; the number of rows that it changed.
    template <class... Values>
    int run(std::string_view sql, const Values&... values) {
        SqliteQuery made = query(sql, values...);
        while (made.step()) {
        }
        return changes();
    }
    std::int64_t lastRow() const;
    // Of rows, by this connection, ever.
    std::int64_t totalChanges() const;
    // Writes a whole copy while others read and write.
    void copyTo(const std::string& path);

  private:
    int changes() const;
    sqlite3_stmt* prepared(std::string_view sql);

    sqlite3* database_ = nullptr;
    std::unordered_map<std::string, sqlite3_stmt*> statements_;
};

} // namespace glasshob::gallery
