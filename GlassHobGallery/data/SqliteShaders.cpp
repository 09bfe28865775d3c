// The shaders, reports and files of SqliteDatabase.

#include "GlassHobGallery/data/SqliteDatabase.h"

namespace glasshob::gallery {

namespace {

std::string shaderColumns(bool isByTag = false) {
    // That the origin is not empty stands there for the index of forks, which holds no others.
    // A list of a tag walks the tag's own order.
    return "SELECT s.number, s.id, s.account, a.handle, s.title, s.description, s.licence, s.visibility, s.kind, "
           "s.has_sound, s.forked_from, s.tags, s.params, s.content, s.source, s.loop, s.thumb, s.small_loop, "
           "s.small_thumb, s.created, s.flashes, s.hidden, s.deleted, s.deleted_by, coalesce(a.suspended, 0), "
           "(SELECT count(*) FROM shader f WHERE f.forked_from = 's/' || s.id AND f.listed = 1 AND f.forked_from <> "
           "''), "
           "EXISTS (SELECT 1 FROM report r WHERE r.shader = s.number AND r.reason = 'flashes' AND r.closed IS NULL) "
           "FROM " +
           std::string(isByTag ? "shader_tag t CROSS JOIN shader s ON s.number = t.shader" : "shader s") +
           " LEFT JOIN account a ON a.id = s.account ";
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

// The words of a search as FTS5 reads them: each a text in quotes, so that nothing in it is an operator, and the
// beginning of a word is enough. Empty when there is none.
std::string matchText(std::string_view words) {
    std::string match;
    int count = 0;
    for (std::size_t at = 0; at < words.size() && count < 8;) {
        const std::size_t begin = words.find_first_not_of(" \t\r\n", at);
        if (begin == std::string_view::npos) break;
        const std::size_t end = std::min(words.find_first_of(" \t\r\n", begin), words.size());
        std::string word;
        for (const char c : words.substr(begin, end - begin))
            if (c != '"' && c != '\0') word += c;
        if (!word.empty()) {
            (match += match.empty() ? "\"" : " \"") += word + "\"*";
            ++count;
        }
        at = end;
    }
    return match;
}

// The part of a question that a filter makes, with its values in this order: before, kind, tag, words. Values that do
// not count are bound and always true, so that there are few different statements.
struct Where {
    std::string sql;
    std::string words;
};
Where whereOf(const Database::Filter& filter) {
    Where where{" WHERE s.listed = 1 AND (?1 = 0 OR s.number < ?1) AND (?2 = '' OR s.kind = ?2)",
                matchText(filter.words)};
    where.sql += filter.tag.empty() ? " AND ?3 = ''" : " AND t.tag = ?3";
    where.sql += where.words.empty() ? " AND ?4 = ''"
                                     : " AND s.number IN (SELECT rowid FROM shader_text WHERE shader_text MATCH ?4)";
    return where;
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
        "INSERT INTO shader_text (rowid, title, handle, tags) SELECT number, title, handle, replace(tags, ',', ' ') "
        "FROM shader JOIN account ON account.id = shader.account WHERE number = ?",
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
        for (const std::string* name : {&shader.media.source, &shader.media.loop, &shader.media.thumb,
                                        &shader.media.smallLoop, &shader.media.smallThumb})
            connection->run("INSERT OR IGNORE INTO shader_media VALUES (?, ?)", *name, number);
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
            "= '', loop = '', thumb = '', small_loop = '', small_thumb = '' WHERE number = ? AND deleted IS NULL",
            now, shader);
        relist(shader);
        connection->run("DELETE FROM shader_media WHERE shader = ?", shader);
        connection->run("DELETE FROM report WHERE shader = ?", shader);
    });
}

std::vector<Shader> SqliteDatabase::shaders(const Filter& filter) {
    const Lease connection = lease();
    const Where where = whereOf(filter);
    return readShaders(connection->query(
        shaderColumns(!filter.tag.empty()) + where.sql +
            (filter.tag.empty() ? " ORDER BY s.number DESC LIMIT ?5" : " ORDER BY t.shader DESC LIMIT ?5"),
        filter.before, filter.kind, filter.tag, where.words, filter.limit));
}

std::int64_t SqliteDatabase::count(const Filter& filter) {
    const Lease connection = lease();
    const Where where = whereOf(filter);
    // Beyond this many nobody cares how many there are.
    return single(connection->query(
        "SELECT count(*) FROM (SELECT 1 FROM " +
            std::string(filter.tag.empty() ? "shader s" : "shader_tag t CROSS JOIN shader s ON s.number = t.shader") +
            where.sql + " LIMIT 1000)",
        std::int64_t(0), filter.kind, filter.tag, where.words));
}

Database::Tally SqliteDatabase::tally() {
    const Lease connection = lease();
    return {single(connection->query("SELECT shaders FROM tally")),
            single(connection->query("SELECT count(*) FROM account WHERE listed > 0"))};
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
    return readShaders(connection->query(shaderColumns() +
                                             "WHERE s.account = ?1 AND s.deleted IS NULL AND (?2 OR s.listed = 1) "
                                             "AND (?3 = 0 OR s.number < ?3) ORDER BY s.number DESC LIMIT ?4",
                                         account, isAll, before, limit));
}

std::int64_t SqliteDatabase::countOf(Id account, bool isAll) {
    const Lease connection = lease();
    return single(connection->query(
        "SELECT count(*) FROM shader WHERE account = ? AND deleted IS NULL AND (? OR listed = 1)", account, isAll));
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
