// What keeps the database whole: copies, tidying up, and looking for damage.

#include "GlassHobGallery/data/SqliteDatabase.h"

#include <ctime>

namespace glasshob::gallery {

void SqliteDatabase::backUp(const std::string& path) {
    lease()->copyTo(path);
}

void SqliteDatabase::mergeSearch() {
    const Lease connection = lease();
    constexpr int pages = 4000; // written in one step, a kilobyte each
    // The first step begins it, and the others go on until one finds nothing left to do.
    for (int step = -pages;; step = pages) {
        const std::int64_t before = connection->totalChanges();
        connection->run("INSERT INTO shader_text (shader_text, rank) VALUES ('merge', ?)", step);
        if (connection->totalChanges() - before < 2) return;
    }
}

void SqliteDatabase::tidy() {
    // Every change leaves the search's index in one more part: once a day they are put together anyway.
    const std::string today = std::to_string(std::time(nullptr) / 86400);
    const bool isUntidy = !setting("untidy").empty();
    if (!isUntidy && setting("search merged") == today) return;
    // What is deleted from here on says "1" again.
    if (isUntidy) setSetting("untidy", "2");
    // The index of words keeps those of deleted rows until its parts are put together.
    mergeSearch();
    setSetting("search merged", today);
    if (!isUntidy) return;
    write([&] {
        hideGoneHandles();
        if (setting("untidy") == "2") setSetting("untidy", "");
    });
    // Pages as they were before lie in the log until all of it is in the file. Somebody who reads meanwhile keeps it
    // longer: then the next time.
    const Lease connection = lease();
    bool isBusy = false;
    {
        SqliteQuery query = connection->query("PRAGMA wal_checkpoint(TRUNCATE)");
        isBusy = query.step() && query.integer(0) != 0;
    }
    if (isBusy) setSetting("untidy", "1");
}

std::vector<std::string> SqliteDatabase::damage() {
    const Lease connection = lease();
    std::vector<std::string> found;
    {
        SqliteQuery query = connection->query("PRAGMA integrity_check(20)");
        while (query.step())
            if (query.text(0) != "ok") found.push_back("The database is damaged: " + query.text(0) + ".");
    }
    if (!found.empty()) return found; // whatever else it says means nothing then
    {
        SqliteQuery query = connection->query("PRAGMA foreign_key_check");
        while (query.step())
            found.push_back("A row of \"" + query.text(0) + "\" belongs to nothing.");
    }
    try {
        connection->run("INSERT INTO shader_text (shader_text) VALUES ('integrity-check')");
    } catch (const SqliteError& error) {
        if (!error.isDamage) throw;
        found.push_back("The index of the search is damaged.");
    }
    struct Rule {
        const char* sentence;
        const char* count; // of what breaks it
    };
    static constexpr Rule rules[] = {
        {"Shaders are in lists that must not be, or are missing from them",
         "SELECT count(*) FROM shader LEFT JOIN account ON account.id = shader.account WHERE shader.listed <> "
         "(visibility = 'public' AND hidden IS NULL AND deleted IS NULL AND account.id IS NOT NULL AND suspended = 0)"},
        {"Shaders are missing from the search",
         "SELECT count(*) FROM shader WHERE listed = 1 AND number NOT IN (SELECT rowid FROM shader_text)"},
        {"Shaders are in the search that must not be",
         "SELECT count(*) FROM shader_text WHERE rowid NOT IN (SELECT number FROM shader WHERE listed = 1)"},
        {"Tags belong to shaders that are in no list",
         "SELECT count(*) FROM shader_tag WHERE shader NOT IN (SELECT number FROM shader WHERE listed = 1)"},
        {"Tags are counted wrongly",
         "SELECT count(*) FROM tag_count t WHERE count <> (SELECT count(*) FROM shader_tag s WHERE s.tag = t.tag)"},
        {"Shaders are counted wrongly",
         "SELECT count(*) FROM tally WHERE shaders <> (SELECT count(*) FROM shader WHERE listed = 1)"},
        {"Shaders of people are counted wrongly",
         "SELECT count(*) FROM account a WHERE listed <> (SELECT count(*) FROM shader WHERE account = a.id AND listed "
         "= 1)"},
        {"People with shaders are counted wrongly",
         "SELECT count(*) FROM tally WHERE people <> (SELECT count(*) FROM account WHERE listed > 0)"},
        {"Shaders that people kept are counted wrongly",
         "SELECT count(*) FROM account a WHERE kept <> (SELECT count(*) FROM shader WHERE account = a.id AND deleted "
         "IS NULL)"},
        {"Forks are counted wrongly",
         "SELECT count(*) FROM shader s WHERE forks <> (SELECT count(*) FROM shader f WHERE f.forked_from = 's/' || "
         "s.id AND f.listed = 1 AND f.forked_from <> '')"},
        {"Shaders have files that nothing keeps",
         "SELECT count(*) FROM shader s WHERE deleted IS NULL AND (SELECT count(*) FROM shader_media m WHERE m.shader "
         "= s.number AND m.media IN (s.source, s.loop, s.thumb, s.small_loop, s.small_thumb)) <> (SELECT count(*) FROM "
         "(SELECT s.source UNION SELECT s.loop UNION SELECT s.thumb UNION SELECT s.small_loop UNION SELECT "
         "s.small_thumb))"},
        {"Files are kept for shaders that do not have them",
         "SELECT count(*) FROM shader_media m JOIN shader s ON s.number = m.shader WHERE m.media NOT IN (s.source, "
         "s.loop, s.thumb, s.small_loop, s.small_thumb)"},
    };
    for (const Rule& rule : rules)
        if (const std::int64_t count = single(connection->query(rule.count)); count > 0)
            found.push_back(std::string(rule.sentence) + ": " + std::to_string(count) + ".");
    return found;
}

} // namespace glasshob::gallery
