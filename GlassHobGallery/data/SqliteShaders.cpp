// The shaders, reports and files of SqliteDatabase.

#include "GlassHobGallery/data/Secrets.h"
#include "GlassHobGallery/data/SqliteDatabase.h"

#include <algorithm>
#include <limits>

namespace glasshob::gallery {

namespace {

// From `tables`, of which one is the shader as `s`.
std::string shaderColumns(std::string_view tables = "shader s") {
    return "SELECT s.number, s.id, s.account, a.handle, s.title, s.description, s.licence, s.visibility, s.kind, "
           "s.has_sound, s.forked_from, s.tags, s.params, s.content, s.source, s.loop, s.thumb, s.small_loop, "
           "s.small_thumb, s.created, s.flashes, s.hidden, s.deleted, s.deleted_by, coalesce(a.suspended, 0), s.forks, "
           "EXISTS (SELECT 1 FROM report r WHERE r.shader = s.number AND r.reason = 'flashes' AND r.closed IS NULL) "
           "FROM " +
           std::string(tables) + " LEFT JOIN account a ON a.id = s.account ";
}

std::string joined(const std::vector<std::string>& tags) {
    std::string text;
    for (const std::string& tag : tags)
        (text += text.empty() ? "" : ",") += tag;
    return text;
}

std::vector<std::string> split(std::string_view text) {
    std::vector<std::string> parts;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(','), text.size());
        parts.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return parts;
}

// Of a word count so many letters: the search has an index of every beginning up to this length, and longer ones would
// have to be gathered from all words that begin so.
constexpr std::size_t searchedLetters = 12;

std::string_view firstLetters(std::string_view word) {
    std::size_t end = 0;
    for (std::size_t letters = 0; end < word.size(); ++end)
        if ((word[end] & 0xC0) != 0x80 && ++letters > searchedLetters) break;
    return word.substr(0, end);
}

// A filter in the language of FTS5: each word a text in quotes, so that nothing in it is an operator, of which the
// beginning is enough. Empty when only the kind is asked for, which has an index of its own.
std::string matchText(const Database::Filter& filter) {
    std::string words;
    std::string_view rest = filter.words;
    constexpr std::string_view blanks = " \t\r\n";
    for (int count = 0; count < 8; ++count) {
        rest.remove_prefix(std::min(rest.find_first_not_of(blanks), rest.size()));
        if (rest.empty()) break;
        const std::string_view typed = rest.substr(0, rest.find_first_of(blanks));
        rest.remove_prefix(typed.size());
        std::string word;
        for (const char c : typed)
            if (c != '"' && c != '\0') word += c;
        if (!word.empty()) ((words += " \"") += firstLetters(word)) += "\"*";
    }
    std::string match = words.empty() ? "" : "{title handle tags} : (" + words + ")";
    const auto add = [&](const std::string& fact) { (match += match.empty() ? "facts : " : " AND facts : ") += fact; };
    if (!filter.tag.empty()) add("t" + hexText(filter.tag));
    if (!filter.kind.empty() && !match.empty()) add("k" + hexText(filter.kind));
    return match;
}

// The part of a question that a filter makes: the tables, the condition, and what the condition is given.
struct Where {
    std::string tables, condition, number, value;
};
Where whereOf(const Database::Filter& filter) {
    if (std::string match = matchText(filter); !match.empty())
        return {"shader_text CROSS JOIN shader s ON s.number = shader_text.rowid", "WHERE shader_text MATCH ?1",
                "shader_text.rowid", std::move(match)};
    return {"shader s", filter.kind.empty() ? "WHERE s.listed = 1 AND ?1 = ''" : "WHERE s.listed = 1 AND s.kind = ?1",
            "s.number", filter.kind};
}

// The number that all of a list come before.
std::int64_t endOf(std::int64_t before) {
    return before > 0 ? before : std::numeric_limits<std::int64_t>::max();
}

} // namespace

std::vector<Shader> SqliteDatabase::readShaders(SqliteQuery query) {
    std::vector<Shader> found;
    while (query.step()) {
        Shader shader;
        shader.number = query.integer(0);
        shader.id = query.text(1);
        shader.account = query.integer(2);
        shader.handle = query.text(3);
        shader.title = query.text(4);
        shader.description = query.text(5);
        shader.licence = query.text(6);
        shader.visibility = query.text(7);
        shader.kind = query.text(8);
        shader.hasSound = query.integer(9) != 0;
        shader.forkedFrom = query.text(10);
        shader.tags = split(query.text(11));
        shader.params = query.text(12);
        shader.content = query.text(13);
        shader.media = {query.text(14), query.text(15), query.text(16), query.text(17), query.text(18)};
        shader.created = query.integer(19);
        shader.flashes = query.integer(20) != 0;
        if (!query.isNull(21)) shader.hidden = query.text(21);
        if (!query.isNull(22)) shader.deleted = query.integer(22);
        shader.deletedBy = query.text(23);
        shader.isSuspended = query.integer(24) != 0;
        shader.forks = query.integer(25);
        shader.isReportedForFlashing = query.integer(26) != 0;
        found.push_back(std::move(shader));
    }
    return found;
}

