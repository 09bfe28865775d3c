#include "GlassHobGallery/data/Migrations.h"

namespace glasshob::gallery {

namespace {

// Moments are seconds since 1970. Tokens, codes and links are kept as hashes alone.
constexpr const char* people = R"(
CREATE TABLE setting (name TEXT PRIMARY KEY, value TEXT NOT NULL) STRICT, WITHOUT ROWID;

CREATE TABLE account (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    handle TEXT UNIQUE,
    email TEXT UNIQUE COLLATE NOCASE,
    password TEXT NOT NULL,
    is_admin INTEGER NOT NULL DEFAULT 0,
    suspended INTEGER NOT NULL DEFAULT 0,
    created INTEGER NOT NULL,
    invited_by TEXT NOT NULL DEFAULT '',
    listed INTEGER NOT NULL DEFAULT 0
) STRICT;
CREATE INDEX account_listed ON account (id) WHERE listed > 0;

-- Every handle that was ever taken. The account is NULL once it was deleted.
CREATE TABLE handle (
    name TEXT PRIMARY KEY,
    account INTEGER REFERENCES account (id) ON DELETE SET NULL
) STRICT, WITHOUT ROWID;
CREATE INDEX handle_account ON handle (account);

CREATE TABLE session (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    account INTEGER NOT NULL REFERENCES account (id) ON DELETE CASCADE,
    is_program INTEGER NOT NULL,
    token BLOB NOT NULL UNIQUE,
    agent TEXT NOT NULL,
    address TEXT NOT NULL,
    created INTEGER NOT NULL,
    seen INTEGER NOT NULL
) STRICT;
CREATE INDEX session_account ON session (account);

CREATE TABLE link (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    device BLOB NOT NULL UNIQUE,
    code BLOB NOT NULL UNIQUE,
    state TEXT NOT NULL DEFAULT 'waiting' CHECK (state IN ('waiting', 'allowed', 'refused')),
    account INTEGER REFERENCES account (id) ON DELETE CASCADE,
    agent TEXT NOT NULL,
    address TEXT NOT NULL,
    created INTEGER NOT NULL,
    expires INTEGER NOT NULL,
    handed INTEGER
) STRICT;
CREATE INDEX link_expires ON link (expires);
CREATE INDEX link_account ON link (account);

CREATE TABLE invitation (
    token BLOB PRIMARY KEY,
    account INTEGER NOT NULL REFERENCES account (id) ON DELETE CASCADE,
    uses INTEGER NOT NULL,
    expires INTEGER NOT NULL
) STRICT, WITHOUT ROWID;
CREATE INDEX invitation_account ON invitation (account);

CREATE TABLE reset (
    account INTEGER PRIMARY KEY REFERENCES account (id) ON DELETE CASCADE,
    token BLOB NOT NULL UNIQUE,
    expires INTEGER NOT NULL
) STRICT;

CREATE TABLE attempt (
    bucket TEXT NOT NULL,
    span INTEGER NOT NULL,
    ends INTEGER NOT NULL,
    count INTEGER NOT NULL,
    PRIMARY KEY (bucket, span)
) STRICT, WITHOUT ROWID;
CREATE INDEX attempt_ends ON attempt (ends);
)";

constexpr const char* shaders = R"(
CREATE TABLE shader (
    number INTEGER PRIMARY KEY AUTOINCREMENT,
    id TEXT NOT NULL UNIQUE,
    -- NULL once its author's account was deleted; then the shader is deleted too.
    account INTEGER REFERENCES account (id) ON DELETE SET NULL,
    title TEXT NOT NULL,
    description TEXT NOT NULL,
    licence TEXT NOT NULL,
    visibility TEXT NOT NULL CHECK (visibility IN ('public', 'unlisted', 'private')),
    kind TEXT NOT NULL,
    has_sound INTEGER NOT NULL,
    forked_from TEXT NOT NULL,
    tags TEXT NOT NULL,
    params TEXT NOT NULL,
    content BLOB NOT NULL,
    -- Names of files in the media store.
    source TEXT NOT NULL,
    loop TEXT NOT NULL,
    thumb TEXT NOT NULL,
    small_loop TEXT NOT NULL,
    small_thumb TEXT NOT NULL,
    created INTEGER NOT NULL,
    flashes INTEGER NOT NULL DEFAULT 0,
    hidden TEXT,
    deleted INTEGER,
    deleted_by TEXT NOT NULL DEFAULT '',
    -- 1 while everyone finds it in lists and in the search.
    listed INTEGER NOT NULL DEFAULT 0
) STRICT;
CREATE INDEX shader_listed ON shader (number) WHERE listed = 1;
CREATE INDEX shader_listed_kind ON shader (kind, number) WHERE listed = 1;
CREATE INDEX shader_account ON shader (account, number);
CREATE INDEX shader_content ON shader (content);
CREATE INDEX shader_fork ON shader (forked_from, number) WHERE listed = 1 AND forked_from <> '';
CREATE INDEX shader_hidden ON shader (number) WHERE hidden IS NOT NULL;

CREATE TABLE shader_media (
    media TEXT NOT NULL,
    shader INTEGER NOT NULL REFERENCES shader (number) ON DELETE CASCADE,
    PRIMARY KEY (media, shader)
) STRICT, WITHOUT ROWID;
CREATE INDEX shader_media_shader ON shader_media (shader);

-- Of listed shaders.
CREATE TABLE shader_tag (
    tag TEXT NOT NULL,
    shader INTEGER NOT NULL REFERENCES shader (number) ON DELETE CASCADE,
    PRIMARY KEY (tag, shader)
) STRICT, WITHOUT ROWID;
CREATE INDEX shader_tag_shader ON shader_tag (shader);
CREATE TABLE tag_count (tag TEXT PRIMARY KEY, count INTEGER NOT NULL) STRICT, WITHOUT ROWID;
CREATE INDEX tag_count_count ON tag_count (count);
CREATE TRIGGER tag_added AFTER INSERT ON shader_tag BEGIN
    INSERT INTO tag_count VALUES (new.tag, 1) ON CONFLICT (tag) DO UPDATE SET count = count + 1;
END;
CREATE TRIGGER tag_removed AFTER DELETE ON shader_tag BEGIN
    UPDATE tag_count SET count = count - 1 WHERE tag = old.tag;
    DELETE FROM tag_count WHERE tag = old.tag AND count <= 0;
END;

-- How many are listed, so that no page counts them.
CREATE TABLE tally (shaders INTEGER NOT NULL) STRICT;
INSERT INTO tally VALUES (0);
CREATE TRIGGER listing_changed AFTER UPDATE OF listed ON shader WHEN new.listed <> old.listed BEGIN
    UPDATE tally SET shaders = shaders + new.listed - old.listed;
    UPDATE account SET listed = listed + new.listed - old.listed WHERE id = old.account;
END;

-- Of listed shaders.
CREATE VIRTUAL TABLE shader_text USING fts5 (title, handle, tags, tokenize = "unicode61 remove_diacritics 2", prefix = '2 3');

CREATE TABLE report (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    shader INTEGER NOT NULL REFERENCES shader (number) ON DELETE CASCADE,
    account INTEGER NOT NULL REFERENCES account (id) ON DELETE CASCADE,
    reason TEXT NOT NULL,
    text TEXT NOT NULL,
    created INTEGER NOT NULL,
    closed INTEGER,
    UNIQUE (shader, account)
) STRICT;
CREATE INDEX report_open ON report (shader) WHERE closed IS NULL;
CREATE INDEX report_account ON report (account);
)";

