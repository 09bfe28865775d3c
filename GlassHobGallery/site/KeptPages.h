#pragma once

// Pages that are the same for everyone who is not signed in, ready to be given again: as long as nothing at all was
// written to the database, by whatever process, and within the second in which they were made, because pages tell how
// long ago something was. So what is given is what would be made now. Any thread.

#include "GlassHobGallery/data/Database.h"
#include "GlassHobGallery/http/HttpServer.h"

#include <mutex>
#include <string>
#include <unordered_map>

namespace glasshob::gallery {

class KeptPages {
  public:
    explicit KeptPages(Database& database) : database_(database) {}

    // What a page that is made from here on shows at least.
    struct State {
        std::int64_t version = 0;
        Moment second = 0;
        bool operator==(const State&) const = default;
    };
    State state();
    using Ready = std::shared_ptr<const ReadyResponse>;
    // Nothing when it is not there.
    Ready find(const std::string& address);
    // The state is that of before it was made. It is not kept when that has passed, or when there are very many.
    void keep(const std::string& address, const State& made, const Response& page);

  private:
    Database& database_;
    std::mutex mutex_;
    State current_;
    std::unordered_map<std::string, Ready> pages_;
};

} // namespace glasshob::gallery
