// A gallery on the loopback that gives a code, says what its fields say, and never hurries: time is the clock's. And
// the model of an account there, with its token in memory.
#pragma once

#include "GlassHobCore/tests/ScriptedServer.h"
#include "GlassHobCore/tests/TestClock.h"
#include "GlassHobOnline/AccountModel.h"

#include <memory>

namespace glasshob {

struct TestGallery {
    TestGallery() {
        clock.hold();
        server.handler = [this](const ScriptedServer::Request& request) {
            if (request.target == "/api/app/link")
                return ScriptedServer::answer(200, R"({"device": "d", "code": ")" + code +
                                                       R"(", "expires": 600, "url": ")" +
                                                       server.url("/go").toEncoded() + "\"}");
            if (request.target == "/api/app/link/poll") return poll;
            if (request.target == "/api/account/handle") return handle;
            return me;
        };
    }
    std::unique_ptr<AccountModel> make() {
        return std::make_unique<AccountModel>(Site::at(server.url().toString().toStdString()), session, store, clock);
    }

    ScriptedServer server;
    TestClock clock;
    HttpSession session{"test"};
    MemoryTokenStore store;
    QByteArray code = "HK7Q-M2XD";
    ScriptedServer::Answer poll = ScriptedServer::answer(202);
    ScriptedServer::Answer handle = ScriptedServer::answer(200, "{}");
    ScriptedServer::Answer me = ScriptedServer::answer(200, R"({"email": "lena@mail.example", "handle": "low-ember"})");
};

} // namespace glasshob
