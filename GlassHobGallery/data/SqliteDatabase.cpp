#include "GlassHobGallery/data/SqliteDatabase.h"

#include "GlassHobGallery/data/Migrations.h"
#include "GlassHobGallery/data/Secrets.h"

namespace glasshob::gallery {

namespace {

constexpr const char* accountColumns =
    "SELECT id, handle, email, password, is_admin, suspended, created, invited_by, listed, kept FROM account ";

Account readAccount(const SqliteQuery& row) {
    return {row.integer(0),      row.text(1),    row.text(2), row.text(3),    row.integer(4) != 0,
            row.integer(5) != 0, row.integer(6), row.text(7), row.integer(8), row.integer(9)};
}

std::optional<Account> firstAccount(SqliteQuery query) {
    return query.step() ? std::optional(readAccount(query)) : std::nullopt;
}

Session readSession(const SqliteQuery& row) {
    return {row.integer(0), row.integer(1), row.integer(2) != 0, row.text(3),
            row.text(4),    row.integer(5), row.integer(6)};
}

constexpr const char* sessionColumns = "SELECT id, account, is_program, agent, address, created, seen FROM session ";

std::optional<Link> firstLink(SqliteQuery query) {
    if (!query.step()) return {};
    Link link{query.integer(0), query.text(1),    query.integer(2), query.text(3),
              query.text(4),    query.integer(5), query.integer(6), {}};
    if (!query.isNull(7)) link.handed = query.integer(7);
    return link;
}

constexpr const char* linkColumns = "SELECT id, state, account, agent, address, created, expires, handed FROM link ";

// What is kept of a deleted account's handle. No handle has a colon.
std::string goneName(std::string_view handle) {
    return "gone:" + hexText(hashOf("handle " + std::string(handle)));
}

std::optional<std::string_view> orNull(const std::string& text) {
    return text.empty() ? std::nullopt : std::optional<std::string_view>(text);
}

} // namespace

thread_local SqliteConnection* SqliteDatabase::writing_ = nullptr;

std::unique_ptr<Database> openSqliteDatabase(const std::string& path) {
    return std::make_unique<SqliteDatabase>(path);
}

SqliteDatabase::SqliteDatabase(std::string path) : path_(std::move(path)) {
    migrate(*lease());
    watching_ = std::make_unique<SqliteConnection>(path_);
}

SqliteDatabase::~SqliteDatabase() = default;

SqliteDatabase::Lease SqliteDatabase::lease() {
    if (writing_) return Lease(*writing_);
    std::unique_ptr<SqliteConnection> connection;
    {
        const std::lock_guard lock(mutex_);
        if (!free_.empty()) {
            connection = std::move(free_.back());
            free_.pop_back();
        }
    }
    if (!connection) connection = std::make_unique<SqliteConnection>(path_);
    return {*this, std::move(connection)};
}

SqliteDatabase::Lease::~Lease() {
    if (!own_) return;
    const std::lock_guard lock(database_->mutex_);
    database_->free_.push_back(std::move(own_));
}

void SqliteDatabase::write(const std::function<void()>& changes) {
    if (writing_) return changes();
    const Lease connection = lease();
    connection->script("BEGIN IMMEDIATE");
    writing_ = &*connection;
    try {
        changes();
        writing_ = nullptr;
        connection->script("COMMIT");
    } catch (...) {
        writing_ = nullptr;
        try {
            connection->script("ROLLBACK");
        } catch (const std::exception&) {
            // SQLite takes a transaction back by itself when the disk refuses.
        }
        throw;
    }
}

std::int64_t SqliteDatabase::version() {
    const std::lock_guard lock(watchingMutex_);
    return single(watching_->query("PRAGMA data_version"));
}

std::int64_t SqliteDatabase::single(SqliteQuery query) {
    return query.step() ? query.integer(0) : 0;
}

std::string SqliteDatabase::setting(std::string_view name) {
    const Lease connection = lease();
    SqliteQuery query = connection->query("SELECT value FROM setting WHERE name = ?", name);
    return query.step() ? query.text(0) : std::string();
}

void SqliteDatabase::setSetting(std::string_view name, std::string_view value) {
    lease()->run("INSERT INTO setting VALUES (?, ?) ON CONFLICT (name) DO UPDATE SET value = excluded.value", name,
                 value);
}

Attempts SqliteDatabase::attempt(const std::string& bucket, std::int64_t seconds, Moment now) {
    const Lease connection = lease();
    // A time that no clock could have given yet is of a clock that was set back.
    SqliteQuery query = connection->query("INSERT INTO attempt VALUES (?1, ?2 + ?3, 1) ON CONFLICT (bucket) DO UPDATE "
                                          "SET count = iif(ends > ?2 AND ends <= ?2 + ?3, count + 1, 1), "
                                          "ends = iif(ends > ?2 AND ends <= ?2 + ?3, ends, excluded.ends) "
                                          "RETURNING count, ends",
                                          bucket, now, seconds);
    Attempts made;
    while (query.step())
        made = {query.integer(0), query.integer(1)};
    return made;
}

void SqliteDatabase::takeBack(const std::string& bucket) {
    lease()->run("UPDATE attempt SET count = count - 1 WHERE bucket = ? AND count > 0", bucket);
}

void SqliteDatabase::forget(Moment now) {
    write([&] {
        const Lease connection = lease();
        connection->run("DELETE FROM attempt WHERE ends < ?", now);
        connection->run("DELETE FROM link WHERE expires < ?", now - 86400);
        connection->run("DELETE FROM invitation WHERE expires < ? OR uses <= 0", now);
        connection->run("DELETE FROM reset WHERE expires < ?", now);
        connection->run("DELETE FROM session WHERE seen < ?", now - 366 * 86400);
    });
}

std::optional<Account> SqliteDatabase::account(Id id) {
    const Lease connection = lease();
    return firstAccount(connection->query(std::string(accountColumns) + "WHERE id = ?", id));
}

std::optional<Account> SqliteDatabase::accountNamed(std::string_view name) {
    const Lease connection = lease();
    return firstAccount(
        connection->query(std::string(accountColumns) + "WHERE handle = ?1 OR email = ?1 LIMIT 1", name));
}

std::optional<Account> SqliteDatabase::accountOfHandle(std::string_view handle) {
    const Lease connection = lease();
    return firstAccount(connection->query(
        std::string(accountColumns) + "WHERE id = (SELECT account FROM handle WHERE name = ?)", handle));
}

bool SqliteDatabase::hasAdministrator() {
    const Lease connection = lease();
    return single(connection->query("SELECT EXISTS (SELECT 1 FROM account WHERE is_admin = 1 AND suspended = 0)")) != 0;
}

std::optional<Id> SqliteDatabase::addAccount(const Account& account) {
    std::optional<Id> added;
    try {
        write([&] {
            const Lease connection = lease();
            if (isGoneHandle(account.handle)) return;
            if (!account.handle.empty()) connection->run("INSERT INTO handle (name) VALUES (?)", account.handle);
            connection->run(
                "INSERT INTO account (handle, email, password, is_admin, created, invited_by) VALUES (?, ?, ?, ?, "
                "?, ?)",
                orNull(account.handle), orNull(account.email), account.password, account.isAdmin, account.created,
                account.invitedBy);
            const Id id = connection->lastRow();
            connection->run("UPDATE handle SET account = ? WHERE name = ?", id, account.handle);
            added = id;
        });
    } catch (const SqliteError& error) {
        if (!error.isConflict) throw;
        return {};
    }
    return added;
}

bool SqliteDatabase::setHandle(Id account, const std::string& handle) {
    bool isSet = false;
    write([&] {
        const Lease connection = lease();
        if (isGoneHandle(handle)) return;
        SqliteQuery owner = connection->query("SELECT account FROM handle WHERE name = ?", handle);
        const bool isTaken = owner.step();
        if (isTaken && (owner.isNull(0) || owner.integer(0) != account)) return;
        if (!isTaken) connection->run("INSERT INTO handle VALUES (?, ?)", handle, account);
        connection->run("UPDATE account SET handle = ? WHERE id = ?", handle, account);
        connection->run(
            "UPDATE shader_text SET handle = ? WHERE rowid IN (SELECT number FROM shader WHERE account = ? AND "
            "listed = 1)",
            handle, account);
        isSet = true;
    });
    return isSet;
}

bool SqliteDatabase::setEmail(Id account, const std::string& email) {
    try {
        lease()->run("UPDATE account SET email = ? WHERE id = ?", orNull(email), account);
    } catch (const SqliteError& error) {
        if (!error.isConflict) throw;
        return false;
    }
    return true;
}

void SqliteDatabase::setPassword(Id account, const std::string& password) {
    lease()->run("UPDATE account SET password = ? WHERE id = ?", password, account);
}

void SqliteDatabase::setAdmin(Id account, bool isAdmin) {
    lease()->run("UPDATE account SET is_admin = ? WHERE id = ?", isAdmin, account);
}

void SqliteDatabase::setSuspended(Id account, bool isSuspended) {
    write([&] {
        const Lease connection = lease();
        connection->run("UPDATE account SET suspended = ? WHERE id = ?", isSuspended, account);
        std::vector<std::int64_t> numbers;
        SqliteQuery query = connection->query("SELECT number FROM shader WHERE account = ?", account);
        while (query.step())
            numbers.push_back(query.integer(0));
        for (const std::int64_t number : numbers)
            relist(number);
    });
}

void SqliteDatabase::deleteAccount(Id account) {
    write([&] {
        const Lease connection = lease();
        std::vector<std::int64_t> numbers;
        {
            SqliteQuery query =
                connection->query("SELECT number FROM shader WHERE account = ? AND deleted IS NULL", account);
            while (query.step())
                numbers.push_back(query.integer(0));
        }
        for (const std::int64_t number : numbers)
            deleteShader(number, 1);
        // Their addresses then say nothing of the person.
        connection->run("UPDATE shader SET deleted_by = '', account = NULL WHERE account = ?", account);
        connection->run("UPDATE account SET invited_by = '' WHERE invited_by IN (SELECT name FROM handle WHERE account "
                        "= ?)",
                        account);
        connection->run("DELETE FROM account WHERE id = ?", account);
        hideGoneHandles();
        setSetting("untidy", "1");
    });
}

bool SqliteDatabase::isGoneHandle(std::string_view handle) {
    const Lease connection = lease();
    return single(connection->query("SELECT count(*) FROM handle WHERE name = ?", goneName(handle))) > 0;
}

void SqliteDatabase::hideGoneHandles() {
    const Lease connection = lease();
    std::vector<std::string> names;
    SqliteQuery query = connection->query("SELECT name FROM handle WHERE account IS NULL AND name NOT LIKE 'gone:%'");
    while (query.step())
        names.push_back(query.text(0));
    for (const std::string& name : names)
        connection->run("UPDATE OR IGNORE handle SET name = ? WHERE name = ?", goneName(name), name);
}

std::vector<Account> SqliteDatabase::people(std::string_view search) {
    const Lease connection = lease();
    SqliteQuery query =
        connection->query(std::string(accountColumns) + "WHERE ?1 = '' OR instr(handle, ?1) OR instr(lower(email), "
                                                        "lower(?1)) ORDER BY is_admin DESC, handle LIMIT 200",
                          search);
    std::vector<Account> found;
    while (query.step())
        found.push_back(readAccount(query));
    return found;
}

std::int64_t SqliteDatabase::countOfPeople() {
    const Lease connection = lease();
    return single(connection->query("SELECT count(*) FROM account"));
}

Id SqliteDatabase::addSession(const Session& session, const std::string& tokenHash) {
    const Lease connection = lease();
    connection->run(
        "INSERT INTO session (account, is_program, token, agent, address, created, seen) VALUES (?, ?, ?, ?, ?, ?, "
        "?) ON CONFLICT (token) DO NOTHING",
        session.account, session.isProgram, Blob{tokenHash}, session.agent, session.address, session.created,
        session.seen);
    return connection->lastRow();
}

std::optional<Session> SqliteDatabase::session(const std::string& tokenHash) {
    const Lease connection = lease();
    SqliteQuery query = connection->query(std::string(sessionColumns) + "WHERE token = ?", Blob{tokenHash});
    return query.step() ? std::optional(readSession(query)) : std::nullopt;
}

void SqliteDatabase::touchSession(Id session, Moment now, const std::string& address) {
    lease()->run("UPDATE session SET seen = ?, address = ? WHERE id = ?", now, address, session);
}

std::vector<Session> SqliteDatabase::sessions(Id account) {
    const Lease connection = lease();
    SqliteQuery query =
        connection->query(std::string(sessionColumns) + "WHERE account = ? ORDER BY is_program, seen DESC", account);
    std::vector<Session> found;
    while (query.step())
        found.push_back(readSession(query));
    return found;
}

void SqliteDatabase::endSession(Id account, Id session) {
    lease()->run("DELETE FROM session WHERE id = ? AND account = ?", session, account);
}

void SqliteDatabase::endSessions(Id account, Id exceptSession) {
    write([&] {
        const Lease connection = lease();
        connection->run("DELETE FROM session WHERE account = ? AND id <> ?", account, exceptSession);
        // What was allowed but not fetched would be one too.
        connection->run("DELETE FROM link WHERE account = ?", account);
    });
}

void SqliteDatabase::addLink(const Link& link, const std::string& deviceHash, const std::string& codeHash) {
    lease()->run("INSERT INTO link (device, code, agent, address, created, expires) VALUES (?, ?, ?, ?, ?, ?)",
                 Blob{deviceHash}, Blob{codeHash}, link.agent, link.address, link.created, link.expires);
}

std::optional<Link> SqliteDatabase::linkOfDevice(const std::string& deviceHash) {
    const Lease connection = lease();
    return firstLink(connection->query(std::string(linkColumns) + "WHERE device = ?", Blob{deviceHash}));
}

std::optional<Link> SqliteDatabase::linkOfCode(const std::string& codeHash) {
    const Lease connection = lease();
    return firstLink(connection->query(std::string(linkColumns) + "WHERE code = ?", Blob{codeHash}));
}

bool SqliteDatabase::answerLink(Id link, std::string_view state, Id account) {
    return lease()->run("UPDATE link SET state = ?, account = ? WHERE id = ? AND state = 'waiting'", state, account,
                        link) > 0;
}

void SqliteDatabase::handLink(Id link, Moment now) {
    lease()->run("UPDATE link SET handed = ? WHERE id = ? AND handed IS NULL", now, link);
}

void SqliteDatabase::addInvitation(const std::string& tokenHash, Id account, std::int64_t uses, Moment expires) {
    lease()->run("INSERT INTO invitation VALUES (?, ?, ?, ?)", Blob{tokenHash}, account, uses, expires);
}

std::optional<Invitation> SqliteDatabase::invitation(const std::string& tokenHash, Moment now) {
    const Lease connection = lease();
    SqliteQuery query =
        connection->query("SELECT handle, uses, expires FROM invitation JOIN account ON account.id = account "
                          "WHERE token = ? AND uses > 0 AND expires > ?",
                          Blob{tokenHash}, now);
    if (!query.step()) return {};
    return Invitation{query.text(0), query.integer(1), query.integer(2)};
}

bool SqliteDatabase::useInvitation(const std::string& tokenHash, Moment now) {
    return lease()->run("UPDATE invitation SET uses = uses - 1 WHERE token = ? AND uses > 0 AND expires > ?",
                        Blob{tokenHash}, now) > 0;
}

void SqliteDatabase::setReset(Id account, const std::string& tokenHash, Moment expires) {
    if (tokenHash.empty())
        lease()->run("DELETE FROM reset WHERE account = ?", account);
    else
        lease()->run(
            "INSERT INTO reset VALUES (?, ?, ?) ON CONFLICT (account) DO UPDATE SET token = excluded.token, expires = "
            "excluded.expires",
            account, Blob{tokenHash}, expires);
}

std::optional<Id> SqliteDatabase::accountOfReset(const std::string& tokenHash, Moment now) {
    const Lease connection = lease();
    SqliteQuery query =
        connection->query("SELECT account FROM reset WHERE token = ? AND expires > ?", Blob{tokenHash}, now);
    return query.step() ? std::optional(query.integer(0)) : std::nullopt;
}

bool SqliteDatabase::hasReset(Id account, Moment now) {
    const Lease connection = lease();
    return single(connection->query("SELECT EXISTS (SELECT 1 FROM reset WHERE account = ? AND expires > ?)", account,
                                    now)) != 0;
}

} // namespace glasshob::gallery