// What lists need is counted when it changes, and found without going through what is not shown.
constexpr const char* largeLists = R"(
-- Every beginning of a word is in the index up to this length (searchedLetters in SqliteShaders.cpp), so that a search
-- reads its matches from the newest on and stops. The facts, which no person's words are compared with: "k" with
-- the kind and "t" with each tag, in hexadecimal.
DROP TABLE shader_text;
CREATE VIRTUAL TABLE shader_text USING fts5 (title, handle, tags, facts, tokenize = "unicode61 remove_diacritics 2",
    prefix = '1 2 3 4 5 6 7 8 9 10 11 12');
INSERT INTO shader_text (shader_text, rank) VALUES ('pgsz', 1000); -- less to read to get far back
-- What the search keeps of each listed shader.
CREATE VIEW listed_text AS
    SELECT number, title, handle, replace(tags, ',', ' ') AS tags,
           'k' || hex(kind) || coalesce((SELECT group_concat(' t' || hex(tag), '') FROM shader_tag WHERE shader = number), '')
           AS facts
    FROM shader JOIN account ON account.id = shader.account WHERE shader.listed = 1;
INSERT INTO shader_text (rowid, title, handle, tags, facts) SELECT number, title, handle, tags, facts FROM listed_text;
INSERT INTO shader_text (shader_text) VALUES ('optimize');