void SqliteDatabase::relist(std::int64_t shader) {
    const Lease connection = lease();
    connection->run(
        "UPDATE shader SET listed = (visibility = 'public' AND hidden IS NULL AND deleted IS NULL AND EXISTS "
        "(SELECT 1 FROM account WHERE account.id = shader.account AND suspended = 0)) WHERE number = ?",
        shader);
    connection->run("DELETE FROM shader_tag WHERE shader = ?", shader);
    connection->run("DELETE FROM shader_text WHERE rowid = ?", shader);
    std::string tags;
    {
        SqliteQuery query = connection->query("SELECT tags FROM shader WHERE number = ? AND listed = 1", shader);
        if (!query.step()) return;
        tags = query.text(0);
    }
    for (const std::string& tag : split(tags))
        connection->run("INSERT OR IGNORE INTO shader_tag VALUES (?, ?)", tag, shader);
    connection->run(
        "INSERT INTO shader_text (rowid, title, handle, tags, facts) SELECT number, title, handle, tags, facts FROM "
        "listed_text WHERE number = ?",
        shader);
}

std::int64_t SqliteDatabase::addShader(const Shader& shader) {
    std::int64_t number = 0;
    write([&] {
        const Lease connection = lease();
        connection->run(
            "INSERT INTO shader (id, account, title, description, licence, visibility, kind, has_sound, "
            "forked_from, tags, params, content, source, loop, thumb, small_loop, small_thumb, created) VALUES "
            "(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
            shader.id, shader.account, shader.title, shader.description, shader.licence, shader.visibility, shader.kind,
            shader.hasSound, shader.forkedFrom, joined(shader.tags), shader.params, Blob{shader.content},
            shader.media.source, shader.media.loop, shader.media.thumb, shader.media.smallLoop, shader.media.smallThumb,
            shader.created);
        number = connection->lastRow();
        for (const std::string& name : shader.media.names())
            connection->run("INSERT OR IGNORE INTO shader_media VALUES (?, ?)", name, number);
        relist(number);
    });
    return number;
}

std::optional<Shader> SqliteDatabase::shader(std::string_view id) {
    const Lease connection = lease();
    std::vector<Shader> found = readShaders(connection->query(shaderColumns() + "WHERE s.id = ?", id));
    return found.empty() ? std::nullopt : std::optional(std::move(found.front()));
}

std::optional<Shader> SqliteDatabase::sharedSince(Id account, const std::string& content, Moment since) {
    const Lease connection = lease();
    std::vector<Shader> found = readShaders(connection->query(
        shaderColumns() + "WHERE s.content = ? AND s.account = ? AND s.created >= ? AND s.deleted IS NULL",
        Blob{content}, account, since));
    return found.empty() ? std::nullopt : std::optional(std::move(found.front()));
}

void SqliteDatabase::changeShader(const Shader& shader) {
    write([&] {
        lease()->run("UPDATE shader SET title = ?, description = ?, licence = ?, visibility = ? WHERE number = ?",
                     shader.title, shader.description, shader.licence, shader.visibility, shader.number);
        relist(shader.number);
    });
}

void SqliteDatabase::setHidden(std::int64_t shader, const std::optional<std::string>& reason) {
    write([&] {
        lease()->run("UPDATE shader SET hidden = ? WHERE number = ?", reason, shader);
        relist(shader);
    });
}

void SqliteDatabase::setFlashes(std::int64_t shader) {
    lease()->run("UPDATE shader SET flashes = 1 WHERE number = ?", shader);
}

void SqliteDatabase::deleteShader(std::int64_t shader, Moment now) {
    write([&] {
        const Lease connection = lease();
        connection->run(
            "UPDATE shader SET deleted = ?, deleted_by = coalesce((SELECT handle FROM account WHERE account.id = "
            "shader.account), ''), description = '', params = '[]', tags = '', title = '', content = x'', source "
            "= '', loop = '', thumb = '', small_loop = '', small_thumb = '', hidden = NULL WHERE number = ? AND "
            "deleted IS NULL",
            now, shader);
        relist(shader); // which counts one fork less where this one came from
        connection->run("UPDATE shader SET forked_from = '' WHERE number = ?", shader);
        connection->run("DELETE FROM shader_media WHERE shader = ?", shader);
        connection->run("DELETE FROM report WHERE shader = ?", shader);
        setSetting("untidy", "1");
    });
}

