#pragma once

// The database in one file. Every thread that asks gets a connection of its own for as long as the question takes;
// a transaction keeps its thread's. A part of SqliteDatabase*.cpp.

#include "GlassHobGallery/data/Database.h"
#include "GlassHobGallery/data/Sqlite.h"

#include <mutex>

namespace glasshob::gallery {

class SqliteDatabase : public Database {
  public:
    explicit SqliteDatabase(std::string path);
    ~SqliteDatabase() override;

    void write(const std::function<void()>& changes) override;
    std::int64_t version() override;
    void backUp(const std::string& path) override;
    void tidy() override;
    std::vector<std::string> damage() override;
    std::string setting(std::string_view name) override;
    void setSetting(std::string_view name, std::string_view value) override;
    Attempts attempt(const std::string& bucket, std::int64_t seconds, Moment now) override;
    void takeBack(const std::string& bucket) override;
    void forget(Moment now) override;

    std::optional<Account> account(Id id) override;
    std::optional<Account> accountNamed(std::string_view name) override;
    std::optional<Account> accountOfHandle(std::string_view handle) override;
    bool hasAdministrator() override;
    std::optional<Id> addAccount(const Account& account) override;
    bool setHandle(Id account, const std::string& handle) override;
    bool setEmail(Id account, const std::string& email) override;
    void setPassword(Id account, const std::string& password) override;
    void setAdmin(Id account, bool isAdmin) override;
    void setSuspended(Id account, bool isSuspended) override;
    void deleteAccount(Id account) override;
    std::vector<Account> people(std::string_view search) override;
    std::int64_t countOfPeople() override;

    Id addSession(const Session& session, const std::string& tokenHash) override;
    std::optional<Session> session(const std::string& tokenHash) override;
    void touchSession(Id session, Moment now, const std::string& address) override;
    std::vector<Session> sessions(Id account) override;
    void endSession(Id account, Id session) override;
    void endSessions(Id account, Id exceptSession) override;

    void addLink(const Link& link, const std::string& deviceHash, const std::string& codeHash) override;
    std::optional<Link> linkOfDevice(const std::string& deviceHash) override;
    std::optional<Link> linkOfCode(const std::string& codeHash) override;
    bool answerLink(Id link, std::string_view state, Id account) override;
    void handLink(Id link, Moment now) override;

    void addInvitation(const std::string& tokenHash, Id account, std::int64_t uses, Moment expires) override;
    std::optional<Invitation> invitation(const std::string& tokenHash, Moment now) override;
    bool useInvitation(const std::string& tokenHash, Moment now) override;
    void setReset(Id account, const std::string& tokenHash, Moment expires) override;
    std::optional<Id> accountOfReset(const std::string& tokenHash, Moment now) override;
    bool hasReset(Id account, Moment now) override;

    std::int64_t addShader(const Shader& shader) override;
    std::optional<Shader> shader(std::string_view id) override;
    std::optional<Shader> sharedSince(Id account, const std::string& content, Moment since) override;
    void changeShader(const Shader& shader) override;
    void setHidden(std::int64_t shader, const std::optional<std::string>& reason) override;
    void setFlashes(std::int64_t shader) override;
    void deleteShader(std::int64_t shader, Moment now) override;
    std::vector<Shader> shaders(const Filter& filter) override;
    std::int64_t count(const Filter& filter) override;
    Tally tally() override;
    std::vector<std::string> mostUsedTags(std::int64_t limit) override;
    std::vector<Shader> shadersOf(Id account, bool isAll, std::int64_t before, std::int64_t limit) override;
    std::vector<Shader> forksOf(std::string_view item, std::int64_t limit) override;
    std::vector<Shader> hiddenShaders() override;
    std::int64_t countOfHidden() override;
    std::vector<std::string> usedMedia() override;
    bool isMediaUsed(std::string_view name) override;
    bool addReport(std::int64_t shader, Id account, std::string_view reason, std::string_view text,
                   Moment now) override;
    std::vector<Shader> reportedShaders() override;
    std::vector<Report> reports(std::int64_t shader) override;
    void closeReports(std::int64_t shader, Moment now) override;
    std::int64_t countOfOpenReports() override;

  private:
    // A connection, put back when the lease ends unless it is that of the thread's transaction.
    class Lease {
      public:
        explicit Lease(SqliteConnection& writing) : connection_(&writing) {}
        Lease(SqliteDatabase& database, std::unique_ptr<SqliteConnection> own)
            : database_(&database), own_(std::move(own)), connection_(own_.get()) {}
        ~Lease();
        Lease(const Lease&) = delete;
        SqliteConnection* operator->() const { return connection_; }
        SqliteConnection& operator*() const { return *connection_; }

      private:
        SqliteDatabase* database_ = nullptr;
        std::unique_ptr<SqliteConnection> own_;
        SqliteConnection* connection_;
    };
    Lease lease();
    std::vector<Shader> readShaders(SqliteQuery query);
    // Brings lists, tags and search up to date with what the shader now is.
    void relist(std::int64_t shader);
    // Brings together the pieces that changes leave of the search's index, in steps between which others may write.
    void mergeSearch();
    std::int64_t single(SqliteQuery query);
    // Whether somebody had this handle whose account is gone.
    bool isGoneHandle(std::string_view handle);
    // Keeps of the handles of deleted accounts only what tells that they are taken.
    void hideGoneHandles();

    std::string path_;
    std::mutex mutex_;
    std::vector<std::unique_ptr<SqliteConnection>> free_;
    // Writes nothing, so that every change is another's to it.
    std::mutex watchingMutex_;
    std::unique_ptr<SqliteConnection> watching_;
    static thread_local SqliteConnection* writing_;
};

} // namespace glasshob::gallery