-- A person's shaders, as everyone sees them and as the person does.
CREATE INDEX shader_account_listed ON shader (account, number) WHERE listed = 1;
CREATE INDEX shader_account_kept ON shader (account, number) WHERE deleted IS NULL;
ALTER TABLE account ADD COLUMN kept INTEGER NOT NULL DEFAULT 0;
UPDATE account SET kept = (SELECT count(*) FROM shader WHERE shader.account = account.id AND deleted IS NULL);
CREATE TRIGGER shader_kept AFTER INSERT ON shader BEGIN
    UPDATE account SET kept = kept + 1 WHERE id = new.account;
END;
CREATE TRIGGER shader_deleted AFTER UPDATE OF deleted ON shader WHEN old.deleted IS NULL AND new.deleted IS NOT NULL BEGIN
    UPDATE account SET kept = kept - 1 WHERE id = old.account;
END;

-- How many listed shaders were forked from one, and how many people have a listed shader.
ALTER TABLE shader ADD COLUMN forks INTEGER NOT NULL DEFAULT 0;
UPDATE shader SET forks = (SELECT count(*) FROM shader fork
    WHERE fork.forked_from = 's/' || shader.id AND fork.listed = 1 AND fork.forked_from <> '');
ALTER TABLE tally ADD COLUMN people INTEGER NOT NULL DEFAULT 0;
UPDATE tally SET people = (SELECT count(*) FROM account WHERE listed > 0);
DROP INDEX account_listed;
DROP TRIGGER listing_changed;
CREATE TRIGGER listing_changed AFTER UPDATE OF listed ON shader WHEN new.listed <> old.listed BEGIN
    UPDATE tally SET shaders = shaders + new.listed - old.listed;
    UPDATE account SET listed = listed + new.listed - old.listed WHERE id = old.account;
    UPDATE shader SET forks = forks + new.listed - old.listed
        WHERE old.forked_from GLOB 's/*' AND id = substr(old.forked_from, 3);
END;
CREATE TRIGGER person_listed AFTER UPDATE OF listed ON account WHEN (new.listed > 0) <> (old.listed > 0) BEGIN
    UPDATE tally SET people = people + (new.listed > 0) - (old.listed > 0);
END;

DROP INDEX tag_count_count;
CREATE INDEX tag_count_order ON tag_count (count DESC, tag);
)";

constexpr const char* attempts = R"(
-- Counted from the first one on, not by the clock's hours. What was counted before is forgotten.
DROP TABLE attempt;
CREATE TABLE attempt (
    bucket TEXT PRIMARY KEY,
    ends INTEGER NOT NULL,
    count INTEGER NOT NULL
) STRICT, WITHOUT ROWID;
CREATE INDEX attempt_ends ON attempt (ends);
)";

constexpr const char* const steps[] = {people, shaders, largeLists, attempts};

} // namespace

std::span<const char* const> migrations() {
    return steps;
}

void migrate(SqliteConnection& connection, std::size_t version) {
    const auto current = [&] {
        SqliteQuery query = connection.query("PRAGMA user_version");
        query.step();
        return std::size_t(query.integer(0));
    };
    if (current() > std::size(steps))
        throw SqliteError("The database was written by a newer gallery. Start that one, or restore an older backup.");
    while (current() < version) {
        connection.script("BEGIN IMMEDIATE");
        try {
            // Another process may have done it while this one waited.
            if (const std::size_t from = current(); from < version) {
                connection.script(steps[from]);
                connection.script("PRAGMA user_version = " + std::to_string(from + 1));
            }
            connection.script("COMMIT");
        } catch (...) {
            try {
                connection.script("ROLLBACK");
            } catch (const std::exception&) {
                // SQLite takes a transaction back by itself when the disk refuses.
            }
            throw;
        }
    }
}

} // namespace glasshob::gallery
