#pragma once

// Everything that the gallery remembers but the files. The one place that knows what lists show: whoever asks for a
// list gets only what everyone may see. Any thread; blocks. What goes wrong is thrown (SqliteError).

#include "GlassHobGallery/data/Records.h"

#include <functional>
#include <memory>
#include <string_view>

namespace glasshob::gallery {

class Database {
  public:
    virtual ~Database() = default;

    // Several changes as one, with no other writer between; an exception takes them all back.
    virtual void write(const std::function<void()>& changes) = 0;
    // Another number than before once anything at all was written since, by whatever process. Takes microseconds.
    virtual std::int64_t version() = 0;
    // A whole copy, while others go on. There must be no such file yet.
    virtual void backUp(const std::string& path) = 0;
    // Overwrites what deleted texts left behind, where that is not done at once, and once a day brings together what
    // many changes left apart. Takes seconds where there is very much; others may write meanwhile.
    virtual void tidy() = 0;
    // A sentence for everything that contradicts itself; empty when all is well.
    virtual std::vector<std::string> damage() = 0;

    virtual std::string setting(std::string_view name) = 0;
    virtual void setSetting(std::string_view name, std::string_view value) = 0;

    // Counts one more; the first is counted for so many seconds, and those that follow as long as it is.
    virtual Attempts attempt(const std::string& bucket, std::int64_t seconds, Moment now) = 0;
    // One less: it was none of those that are counted.
    virtual void takeBack(const std::string& bucket) = 0;
    // Forgets what has expired.
    virtual void forget(Moment now) = 0;

    virtual std::optional<Account> account(Id id) = 0;
    // By handle or e-mail address.
    virtual std::optional<Account> accountNamed(std::string_view name) = 0;
    // Whose handle this is or was; nothing when it is free or its account was deleted.
    virtual std::optional<Account> accountOfHandle(std::string_view handle) = 0;
    virtual bool hasAdministrator() = 0;
    // The new account; nothing when the handle or the address is taken.
    virtual std::optional<Id> addAccount(const Account& account) = 0;
    // False when another account has or had it.
    virtual bool setHandle(Id account, const std::string& handle) = 0;
    virtual bool setEmail(Id account, const std::string& email) = 0;
    virtual void setPassword(Id account, const std::string& password) = 0;
    virtual void setAdmin(Id account, bool isAdmin) = 0;
    virtual void setSuspended(Id account, bool isSuspended) = 0;
    // With all that it wrote. Its files are its caller's to take away, and `tidy` its words from where they were.
    virtual void deleteAccount(Id account) = 0;
    virtual std::vector<Account> people(std::string_view search) = 0;
    virtual std::int64_t countOfPeople() = 0;

    virtual Id addSession(const Session& session, const std::string& tokenHash) = 0;
    virtual std::optional<Session> session(const std::string& tokenHash) = 0;
    virtual void touchSession(Id session, Moment now, const std::string& address) = 0;
    virtual std::vector<Session> sessions(Id account) = 0;
    // Only of this account.
    virtual void endSession(Id account, Id session) = 0;
    virtual void endSessions(Id account, Id exceptSession) = 0;

    virtual void addLink(const Link& link, const std::string& deviceHash, const std::string& codeHash) = 0;
    virtual std::optional<Link> linkOfDevice(const std::string& deviceHash) = 0;
    virtual std::optional<Link> linkOfCode(const std::string& codeHash) = 0;
    // False when it was answered before.
    virtual bool answerLink(Id link, std::string_view state, Id account) = 0;
    virtual void handLink(Id link, Moment now) = 0;

    virtual void addInvitation(const std::string& tokenHash, Id account, std::int64_t uses, Moment expires) = 0;
    virtual std::optional<Invitation> invitation(const std::string& tokenHash, Moment now) = 0;
    virtual bool useInvitation(const std::string& tokenHash, Moment now) = 0;
    // In place of an earlier one; an empty hash takes it back.
    virtual void setReset(Id account, const std::string& tokenHash, Moment expires) = 0;
    virtual std::optional<Id> accountOfReset(const std::string& tokenHash, Moment now) = 0;
    virtual bool hasReset(Id account, Moment now) = 0;

    virtual std::int64_t addShader(const Shader& shader) = 0;
    // Deleted ones too: whoever asks looks at it.
    virtual std::optional<Shader> shader(std::string_view id) = 0;
    virtual std::optional<Shader> sharedSince(Id account, const std::string& content, Moment since) = 0;
    virtual void changeShader(const Shader& shader) = 0;
    virtual void setHidden(std::int64_t shader, const std::optional<std::string>& reason) = 0;
    virtual void setFlashes(std::int64_t shader) = 0;
    virtual void deleteShader(std::int64_t shader, Moment now) = 0;

    struct Filter {
        std::string kind, tag, words;
        // Only older ones than this number; 0 for all.
        std::int64_t before = 0;
        std::int64_t limit = 24;
    };
    // Listed ones, the newest first.
    virtual std::vector<Shader> shaders(const Filter& filter) = 0;
    // How many there are, on all pages; beyond this many it says no more than that.
    static constexpr std::int64_t mostCounted = 100;
    virtual std::int64_t count(const Filter& filter) = 0;
    struct Tally {
        std::int64_t shaders = 0, people = 0;
    };
    virtual Tally tally() = 0;
    virtual std::vector<std::string> mostUsedTags(std::int64_t limit) = 0;
    // Of one person; with `isAll` those that only the person sees, too.
    virtual std::vector<Shader> shadersOf(Id account, bool isAll, std::int64_t before, std::int64_t limit) = 0;
    virtual std::vector<Shader> forksOf(std::string_view item, std::int64_t limit) = 0;
    virtual std::vector<Shader> hiddenShaders() = 0;
    virtual std::int64_t countOfHidden() = 0;

    // Every file that a shader has.
    virtual std::vector<std::string> usedMedia() = 0;
    // Whether any shader has the file.
    virtual bool isMediaUsed(std::string_view name) = 0;

    // False when this person has reported it before.
    virtual bool addReport(std::int64_t shader, Id account, std::string_view reason, std::string_view text,
                           Moment now) = 0;
    virtual std::vector<Shader> reportedShaders() = 0;
    virtual std::vector<Report> reports(std::int64_t shader) = 0;
    virtual void closeReports(std::int64_t shader, Moment now) = 0;
    virtual std::int64_t countOfOpenReports() = 0;
};

// The database in a file of SQLite; made or brought up to date first.
std::unique_ptr<Database> openSqliteDatabase(const std::string& path);

} // namespace glasshob::gallery