std::vector<Shader> SqliteDatabase::shaders(const Filter& filter) {
    const Lease connection = lease();
    const Where where = whereOf(filter);
    return readShaders(connection->query(shaderColumns(where.tables) + where.condition + " AND " + where.number +
                                             " < ?2 ORDER BY " + where.number + " DESC LIMIT ?3",
                                         where.value, endOf(filter.before), filter.limit));
}

std::int64_t SqliteDatabase::count(const Filter& filter) {
    const Lease connection = lease();
    const Where where = whereOf(filter);
    const std::string_view table = std::string_view(where.tables).substr(0, where.tables.find(" CROSS"));
    return single(connection->query("SELECT count(*) FROM (SELECT 1 FROM " + std::string(table) + " " +
                                        where.condition + " LIMIT ?2)",
                                    where.value, mostCounted));
}

Database::Tally SqliteDatabase::tally() {
    const Lease connection = lease();
    SqliteQuery query = connection->query("SELECT shaders, people FROM tally");
    query.step();
    return {query.integer(0), query.integer(1)};
}

std::vector<std::string> SqliteDatabase::mostUsedTags(std::int64_t limit) {
    const Lease connection = lease();
    SqliteQuery query = connection->query("SELECT tag FROM tag_count ORDER BY count DESC, tag LIMIT ?", limit);
    std::vector<std::string> tags;
    while (query.step())
        tags.push_back(query.text(0));
    return tags;
}

std::vector<Shader> SqliteDatabase::shadersOf(Id account, bool isAll, std::int64_t before, std::int64_t limit) {
    const Lease connection = lease();
    return readShaders(connection->query(shaderColumns() + "WHERE s.account = ? AND " +
                                             (isAll ? "s.deleted IS NULL" : "s.listed = 1") +
                                             " AND s.number < ? ORDER BY s.number DESC LIMIT ?",
                                         account, endOf(before), limit));
}

std::vector<Shader> SqliteDatabase::forksOf(std::string_view item, std::int64_t limit) {
    const Lease connection = lease();
    return readShaders(connection->query(
        shaderColumns() +
            "WHERE s.forked_from = ? AND s.listed = 1 AND s.forked_from <> '' ORDER BY s.number DESC LIMIT ?",
        item, limit));
}

std::vector<Shader> SqliteDatabase::hiddenShaders() {
    const Lease connection = lease();
    return readShaders(connection->query(
        shaderColumns() + "WHERE s.hidden IS NOT NULL AND s.deleted IS NULL ORDER BY s.number DESC LIMIT 200"));
}

std::int64_t SqliteDatabase::countOfHidden() {
    const Lease connection = lease();
    return single(connection->query("SELECT count(*) FROM shader WHERE hidden IS NOT NULL AND deleted IS NULL"));
}

std::vector<std::string> SqliteDatabase::usedMedia() {
    const Lease connection = lease();
    SqliteQuery query = connection->query("SELECT DISTINCT media FROM shader_media ORDER BY media");
    std::vector<std::string> names;
    while (query.step())
        names.push_back(query.text(0));
    return names;
}

bool SqliteDatabase::isMediaUsed(std::string_view name) {
    const Lease connection = lease();
    return single(connection->query("SELECT EXISTS (SELECT 1 FROM shader_media WHERE media = ?)", name)) != 0;
}

bool SqliteDatabase::addReport(std::int64_t shader, Id account, std::string_view reason, std::string_view text,
                               Moment now) {
    return lease()->run(
               "INSERT INTO report (shader, account, reason, text, created) VALUES (?, ?, ?, ?, ?) ON CONFLICT DO "
               "NOTHING",
               shader, account, reason, text, now) > 0;
}

std::vector<Shader> SqliteDatabase::reportedShaders() {
    const Lease connection = lease();
    return readShaders(connection->query(shaderColumns() +
                                         "WHERE s.number IN (SELECT shader FROM report WHERE closed IS NULL) "
                                         "ORDER BY s.number DESC LIMIT 200"));
}

std::vector<Report> SqliteDatabase::reports(std::int64_t shader) {
    const Lease connection = lease();
    SqliteQuery query =
        connection->query("SELECT report.id, handle, reason, text, report.created FROM report JOIN account ON "
                          "account.id = account WHERE shader = ? AND closed IS NULL ORDER BY report.id",
                          shader);
    std::vector<Report> found;
    while (query.step())
        found.push_back({query.integer(0), query.text(1), query.text(2), query.text(3), query.integer(4)});
    return found;
}

void SqliteDatabase::closeReports(std::int64_t shader, Moment now) {
    lease()->run("UPDATE report SET closed = ? WHERE shader = ? AND closed IS NULL", now, shader);
}

std::int64_t SqliteDatabase::countOfOpenReports() {
    const Lease connection = lease();
    return single(connection->query("SELECT count(DISTINCT shader) FROM report WHERE closed IS NULL"));
}

} // namespace glasshob::gallery
